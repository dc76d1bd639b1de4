#include <vector>

#include "mp4/Container.h"
#include "mp4/HeaderBoxes.h"
#include "support/Console.h"
#include "support/WideText.h"

namespace MP4 {

using WEKU::Console::warn;
using WEKU::wchar::narrow;

bool Container::updateTimeStamp(std::uint64_t time) {
    readAgainIfTouched();
    std::vector<const TimedBox*> headers;
    const auto collect = [&headers](BOX& box) {
        headers.push_back(static_cast<const TimedBox*>(&box));
        return true;
    };
    if (const auto* movie = first<MVHD>("moov.mvhd")) headers.push_back(movie);
    find("moov.trak.tkhd", collect);
    find("moov.trak.mdia.mdhd", collect);

    return editInPlace([&](BinFile& file) {
        for (const TimedBox* header : headers) {
            if (!header->timeStampFits(file.fileLength())) {
                warn("%s: the '%s' box at %llu has no creation time that can be set",
                     narrow(path).c_str(), header->name().c_str(),
                     static_cast<unsigned long long>(header->start));
                return false;
            }
        }
        bool done = true;
        for (const TimedBox* header : headers)
            done = header->setTimeStamp(file, time) && done;
        return done && file.sync();
    });
}

}  // namespace MP4
