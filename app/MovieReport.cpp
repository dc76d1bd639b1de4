#include "app/MetaReader.h"
#include "app/ResultTail.h"
#include "sensor/VideoStabilizationMode.h"
#include "support/Console.h"
#include "support/HeldLines.h"
#include "support/Truncate.h"
#include "support/WideText.h"

bool MetaReader::parse(const std::wstring& path) {
    constexpr std::size_t mostHeld = 1 << 20;
    const std::wstring source = path;  // which may be a member
    bool ok = false;
    WEKU::repeatUntilItStands(mostHeld, [&] {
        ok = parseOnce(source);
        // An edit in place under the reading gives half an old and half a new movie.
        return !movie.root || movie.isUnchanged();
    });
    return ok;
}

bool MetaReader::parseOnce(const std::wstring& path) {
    *this = MetaReader();
    inputPath = path;
    const bool described = probe.probe(path, movie);
    // Deliberate: a file that did not open is tried once more, and its failure printed again.
    if (!movie.root && !movie.attach(path, MP4::Container::wholeFile)) return described;
    if (!described) return false;
    load(movie);
    analyse(VideoStabilizationMode::yawMode(probe.record.stabilize), probe.frameRateClass(),
            probe.cameraVersion);
    TreeFacts::read(movie);
    return true;
}

void MetaReader::dumpToJSON() const {
    const ExifParser::ZELVA& record = probe.record;
    const bool hasStabilize = record.stabilize != -1;
    ResultTail tail;
    tail.text(L"model", record.model);
    tail.text(L"software", record.software);
    tail.text(L"cpuVersion", record.version);
    tail.text(L"cameraSerial", record.serial);
    tail.text(L"gps", gps);
    if (frameWidth > 0) tail.integer(L"frameWidth", frameWidth);
    if (frameHeight > 0) tail.integer(L"frameHeight", frameHeight);
    tail.number(L"GSpherical:InitialViewHeadingDegrees", viewHeading.heading);
    tail.number(L"GSpherical:InitialViewPitchDegrees", viewHeading.pitch);
    tail.number(L"GSpherical:InitialHorizontalFOVDegrees", viewHeading.fov);
    tail.number(L"GSpherical:InitialCameraDolly", viewHeading.dolly);
    tail.text(L"GSpherical:StitchingSoftware", probe.stitchingSoftware);
    tail.text(L"creatorTool", probe.creatorTool);
    if (record.adjZenith != -1) tail.truth(L"topBottomCorrection", record.adjZenith == 1);
    if (probe.codec == Sondex::CODEC_H264) {
        tail.truth(L"dxvaDecodable", dxvaDecodable());
    }
    if (hasStabilize) {
        tail.truth(L"directionLocked", record.stabilizeFlag2);
        tail.integer(L"videoStabilization", record.stabilize);
    }
    if (!topBottom.empty()) {
        tail.integer(L"KDTDSamplingRate", topBottomRate);
        tail.integer(L"KDTBSamplingRate", gyroRate);
        tail.integer(L"KDTCSamplingRate", compassRate);
    }
    if (record.videoQuality == 1) tail.member(L"videoQuality", L"\"normal\"");
    if (record.videoQuality == 2) tail.member(L"videoQuality", L"\"fine\"");

    WEKU::Console::out(
        L"result: {\"status\":\"succeed\", \"hasKDTD\":%ls, \"type\":\"%ls\", \"codec\":\"%ls\", "
        L"\"decodable\":%ls, \"hasSpatialSound\":%ls, \"hasSA3DSound\":%ls, "
        L"\"duration\":%0.2f, \"videoBitRate\":%u%ls}\n",
        jsonWord(!topBottom.empty()),
        WEKU::wchar::widen(Sondex::nameOf(probe.projection())).c_str(),
        WEKU::wchar::widen(Sondex::nameOf(probe.codec)).c_str(), jsonWord(probe.isDecodable()),
        jsonWord(hasSpatialSound), jsonWord(hasSA3DSound), double{probe.duration},
        WEKU::truncateToCount(double{probe.videoBitRate}), tail.c_str());
}
