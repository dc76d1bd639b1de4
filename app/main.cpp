#include <algorithm>
#include <array>
#include <string>

#include "app/MetaReader.h"
#include "support/Console.h"
#include "support/EndingSignals.h"
#include "support/StandardStreams.h"
#include "support/WideText.h"

int main(int argc, char** argv) {
    WEKU::holdStandardStreams();
    WEKU::handleEndingSignals();
    WEKU::Console::init_locale();
    // The words beyond the tenth, program name included, count as absent.
    constexpr int mostWords = 10;
    std::array<std::wstring, mostWords> texts;
    std::array<const wchar_t*, mostWords> words{};
    const int count = std::min(argc, mostWords);
    for (int i = 0; i < count; ++i) {
        const auto at = static_cast<std::size_t>(i);
        texts[at] = WEKU::wchar::mbs2wcs(argv[i]);
        words[at] = texts[at].c_str();
    }
    if (argc > mostWords) {
        WEKU::Console::warn("words behind the ninth are left out: %s%s", argv[mostWords],
                            argc > mostWords + 1 ? " ..." : "");
    }
    return MetaReader::process(count, words.data()) & 0xFF;
}
