#include <ctime>

#include <sondex-parts/mp4/Container.h>
#include <sondex-parts/support/WideText.h>

/// setTime MOVIE: gives the movie, its tracks and their media the present as their creation time.
int main(int count, char** words) {
    // Movies count their seconds from 1904-01-01 UTC.
    constexpr std::uint64_t from1904To1970 = 2082844800;
    MP4::Container movie;
    if (count != 2) return 2;
    if (!movie.attach(WEKU::wchar::widen(words[1]), MP4::Container::wholeFile)) return 1;
    const auto now = static_cast<std::uint64_t>(std::time(nullptr));
    return movie.updateTimeStamp(now + from1904To1970) ? 0 : 1;
}
