#include "app/MetaReader.h"
#include "app/ResultTail.h"
#include "support/Console.h"
#include "support/WideText.h"

using WEKU::FileIO;
using WEKU::Console::out;

namespace {

void sayUnread(const std::wstring& path) {
    out(L"FileIO.read(%ls) failed.\n", path.c_str());
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
        try {
            ExifParser parser;
            ok = readJPEG(file, parser);
            if (!ok) sayUnread(inputPath);
            if (!ok || !dump) return;
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
        try {
            ExifParser parser;
            ok = readDNG(file, parser);
            if (!ok) sayUnread(inputPath);
            if (!ok || !dump) return;
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
