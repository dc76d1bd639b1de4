#include <cctype>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <vector>

#include "builder/AxisTiltStream.h"
#include "mp4/GPSInfo.h"
#include "mp4/MetadataBoxes.h"
#include "sensor/ViewHeading.h"
#include "support/Endian.h"
#include "tests/h264/ParameterSets.h"
#include "tests/kit/BoxBuilder.h"
#include "tests/kit/SensorBoxes.h"
#include "tests/kit/TiffBuilder.h"

namespace {

using namespace kit;

/// Small, well-formed inputs of every kind, from which a fuzzer can start.
class Corpus {
  public:
    explicit Corpus(const std::filesystem::path& folder) : folder(folder) {}

    /// `head` is what the target takes off the front to make its choices.
    void add(const char* target, const char* name, const std::string& head,
             const std::string& bytes) const {
        std::filesystem::create_directories(folder / target);
        std::ofstream(folder / target / name, std::ios::binary) << head << bytes;
    }

  private:
    std::filesystem::path folder;
};

std::string text(const ByteArray& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.length()};
}

/// A description as a file name: letters and digits.
std::string fileName(std::string words) {
    std::erase_if(words, [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; });
    return words;
}

std::string sphericalXml() {
    ViewHeading heading;
    heading.software = "KESTO ZELVA Q7 Ver 1";
    heading.heading = 90;
    heading.pitch = -10;
    heading.fov = 75;
    heading.dolly = 0.5F;
    heading.timestamp = 1;
    return heading.toString();
}

std::string xmpPacket() {
    GPSInfo place;
    place.attachRXYZ("+35.6895+139.6917+40.0/");
    place.attachCompass(123.4);
    return place.to_XMP_string("KESTO ZELVA Q7", false, "");
}

std::string sensors(bool bigEndian) {
    using namespace SensorRecords;
    std::vector<Gyro> gyro;
    std::vector<Ecompass> compass;
    std::vector<TopBottomCorrection> accel;
    std::vector<unsigned long long> frames;
    for (unsigned i = 0; i < 8; ++i) {
        const std::uint64_t time = 1000000000 + i * 33000000ULL;
        const auto turn = static_cast<float>(i);
        gyro.push_back({0.1F * turn, 0, 0.2F, time});
        compass.push_back({20, turn, -30, time});
        accel.push_back({100, static_cast<std::int16_t>(i * 50), 4000, time});
        if (i % 2 == 0) frames.push_back(time + 4000000);
    }
    const StreamLayout layout{.bigEndian = bigEndian};
    return streamBox("KDTB", gyro, layout) + streamBox("KDTC", compass, layout) +
           streamBox("KDTD", accel, layout) + streamBox("KDTG", frames, layout);
}

std::string tables(std::uint32_t offset, bool wide) {
    return fullBox("stsz", 0, u32(0) + u32(2) + u32(4) + u32(5)) +
           fullBox("stts", 0, u32(1) + u32(2) + u32(100)) +
           fullBox("stsc", 0, u32(1) + u32(1) + u32(1) + u32(1)) +
           (wide ? fullBox("co64", 0, u32(2) + u64(offset) + u64(offset + 4))
                 : fullBox("stco", 0, u32(2) + u32(offset) + u32(offset + 4)));
}

std::string avcC() {
    // A baseline set without the flag that the patch sets.
    return text(h264test::recordOf(h264test::fromHex(h264test::kSamples[1].hex)));
}

std::string movieBox(std::uint32_t offset, bool wide, const std::string& userData) {
    const std::string video =
        trackOf(tkhd(16, 8), visualEntry("avc1", 16, 8, box("avcC", avcC())), tables(offset, wide));
    const std::string sound =
        trackOf(tkhd(0, 0), box("sowt", zeros(28) + box("SA3D", zeros(4))), tables(offset, wide));
    return box("moov", mvhd(600, 1200) + video + sound + box("udta", userData));
}

