#include "app/JobLine.h"

#include <fcntl.h>
#include <unistd.h>

#include "fuzz/kit/Fuzzing.h"
#include "support/LineInput.h"
#include "support/WideText.h"

namespace {

void checkColumns(const std::wstring& line) {
    for (const std::wstring& column : columnsOf(line)) {
        fuzz::require(!column.empty(), "no column is empty");
        fuzz::require(column.find_first_of(std::wstring_view(L"\t\r\n\0", 4)) == column.npos,
                      "columns end at what separates them");
    }
}

}  // namespace

/// The job list: lines of at most as many characters as the first byte says (0: the program's own
/// bound), and their columns.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::uint8_t bound = input.take8();
    const std::size_t most = bound == 0 ? longestLine : bound;
    const std::string name = WEKU::wchar::narrow(fuzz::memoryFile(input.rest()));
    const int descriptor = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);

    WEKU::LineInput lines(descriptor, most);
    std::string joined;
    while (const auto line = lines.next()) {
        fuzz::require(!line->empty() && line->size() <= most, "lines are bounded");
        fuzz::require(line->find(L'\n') >= line->size() - 1, "a line feed ends a line");
        joined += WEKU::wchar::narrow(*line);
        checkColumns(*line);
    }
    ::close(descriptor);
    fuzz::require(joined == input.rest(), "the lines are the input");
    return 0;
}
