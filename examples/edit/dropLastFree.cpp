#include <sondex-parts/mp4/Container.h>
#include <sondex-parts/support/WideText.h>

/// dropLastFree MOVIE: writes the movie again without the free box at its end.
int main(int count, char** words) {
    MP4::Container movie;
    if (count != 2) return 2;
    if (!movie.attach(WEKU::wchar::widen(words[1]), MP4::Container::wholeFile)) return 1;
    const auto& boxes = movie.root->children;
    if (boxes.empty() || boxes.back()->type != MP4::fourCC("free")) return 1;
    const auto copy = [&](MP4::BinFile& source, MP4::BinFile& target,
                          unsigned long long& insertAt) {
        insertAt = boxes.back()->start;
        return source.copyAll(target, insertAt);
    };
    // No box around the change, and nothing behind it that a chunk offset could lead to.
    const auto nothing = [](MP4::Container&, MP4::BinFile&) { return true; };
    return movie.modifyContainer(L"dropLastFree", copy, nothing, nothing) ? 0 : 1;
}
