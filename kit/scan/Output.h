#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kit {

/// The output could not be written; the message names it.
class OutputFailure : public std::runtime_error {
    using runtime_error::runtime_error;
};

/// The output is not what the run may write to.
class OutputRefused : public std::runtime_error {
    using runtime_error::runtime_error;
};

/// Where records go: standard output or a file, in large pieces.
class Output {
  public:
    enum class Existing { refuse, replace, goOn };

    /// Standard output for an empty path. Throws OutputFailure; OutputRefused for a file that holds
    /// something already, unless `existing` allows it, and for one that another run writes.
    Output(const std::string& path, Existing existing);
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    /// Keeps the bytes for later. Throws OutputFailure.
    void append(std::string_view bytes);

    /// Throws OutputFailure.
    void flush();

    /// Flushes, and learns of what the system found out late. Throws OutputFailure.
    void finish();

    [[nodiscard]] bool empty() const { return buffer.empty(); }
    [[nodiscard]] int descriptor() const { return file; }

  private:
    [[noreturn]] void fail(int error) const;

    std::string name;
    int file = -1;
    std::string buffer;
};

}  // namespace kit
