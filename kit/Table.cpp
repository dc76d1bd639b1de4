#include "kit/Table.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "kit/scan/Record.h"

namespace kit {

void Table::row(std::string_view name, std::string value) {
    rows.emplace_back(name, std::move(value));
}

void Table::row(std::string_view name, const std::optional<std::string>& text) {
    if (text) row(name, printable(*text));
}

void Table::row(std::string_view name, const std::optional<bool>& truth) {
    if (truth) row(name, std::string(*truth ? "yes" : "no"));
}

void Table::row(std::string_view name, const std::optional<float>& number, const char* pattern) {
    if (number) row(name, format(pattern, static_cast<double>(*number)));
}

std::string Table::text() const {
    std::size_t widest = 0;
    for (const auto& [name, value] : rows)
        widest = std::max(widest, name.size());
    std::string lines;
    for (const auto& [name, value] : rows)
        lines += "  " + name + std::string(widest + 2 - name.size(), ' ') + value + '\n';
    return lines;
}

std::string heading(std::string_view path) {
    const bool isBold = ::isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr;
    const std::string name = printable(path);
    return (isBold ? "\x1b[1m" + name + "\x1b[0m" : name) + '\n';
}

}  // namespace kit
