#include <algorithm>
#include <span>
#include <utility>

#include "app/MetaReader.h"
#include "app/ResultTail.h"
#include "support/Console.h"
#include "support/WideText.h"

using WEKU::FileIO;
using WEKU::Console::out;

namespace {

/// Deliberate: the Exif data of a JPEG must lie in its first 64 KiB, which one read fetches.
constexpr std::uint64_t jpegHeadBytes = 65536;

/// No read gives more than this, so no buffer needs to be larger.
constexpr std::uint64_t mostInOneRead = 0x7FFFF000;

/// The bytes of `prefix`, then those of one read from the file; empty when nothing could be read,
/// which is said on the console.
ByteArray readBehind(FileIO& file, std::span<const unsigned char> prefix, std::uint64_t most) {
    ByteArray bytes(prefix.data(), prefix.size());
    const std::uint64_t got = file.read(bytes.grow(most), most);
    if (got == FileIO::failed || got < 1) {
        out(L"FileIO.read(%ls) failed.\n", file.name().c_str());
        return {};
    }
    bytes.setLength(prefix.size() + got);
    return bytes;
}

std::wstring widened(WEKU::Failure message) {
    return WEKU::wchar::mbs2wcs(message);
}

}  // namespace

bool MetaReader::parse_JPEG(const std::wstring& path, bool dump) {
    *this = MetaReader();
    inputPath = path;
    bool ok = false;
    FileIO::open(inputPath, [&](FileIO& file) {
        ByteArray bytes = readBehind(file, {}, std::min(file.length(), jpegHeadBytes));
        if (bytes.empty()) return;
        try {
            ExifParser parser;
            parser.attachBytes(std::move(bytes));
            parser.seekToKESTOMakerNote();
            parser.readZEVLA(stillRecord);
            ok = true;
            if (!dump) return;
            parser.dumpKMKN();
            out(L"\n");
        } catch (WEKU::Failure message) {
            out(L"ExifParser::attachJPEG() for '%ls' failed - %ls\n", inputPath.c_str(),
                widened(message).c_str());
        }
    });
    return ok;
}

bool MetaReader::parse_DNG(const std::wstring& path, bool dump) {
    *this = MetaReader();
    inputPath = path;
    bool ok = false;
    FileIO::open(inputPath, [&](FileIO& file) {
        ByteArray bytes =
            readBehind(file, ExifParser::DNG_dummyHeader, std::min(file.length(), mostInOneRead));
        if (bytes.empty()) return;
        try {
            ExifParser parser;
            parser.attachDNG(std::move(bytes));
            parser.readZEVLA(stillRecord);
            strip = {parser.stripOffset, parser.stripByteCount};
            table1 = {parser.affineTable1Offset, parser.affineTable1Length};
            table2 = {parser.affineTable2Offset, parser.affineTable2Length};
            ok = true;
            if (!dump) return;
            parser.dumpKMKN();
            out(L"\n");
            out(L"Table1: %u, %u\n", table1.offset, table1.length);
            out(L"Table2: %u, %u\n", table2.offset, table2.length);
            out(L"\n");
        } catch (WEKU::Failure message) {
            out(L"ExifParser::attachDNG() failed - %ls\n", widened(message).c_str());
        }
    });
    return ok;
}

void MetaReader::dumpToJSON_still(bool isDng) const {
    const WEKU::Console::LocaleC numbers;
    ResultTail tail;
    tail.text(L"model", stillRecord.model);
    tail.text(L"software", stillRecord.software);
    tail.text(L"cpuVersion", stillRecord.version);
    tail.text(L"cameraSerial", stillRecord.serial);
    tail.number(L"yaw", stillRecord.yaw);
    tail.number(L"pitch", stillRecord.pitch);
    tail.number(L"roll", stillRecord.roll);
    if (isDng) {
        tail.member(L"jpeg", L"{\"offset\":" + std::to_wstring(strip.offset) + L", \"bytes\":" +
                                 std::to_wstring(strip.length) + L"}");
    }
    out(L"result: {\"status\":\"succeed\", \"type\":\"%ls\"%ls}\n", isDng ? L"DNG" : L"JPEG",
        tail.c_str());
}
