#include <vector>

#include "mp4/Container.h"
#include "mp4/HeaderBoxes.h"
#include "support/Console.h"
#include "support/WideText.h"

/// The edits that need no copy: bytes of the same length, and boxes behind the last one.
namespace MP4 {

using WEKU::Console::out;
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

bool Container::appendXMP(const std::string& xmp) {
    return append(XMP(xmp), L"MP4: XMP is existed.\n");
}

bool Container::appendAxis(const std::string& axis) {
    return append(AXIS(axis), L"MP4: AXIS is existed.\n");
}

bool Container::append(const UUID& box, const wchar_t* existedMessage) {
    // A tree of a part of the file does not show its last box.
    touched = touched || (root && root->size() < stamp.length);
    readAgainIfTouched();
    bool existed = false;
    find("uuid", [&](BOX& found) {
        existed = static_cast<UUID&>(found).is(box.uuid);
        return !existed;
    });
    if (existed) {  // Deliberate: no failure; the payload is dropped.
        out(existedMessage);
        return outputPath.empty() || editInPlace([](BinFile&) { return true; });
    }
    const bool done = editInPlace([&](BinFile& file) {
        const std::uint64_t oldLength = file.fileLength();
        const BOX* last = root->children.empty() ? nullptr : root->children.back().get();
        // Behind a box that reaches to the end of any file, or behind bytes that are no box, no
        // reader would find it.
        const bool hidden = (last != nullptr ? last->end() : 0) != oldLength ||
                            (last != nullptr && last->openEnded);
        if (hidden || !box.sizeFits(box.size())) {
            warn("%s: nothing can be appended behind its last box", narrow(path).c_str());
            return false;
        }
        file.moveTo(oldLength);
        if (box.write(file) && file.sync()) return true;
        if (!file.truncate(oldLength)) {
            warn("%s: a part of a box stays behind its end", narrow(path).c_str());
        }
        return false;
    });
    if (done) attachAgain();
    return done;
}

}  // namespace MP4
