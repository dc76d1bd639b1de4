#include <sondex-parts/mp4/Container.h>
#include <sondex-parts/support/WideText.h>

/// withoutUserData MOVIE TARGET: writes the movie without its user data to another file.
int main(int count, char** words) {
    MP4::Container movie;
    if (count != 3) return 2;
    if (!movie.attach(WEKU::wchar::widen(words[1]), MP4::Container::wholeFile)) return 1;
    const MP4::BOX* userData = movie.first("moov.udta");
    if (userData == nullptr) return 1;
    const auto added = -static_cast<std::int64_t>(userData->size());
    movie.outputPath = WEKU::wchar::widen(words[2]);
    const bool done = movie.insertBox(
        L"withoutUserData", *userData, true, [](MP4::BinFile&) { return true; },
        MP4::Container::growEnclosing(*userData, added),
        MP4::Container::shiftBehind(*userData, added));
    // Now movie.path is the target, and userData leads nowhere.
    return done ? 0 : 1;
}
