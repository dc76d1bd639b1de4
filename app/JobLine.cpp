#include "app/JobLine.h"

#include <algorithm>
#include <string_view>

std::vector<std::wstring> columnsOf(std::wstring line) {
    constexpr std::wstring_view ends(L"\r\n\0", 3);
    line.resize(std::min(line.find_first_of(ends), line.size()));
    std::vector<std::wstring> columns;
    std::size_t start = 0;
    while ((start = line.find_first_not_of(L'\t', start)) != std::wstring::npos) {
        const std::size_t end = std::min(line.find(L'\t', start), line.size());
        columns.push_back(line.substr(start, end - start));
        start = end;
    }
    return columns;
}
