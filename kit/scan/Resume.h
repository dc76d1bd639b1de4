#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace kit {

/// The names of which an output holds a record. At most 64 bytes a name, in a nameless file beside
/// the output, which the system need not keep in memory.
class Done {
  public:
    Done() = default;
    ~Done();
    Done(const Done&) = delete;
    Done& operator=(const Done&) = delete;

    /// Reads the records of an output and cuts off a last line that was not finished. Throws
    /// OutputRefused when a line is no record: then nothing is cut. Throws OutputFailure.
    void read(int file, const std::string& path);

    /// Whether there is a record with this head.
    [[nodiscard]] bool holds(std::string_view head) const;

    [[nodiscard]] std::uint64_t size() const { return count; }

  private:
    /// A name by 128 bits that nobody can foretell, so that no name can be made that passes for
    /// another.
    using Print = std::array<std::uint64_t, 2>;

    [[nodiscard]] Print printOf(std::string_view head) const;
    [[nodiscard]] Print* placeOf(const Print& print) const;
    void reserve(std::uint64_t names, const std::string& path);

    std::array<std::uint64_t, 4> keys{};
    Print* table = nullptr;
    std::uint64_t slots = 0;
    std::uint64_t count = 0;
};

}  // namespace kit
