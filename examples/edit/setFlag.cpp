#include "mp4/Container.h"
#include "support/WideText.h"

/// setFlag MOVIE: sets constraint_set1_flag in the movie's H.264 baseline records.
int main(int count, char** words) {
    MP4::Container movie;
    if (count != 2) return 2;
    if (!movie.attach(WEKU::wchar::widen(words[1]), MP4::Container::wholeFile)) return 1;
    return movie.appendFullRangeAndConstrainedSet1Flag(false) ? 0 : 1;
}
