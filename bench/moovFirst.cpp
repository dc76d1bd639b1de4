// Moves the movie box of each named movie ahead of its media data.
#include "mp4/Container.h"
#include "support/WideText.h"

int main(int argc, char** argv) {
    bool moved = argc > 1;
    for (int i = 1; i < argc; ++i) {
        MP4::Container movie;
        moved = movie.attach(WEKU::wchar::widen(argv[i]), MP4::Container::wholeFile) &&
                movie.moovFirst() && moved;
    }
    return moved ? 0 : 1;
}
