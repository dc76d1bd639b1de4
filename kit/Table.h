#pragma once

#include <array>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kit {

/// As printf, of which at most 127 characters are kept.
template <class... Values>
std::string format(const char* pattern, Values... values) {
    std::array<char, 128> text{};
    std::snprintf(text.data(), text.size(), pattern, values...);
    return text.data();
}

/// The lines of one file's table. What the file does not say has no line.
class Table {
  public:
    void row(std::string_view name, std::string value);
    void row(std::string_view name, const std::optional<std::string>& text);
    void row(std::string_view name, const std::optional<bool>& truth);
    /// A number with its unit; the pattern has one %g or the like.
    void row(std::string_view name, const std::optional<float>& number, const char* pattern);

    [[nodiscard]] std::string text() const;

  private:
    std::vector<std::pair<std::string, std::string>> rows;
};

/// The line above a file's table: its name, bold on a terminal.
[[nodiscard]] std::string heading(std::string_view path);

}  // namespace kit
