#include "mp4/HeaderBoxes.h"

#include "support/Console.h"
#include "support/Endian.h"
#include "support/Truncate.h"
#include "support/WideText.h"

namespace MP4 {

using WEKU::Console::out;
using WEKU::wchar::mbs2wcs;
using WEKU::wchar::oneLine;

namespace {

/// Where the creation time stands: behind an 8-byte box header, version and flags.
constexpr std::uint64_t creationTime = 12;

}  // namespace

bool TimedBox::setTimeStamp(BinFile& file, std::uint64_t time) const {
    const std::uint64_t position = file.tell();
    unsigned char field[8];
    if (version == 1) {
        WEKU::storeBig<std::uint64_t>(field, time);
    } else {
        WEKU::storeBig<std::uint32_t>(field, static_cast<std::uint32_t>(time));
    }
    file.moveTo(start + creationTime);
    const bool written = file.put(field, version == 1 ? 8 : 4);
    file.moveTo(position);
    return written;
}

bool TimedBox::timeStampFits(std::uint64_t fileLength) const {
    // Deliberate: behind a 64-bit size the time stands elsewhere, and the size would be
    // overwritten.
    return !largeSize && start + creationTime + (version == 1 ? 8 : 4) <= innermostEnd(fileLength);
}

void MVHD::parseBox(BinFile& file, std::uint64_t end) {
    parsePrefix(file, end);
    float units = 0;
    if (version == 1) {
        timeStamp = file.take64();
        file.skip(8);
        timeScale = static_cast<float>(file.take32());
        units = static_cast<float>(file.take64());
    } else {
        timeStamp = file.take32();
        file.skip(4);
        timeScale = static_cast<float>(file.take32());
        units = static_cast<float>(file.take32());
    }
    duration = units / timeScale;
}

void MVHD::dump() const {
    out(L"MP4: %ls<%ls timeStamp=%lu >\n", indentation().c_str(), basicTag().c_str(),
        static_cast<unsigned long>(timeStamp));
}

void TKHD::parseBox(BinFile& file, std::uint64_t end) {
    parsePrefix(file, end);
    timeStamp = version == 1 ? file.take64() : file.take32();
    file.skip(version == 1 ? 24 : 16);  // modification time, track ID, reserved, duration
    file.skip(52);                      // reserved, layer, group, volume, reserved, matrix
    width = WEKU::truncateToInt32(file.takeFixed());
    height = WEKU::truncateToInt32(file.takeFixed());
}

void TKHD::dump() const {
    out(L"MP4: %ls<%ls timeStamp=%lu width=%u height=%u >\n", indentation().c_str(),
        basicTag().c_str(), static_cast<unsigned long>(timeStamp), static_cast<unsigned>(width),
        static_cast<unsigned>(height));
}

void MDHD::parseBox(BinFile& file, std::uint64_t end) {
    parsePrefix(file, end);
    if (version == 1) {
        file.takeAndDrop(8);
        timeStamp = file.take64();
        timeScale = file.take32();
        duration = file.take64();
    } else {
        timeStamp = file.take32();
        file.takeAndDrop(4);
        timeScale = file.take32();
        duration = file.take32();
    }
}

void MDHD::dump() const {
    const WEKU::Console::LocaleC numbers;
    out(L"MP4: %ls<%ls timeStamp=%lu duration=%f time_scale=%f >\n", indentation().c_str(),
        basicTag().c_str(), static_cast<unsigned long>(timeStamp), static_cast<double>(duration),
        static_cast<double>(timeScale));
}

void HDLR::parseBox(BinFile& file, std::uint64_t end) {
    limitTo(file, end);
    file.take(block.data(), block.size());
    const std::uint64_t fixedPart = headerLength() + block.size();
    handlerNameLength = size() < fixedPart ? 0 : size() - fixedPart;
    handlerName = file.takeText(handlerNameLength);
    if (handlerName.size() != handlerNameLength) handlerName.clear();
}

void HDLR::dump() const {
    const std::string handler = fourCCText(fourCCAt(block.data() + 8));
    out(L"MP4: %ls<%ls handler=%ls name=%ls(%d) >\n", indentation().c_str(), basicTag().c_str(),
        mbs2wcs(oneLine(handler)).c_str(), mbs2wcs(oneLine(handlerName)).c_str(),
        static_cast<int>(handlerNameLength));
}

}  // namespace MP4