/// ftyp, moov and mdat (or mdat and moov), the chunk offsets at the media data.
std::string movie(bool moovFirst, bool wide, const std::string& userData) {
    const std::string ftyp = box("ftyp", "isom");
    const std::string mdat = box("mdat", "MEDIADATA");
    const std::size_t moovSize = movieBox(0, wide, userData).size();
    const auto at = static_cast<std::uint32_t>(ftyp.size() + (moovFirst ? moovSize : 0) + 8);
    const std::string moov = movieBox(at, wide, userData);
    return ftyp + (moovFirst ? moov + mdat : mdat + moov);
}

/// A spatial-data box whose track leads into the media data of a file of this many bytes.
std::string spatialBox(std::uint32_t offset) {
    std::string track = trackOf(tkhd(0, 0), box("sowt", zeros(28)), tables(offset, false));
    track.replace(4, 4, "KATR");
    return uuidBox(MP4::spatialDataType, track);
}

void addMovies(const Corpus& corpus) {
    CameraTiff note;
    note.ifd0.drop({0x014A});
    note.camera.drop({0x0201, 0x0202});
    const std::string userData =
        box("@mod", "KESTO ZELVA Q7") + box("KMKN", note.makerNote()) +
        box("@xyz", "+35.7+139.7/") + box("\xA9xyz", u16(12) + u16(0x15C7) + "+35.7+139.7/") +
        fullBox("loci", 0, zeros(4) + u32(0x8BB333) + u32(0x23B333) + u32(0)) + box("meta");
    const std::string handler =
        box("meta", zeros(4) + box("hdlr", zeros(8) + "mdir" + zeros(12) + "name"));
    const std::string whole = movie(true, false, userData) + handler +
                              uuidBox(MP4::xmpType, xmpPacket()) +
                              uuidBox(MP4::sphericalVideoType, sphericalXml());
    corpus.add("BoxTree", "camera", u16(0), whole);
    corpus.add("BoxTree", "bounded", u16(300), whole);
    corpus.add("BoxTree", "spatial", u16(0), movie(false, true, {}) + spatialBox(24));
    corpus.add("BoxTree", "sizes", u16(0),
               largeBox("free", "x") + boxClaiming(0, "moov", boxClaiming(0, "trak")));
    std::string nested;
    for (int i = 0; i < 40; ++i)
        nested = uuidBox(MP4::spatialDataType, box("KATR", nested));
    corpus.add("BoxTree", "nested", u16(0), box("moov", box("trak", nested)));

    corpus.add("Rewrite", "insert", u8(0) + u8(2) + u8(9), movie(true, false, box("free")));
    corpus.add("Rewrite", "insertWide", u8(0) + u8(20) + u8(9), movie(true, true, box("free")));
    corpus.add("Rewrite", "replace", u8(1) + u8(30) + u8(9), movie(true, false, box("free")));
    corpus.add("Rewrite", "moovFirst", u8(2) + u8(0) + u8(0), movie(false, false, {}));
    corpus.add("Rewrite", "moovFirstWide", u8(2) + u8(0) + u8(0), movie(false, true, {}));
    corpus.add("Rewrite", "appendXmp", u8(3) + u8(0) + u8(50), movie(false, false, {}));
    corpus.add("Rewrite", "appendAxis", u8(4) + u8(0) + u8(50), movie(false, false, {}));
    corpus.add("Rewrite", "timeStamp", u8(5) + u8(0) + u8(50), movie(false, false, {}));
    corpus.add("Rewrite", "setFlag", u8(6) + u8(0) + u8(1), movie(true, true, box("free")));
    corpus.add("Rewrite", "setFlagInRoom", u8(6) + u8(0) + u8(1),
               movie(true, false, box("free", zeros(40))));
    // Behind the file type: media data and spatial track move.
    corpus.add("Rewrite", "spatial", u8(0) + u8(0) + u8(4),
               movie(false, false, {}) + spatialBox(20));
}

void addSensors(const Corpus& corpus) {
    corpus.add("Sensors", "little", u8(1), sensorMovie(sensors(false)));
    corpus.add("Sensors", "big", u8(2), sensorMovie(sensors(true)));
    corpus.add("Sensors", "twice", u8(4), sensorMovie(sensors(true) + sensors(false)));
    std::string raw = u32(3);
    for (unsigned i = 1; i < 12; ++i)
        raw += u32(i);
    for (unsigned i = 0; i < 18; ++i)
        raw += u16(i * 1000);
    corpus.add("Sensors", "raw", u8(128), raw);
    corpus.add("Sensors", "rawFiltered", u8(129), raw);
}

