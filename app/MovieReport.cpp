#include "app/MetaReader.h"
#include "app/ResultTail.h"
#include "mp4/AVCC.h"
#include "mp4/HeaderBoxes.h"
#include "mp4/MetadataBoxes.h"
#include "sensor/VideoStabilizationMode.h"
#include "support/Console.h"
#include "support/Truncate.h"

namespace {

/// The report shows at most 2048 characters of a position, and none has more than four bytes.
constexpr std::uint64_t longestPosition = 8192;

const wchar_t* typeOf(const Sondex& probe) {
    switch (probe.record.type) {
        case 0: {
            const bool twoToOne = probe.width / 2 == probe.height;
            return probe.cameraVersion == 0 && twoToOne ? L"equi" : L"unknown";
        }
        case 1:
            return L"equi";
        case 2:
            return L"dualfish";
        default:
            return L"unknown";
    }
}

const wchar_t* codecOf(const Sondex& probe) {
    switch (probe.codec) {
        case Sondex::CODEC_H264:
            return L"H264";
        case Sondex::CODEC_H265:
            return L"H265";
        default:
            return L"unknown";
    }
}

}  // namespace

bool MetaReader::parse(const std::wstring& path) {
    *this = MetaReader();
    inputPath = path;
    MP4::Container movie;
    const bool described = probe.probe(path, movie);
    // Deliberate: a file that did not open is tried once more, and its failure printed again.
    if (!movie.root && !movie.attach(path, MP4::Container::wholeFile)) return described;
    if (!described) return false;
    readSensors(movie);
    readBoxes(movie);
    return true;
}

void MetaReader::readSensors(const MP4::Container& movie) {
    AccelSensorStreamEmbed::loadM29_KDTB(movie, gyro, gyroRate);
    AccelSensorStreamEmbed::loadM29_KDTC(movie, compass, compassRate);
    AccelSensorStreamEmbed::loadM30_KDTD_with_KDTG(movie, topBottom, topBottomRate);

    // The analyser and the stabiliser load the streams again for themselves, and the lines that
    // a load prints come as often.
    const int frameRate = probe.nominalFrameRate > 29.0F ? 30 : 15;
    AccelSensorStreamEmbed analyser;
    analyser.loadM29(movie, frameRate);
    const auto mode = VideoStabilizationMode::yawMode(probe.record.stabilize);
    stabilizer.init(movie, mode, frameRate, analyser.upDownReversed, probe.cameraVersion);
}

void MetaReader::readBoxes(const MP4::Container& movie) {
    // Deliberate: only the first track-level uuid box is asked, whatever kind it is of.
    const auto* trackUuid = movie.first<MP4::UUID>(MP4::path::trackUuid);
    if (trackUuid != nullptr && trackUuid->is(MP4::sphericalVideoType)) {
        viewHeading.attach(trackUuid->payload);
    }

    const MP4::BOX* position = movie.first(MP4::path::position);
    if (position != nullptr && position->size() >= 10) {
        gps = movie.payload(*position, longestPosition);
    }

    movie.find("moov.trak.tkhd", [this](MP4::BOX& box) {
        const auto& header = static_cast<MP4::TKHD&>(box);
        if (frameWidth == 0 && header.width != 0 && header.height != 0) {
            frameWidth = header.width;
            frameHeight = header.height;
        }
        return true;
    });

    movie.find("uuid", [this](MP4::BOX& box) {
        const auto& uuid = static_cast<MP4::UUID&>(box);
        if (!uuid.is(MP4::spatialDataType)) return true;
        hasSpatialSound = uuid.first("KATR.tkhd") != nullptr;
        return false;
    });
    hasSA3DSound = movie.first("moov.trak.mdia.minf.stbl.stsd.sowt.SA3D") != nullptr;

    const auto* avcC = movie.first<MP4::AVCC>("moov.trak.mdia.minf.stbl.stsd.avc1.avcC");
    if (avcC != nullptr) {
        avcC->get_profile_idc_and_constrained_set1_flag(profile_idc, constrained_set1_flag,
                                                        fullRange);
    }
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
        tail.truth(L"dxvaDecodable", profile_idc == 66 && constrained_set1_flag);
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
        jsonWord(!topBottom.empty()), typeOf(probe), codecOf(probe), jsonWord(probe.width >= 1),
        jsonWord(hasSpatialSound), jsonWord(hasSA3DSound), double{probe.duration},
        WEKU::truncateToCount(double{probe.videoBitRate}), tail.c_str());
}
