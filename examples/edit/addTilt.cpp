#include <memory>

#include <sondex-parts/builder/AxisTiltStream.h>
#include <sondex-parts/mp4/Container.h>
#include <sondex-parts/support/WideText.h>

/// addTilt MOVIE: appends a tilt stream of two samples.
int main(int count, char** words) {
    MP4::Container movie;
    if (count != 2) return 2;
    if (!movie.attach(WEKU::wchar::widen(words[1]), MP4::Container::wholeFile)) return 1;
    AxisTiltStream tilt;
    AxisTiltStream::AxisCompass sample;
    sample.angle1 = 0.25F;  // radians
    tilt.samples = {sample, sample};
    std::uint64_t length = 0;
    const std::unique_ptr<unsigned char[]> stream(tilt.toBinary(length));
    return movie.appendAxis({reinterpret_cast<const char*>(stream.get()), length}) ? 0 : 1;
}
