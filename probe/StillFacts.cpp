#include "probe/StillFacts.h"

#include <algorithm>
#include <span>
#include <utility>

using WEKU::FileIO;

namespace {

/// Deliberate: the Exif data of a JPEG must lie in its first 64 KiB, which one read fetches.
constexpr std::uint64_t jpegHeadBytes = 65536;

/// A camera's DNG takes some tens of megabytes; a sparse file of any length could take all memory.
constexpr std::uint64_t mostDNGBytes = 512 << 20;

/// The bytes of `prefix`, then those of one read from the file; empty when nothing could be read.
ByteArray readBehind(FileIO& file, std::span<const unsigned char> prefix, std::uint64_t most) {
    ByteArray bytes(prefix.data(), prefix.size());
    const std::uint64_t got = file.read(bytes.grow(most), most);
    bytes.setLength(got == FileIO::failed || got < 1 ? 0 : prefix.size() + got);
    return bytes;
}

}  // namespace

bool StillFacts::readJPEG(FileIO& file, ExifParser& parser) {
    ByteArray bytes = readBehind(file, {}, std::min(file.length(), jpegHeadBytes));
    if (bytes.empty()) return false;
    parser.attachBytes(std::move(bytes));
    parser.seekToKESTOMakerNote();
    parser.readZEVLA(stillRecord);
    return true;
}

bool StillFacts::readDNG(FileIO& file, ExifParser& parser) {
    ByteArray bytes =
        readBehind(file, ExifParser::DNG_dummyHeader, std::min(file.length(), mostDNGBytes));
    if (bytes.empty()) return false;
    parser.attachDNG(std::move(bytes));
    parser.readZEVLA(stillRecord);
    strip = {parser.stripOffset, parser.stripByteCount};
    table1 = {parser.affineTable1Offset, parser.affineTable1Length};
    table2 = {parser.affineTable2Offset, parser.affineTable2Length};
    return true;
}