void addStills(const Corpus& corpus) {
    for (const bool big : {true, false}) {
        const CameraTiff tiff(big);
        corpus.add("Exif", big ? "jpeg" : "jpegLittle", u8(0) + u8(3), tiff.jpeg());
        corpus.add("Exif", big ? "note" : "noteTiff", u8(1) + u8(3),
                   big ? tiff.makerNote() : tiff.tiff());
        corpus.add("Exif", big ? "dng" : "dngLittle", u8(2) + u8(3), tiff.dng());
    }
    CameraTiff unset;
    unset.camera.drop({0x1014});
    unset.camera.entries.push_back({0x0109, 10, 3, 0, {}, {1, 2, 3, 4, 5, 6}});
    corpus.add("Exif", "threeRationals", u8(1) + u8(4), unset.makerNote());
    CameraTiff filled;
    filled.jpegHead.insert(2, std::string(31, '\xFF'));
    corpus.add("Exif", "fillBytes", u8(0) + u8(0), filled.jpeg());
}

void addTexts(const Corpus& corpus) {
    corpus.add("Texts", "spherical", {}, sphericalXml());
    corpus.add("Texts", "xmp", {}, xmpPacket());
    corpus.add("Texts", "creator", {}, "<x:CreatorTool>  a b  </x:CreatorTool></x:CreatorTool>\n");
    corpus.add("Texts", "position", {}, "+35.6895+139.6917+40.0CRSWGS_84/");
    corpus.add("Texts", "unicode", {}, "\xE3\x81\x82\xF0\x9F\x98\x80\xC3\xA9\xFF\"\\ ");

    corpus.add("JobLine", "columns", u8(0),
               "a.mp4\td.json\tb.json\tc.json\r\n\n\t\nb.JPG\n\xC3\xA9\xFF.DNG");
    corpus.add("JobLine", "narrow", u8(7),
               "\xE3\x81\x82\xE3\x81\x82\xE3\x81\x82\xE3\x81\nlonger line");
}

void addStreams(const Corpus& corpus) {
    AxisTiltStream tilt;
    tilt.samples = {{0.1F, 0.2F, 0.3F, 0, 4}, {1, 2, 3, 0, 5}, {-1, -2, -3, 0, 6}};
    tilt.referenceIndex = 1;
    std::uint64_t length = 0;
    unsigned char* binary = tilt.toBinary(length);
    corpus.add("Tilt", "version2", u16(1) + u16(2), text(ByteArray(binary, length)));
    delete[] binary;
    corpus.add("Tilt", "version1", u16(0) + u16(9),
               u16(1) + u16(0) + u32(2) + u32(0) + zeros(4 + 12) + u32(90) + u32(180) + u32(7));

    corpus.add("Bits", "orders", {}, "\x01\x08\x90\x91\xC1\xE3\x1F\xD1 \x84\x21\x08\xFF\x12");
    std::string sets;
    for (const auto& [name, hex, states] : h264test::kSamples) {
        corpus.add("Avc", fileName(name).c_str(), u8(1), text(h264test::fromHex(hex)));
        if (sets.empty()) corpus.add("Bits", "parameterSet", {}, text(h264test::fromHex(hex)));
        sets = hex;
    }
    corpus.add("Avc", "record", u8(1), avcC());
    H264::AvcRecord high;
    high.profileIndication = 100;
    high.sequenceParameterSets = {h264test::fromHex(sets)};
    high.extension = H264::AvcRecord::Extension{};
    corpus.add("Avc", "recordHigh", u8(0), text(high.write()));
}

}  // namespace

/// sondex-seeds FOLDER: writes the corpus of every fuzz target below the folder.
int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: sondex-seeds FOLDER\n";
        return 2;
    }
    const Corpus corpus(argv[1]);
    addMovies(corpus);
    addSensors(corpus);
    addStills(corpus);
    addTexts(corpus);
    addStreams(corpus);
    return 0;
}
