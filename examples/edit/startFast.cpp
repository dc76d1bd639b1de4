#include <sondex-parts/mp4/Container.h>
#include <sondex-parts/support/WideText.h>

/// startFast MOVIE: moves the movie box ahead of the media data, so that a player can begin before
/// it has the whole file.
int main(int count, char** words) {
    MP4::Container movie;
    if (count != 2) return 2;
    if (!movie.attach(WEKU::wchar::widen(words[1]), MP4::Container::wholeFile)) return 1;
    // Other layouts would lose media data or have nothing to move.
    if (!movie.servesMoovFirst()) return 1;
    return movie.moovFirst() ? 0 : 1;
}
