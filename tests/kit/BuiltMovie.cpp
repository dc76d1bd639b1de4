#include "tests/kit/BuiltMovie.h"

#include "h264/AvcRecord.h"
#include "tests/kit/Hex.h"
#include "tests/kit/Movies.h"
#include "tests/kit/SensorBoxes.h"

namespace kit {
namespace {

std::string fromHexText(std::string_view hex) {
    const ByteArray bytes = fromHex(hex);
    return {reinterpret_cast<const char*>(bytes.data()), bytes.length()};
}

/// One grey picture, of macroblocks without a residual.
const std::string picture = fromHexText("00000011658884057c98a000205b2727275d75d780");

std::string trackOf(const std::string& kind, int width, int height, const std::string& entry,
                    std::uint32_t sampleBytes, const std::string& behind) {
    constexpr std::size_t mediaData = 16 + 8;
    const std::string tables = fullBox("stsd", 0, u32(1) + entry) +
                               fullBox("stts", 0, u32(1) + u32(1) + u32(2000)) +
                               fullBox("stsc", 0, u32(1) + u32(1) + u32(1) + u32(1)) +
                               fullBox("stsz", 0, u32(sampleBytes) + u32(1)) + stco(mediaData);
    const std::string mdhd = fullBox("mdhd", 0, zeros(8) + u32(1000) + u32(2000) + zeros(4));
    const std::string hdlr = box("hdlr", zeros(8) + kind + zeros(13));
    return box("trak", tkhd(width, height) +
                           box("mdia", mdhd + hdlr + box("minf", box("stbl", tables))) + behind);
}

}  // namespace

BuiltMovie::BuiltMovie()
    : parameterSet(fromHexText("6742c00ad9045b011000000300100000030020f1226480")),
      tracks(1),
      sound(box("SA3D", zeros(8) + u32(1) + u32(0))),
      behind(uuidBox(MP4::xmpType, "<x:CreatorTool>T</x:CreatorTool>") +
             uuidBox(MP4::spatialDataType, box("KATR", tkhd(0, 0)))) {
    note.camera[0x0001].value = 2 << 16;  // dual fisheye
    std::vector<SensorRecords::Gyro> turns;
    std::vector<SensorRecords::Ecompass> field;
    std::vector<SensorRecords::TopBottomCorrection> weight;
    std::vector<unsigned long long> frames;
    for (std::uint64_t i = 0; i < 20; ++i) {
        const std::uint64_t time = 1000000000 + i * 33000000;
        turns.push_back({0, 0, 0.5F, time});
        field.push_back({1, 2, 3, time});
        weight.push_back({0, 0, 4096, time});
        if (i < 10) frames.push_back(time + 500);
    }
    gyro = streamBox("KDTB", turns, {.bigEndian = true, .rate = 200});
    compass = streamBox("KDTC", field, {.rate = 100});
    accel = streamBox("KDTD", weight, {.rate = 30});
    times = streamBox("KDTG", frames, {.rate = 29});
    const auto line = [](const std::string& name, const char* value) {
        return "  <GSpherical:" + name + ">" + value + "</GSpherical:" + name + ">\n";
    };
    xml = "<rdf:SphericalVideo>\n" + line("StitchingSoftware", "S \xC3\xA4\\1") +
          line("InitialViewHeadingDegrees", "90") + line("InitialViewPitchDegrees", "-10") +
          line("InitialHorizontalFOVDegrees", "75") + line("InitialCameraDolly", "0.750000") +
          "</rdf:SphericalVideo>";
}

std::string BuiltMovie::avcC() const {
    H264::AvcRecord record;
    record.profileIndication = 66;
    record.levelIndication = 10;
    record.sequenceParameterSets = {byteArray(parameterSet)};
    record.pictureParameterSets = {fromHex("68cb83cb20")};
    const ByteArray written = record.write();
    return box("avcC", {reinterpret_cast<const char*>(written.data()), written.length()});
}

H264::SequenceParameterSet BuiltMovie::set() const {
    H264::SequenceParameterSet parsed;
    parsed.parse(byteArray(parameterSet));
    return parsed;
}

void BuiltMovie::put(const H264::SequenceParameterSet& changed) {
    const ByteArray unit = changed.write();
    parameterSet.assign(reinterpret_cast<const char*>(unit.data()), unit.length());
}

std::string BuiltMovie::bytes() const {
    const H264::SequenceParameterSet coded = set();
    const auto pixels = [](std::uint32_t macroblocks, std::uint32_t cropped) {
        return static_cast<int>(16 * (macroblocks + 1) - 2 * cropped);
    };
    const int width = pixels(coded.pic_width_in_mbs_minus1, coded.frame_crop_right_offset);
    const int height = pixels(coded.pic_height_in_map_units_minus1, coded.frame_crop_bottom_offset);
    std::string boxes = mvhd(timeScale, duration, 2082844800U + 1700000000U);
    for (const BuiltTrack& track : tracks) {
        const bool isFirst = &track == &tracks.front();
        boxes += trackOf(
            "vide", track.width, track.height, visualEntry(track.code, width, height, avcC()),
            track.bytes,
            track.behind + (isFirst && !xml.empty() ? uuidBox(MP4::sphericalVideoType, xml) : ""));
    }
    if (!sound.empty()) {
        const std::string entry = box("sowt", zeros(6) + u16(1) + zeros(8) + u16(4) + u16(16) +
                                                  zeros(4) + u32(48000U << 16) + sound);
        boxes += trackOf("soun", 0, 0, entry, 8, "");
    }
    const auto named = [](const char* code, const std::string& payload) {
        return payload.empty() ? std::string() : box(code, payload);
    };
    const std::string userData = named("@mod", model) + (hasNote ? box("KMKN", note.tiff()) : "") +
                                 named("@xyz", position) + accel + gyro + compass + times +
                                 moreUserData;
    return box("ftyp", "isom" + zeros(4)) + box("mdat", picture) +
           box("moov", boxes + box("udta", userData)) + behind;
}

}  // namespace kit
