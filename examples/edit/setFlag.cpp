#include <sondex-parts/mp4/AVCC.h>
#include <sondex-parts/mp4/Container.h>
#include <sondex-parts/support/WideText.h>

/// setFlag MOVIE: sets constraint_set1_flag in the movie's H.264 baseline parameter sets.
int main(int count, char** words) {
    MP4::Container movie;
    if (count != 2) return 2;
    if (!movie.attach(WEKU::wchar::widen(words[1]), MP4::Container::wholeFile)) return 1;
    const auto* avcC = movie.first<MP4::AVCC>("moov.trak.mdia.minf.stbl.stsd.avc1.avcC");
    if (avcC == nullptr) return 1;
    // The patch states the range, so it is told the one that the movie has.
    unsigned char profile = 0;
    bool flag = false, fullRange = false;
    if (!avcC->get_profile_idc_and_constrained_set1_flag(profile, flag, fullRange)) return 1;
    return movie.appendFullRangeAndConstrainedSet1Flag(fullRange) ? 0 : 1;
}
