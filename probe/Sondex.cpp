#include "probe/Sondex.h"

#include "mp4/HeaderBoxes.h"
#include "mp4/MetadataBoxes.h"
#include "mp4/SampleTableBoxes.h"
#include "probe/TagText.h"
#include "support/Console.h"
#include "support/Truncate.h"
#include "support/WideText.h"

namespace {

using WEKU::Console::out;

/// The boxes whose payload is read as bytes have a header of 8.
constexpr std::uint64_t headerBytes = 8;

/// Stores the payload of the first uuid box of this type, and the text between the tags in it.
void readTaggedText(const MP4::Container& movie, const char* path, const MP4::UserType& type,
                    std::string_view tag, std::string& text, std::string& value) {
    bool done = false;
    movie.findEach<MP4::UUID>(path, [&](const MP4::UUID& uuid) {
        if (done || !uuid.is(type)) return !done;
        done = true;
        text = uuid.payload;
        if (auto found = textBetweenTags(text, tag)) value = std::move(*found);
        return false;
    });
}

}  // namespace

bool Sondex::probe(const std::wstring& path) {
    MP4::Container movie;
    return probe(path, movie);
}

bool Sondex::probe(const std::wstring& path, MP4::Container& movie) {
    init();
    return movie.attach(path, MP4::Container::wholeFile) && probe(movie, Picture::decoded);
}

bool Sondex::probe(const MP4::Container& movie, Picture picture) {
    init();
    readModel(movie);
    readKMKN(movie);
    readCodec(movie);
    readSphericalXML(movie);
    readXMP(movie);
    detectGyroData(movie);
    detect_movie(movie, picture);
    detectBitRate(movie);
    return isDecodable();
}

void Sondex::init() {
    *this = Sondex();
}

void Sondex::readModel(const MP4::Container& movie) {
    const MP4::BOX* box = movie.first(MP4::path::model);
    if (box == nullptr || box->size() <= headerBytes) return;
    const std::string model = movie.payload(*box);
    cameraVersion = MetaBuilder::camera_version(model);
    const std::string line = WEKU::wchar::oneLine(model);
    out(L"source movie model: %ls (%x)\n", WEKU::wchar::mbs2wcs(line).c_str(),
        static_cast<unsigned>(cameraVersion));
}

void Sondex::readKMKN(const MP4::Container& movie) {
    const MP4::BOX* box = movie.first(MP4::path::makerNote);
    if (box == nullptr) {
        out(L"KMKN not found.\n");
        return;
    }
    if (box->size() <= headerBytes) return;
    try {
        const std::string bytes = movie.payload(*box);
        ExifParser parser;
        parser.attachKMKN(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
        parser.readZEVLA(record);
        out(L"source movie panoramaImageType: %d\n", record.type);
    } catch (...) {
        out(L"EXIF can't read.\n");
    }
}

void Sondex::readCodec(const MP4::Container& movie) {
    codec = CODEC_UNKNOWN;
    if (movie.first("moov.trak.mdia.minf.stbl.stsd.avc1") != nullptr) {
        codec = CODEC_H264;
        out(L"H.264 detected.\n");
    }
    // An audio track may come first, so every track's description is looked at until one is H.265.
    movie.find(MP4::path::sampleDescription, [this](MP4::BOX& box) {
        if (codec == CODEC_H265) return false;
        const auto& description = static_cast<MP4::STSD&>(box);
        if (description.first("hvc1") != nullptr) {
            codec = CODEC_H265;
            out(L"H.265/HEVC detected(hvc1).\n");
        }
        if (description.first("hev1") != nullptr) {
            codec = CODEC_H265;
            out(L"H.265/HEVC detected(hev1).\n");
        }
        return false;
    });
    if (codec == CODEC_UNKNOWN) out(L"Unknown codec.\n");
}

void Sondex::readSphericalXML(const MP4::Container& movie) {
    readTaggedText(movie, MP4::path::trackUuid, MP4::sphericalVideoType,
                   "GSpherical:StitchingSoftware", sphericalXML, stitchingSoftware);
}

void Sondex::readXMP(const MP4::Container& movie) {
    readTaggedText(movie, "uuid", MP4::xmpType, "x:CreatorTool", xmp, creatorTool);
}

void Sondex::detectGyroData(const MP4::Container& movie) {
    // The sensor header behind the box header takes 16 bytes; without a sample there is no data.
    constexpr std::uint64_t emptyBytes = headerBytes + 16;
    const MP4::BOX* box = movie.first("moov.udta.KDTB");
    if (box != nullptr) hasGyro = box->size() > emptyBytes;
}

void Sondex::detect_movie(const MP4::Container& movie, Picture picture) {
    VideoFacts facts;
    bool described = false;
    movie.open([&](WEKU::FileIO& file) {
        described = picture == Picture::decoded ? VideoReader::describeSource(movie, file, facts)
                                                : VideoReader::describeHeaders(movie, file, facts);
    });
    nominalFrameRate = facts.nominalFrameRate;
    pictureTrouble = facts.trouble;
    if (!described) return;
    width = WEKU::truncateToInt32(facts.width);
    height = WEKU::truncateToInt32(facts.height);
}

void Sondex::detectBitRate(const MP4::Container& movie) {
    if (const auto* header = movie.first<MP4::MVHD>("moov.mvhd")) duration = header->duration;
    movie.findEach<MP4::TRAK>(MP4::path::track, [this](const MP4::TRAK& track) {
        const auto* header = track.first<MP4::TKHD>("tkhd");
        const auto* sizes = track.first<MP4::STSZ>("mdia.minf.stbl.stsz");
        if (sizes == nullptr) return true;
        const bool isVideo = header != nullptr && header->width >= 1;
        const float bitRate = static_cast<float>(sizes->sampleTotal * 8) / duration;
        // Deliberate: a rate of 0 counts as unset, so that a track behind an empty one fills it.
        if (isVideo && videoBitRate == 0) {
            videoBitRate = bitRate;
        } else if (otherTrackBitRate == 0) {
            otherTrackBitRate = bitRate;
        } else {
            out(L"3rd(or more) track is found.\n");
        }
        return true;
    });
}

Sondex::PROJECTION Sondex::projection() const {
    if (record.type == 2) return PROJECTION_DUALFISH;
    if (record.type == 1) return PROJECTION_EQUI;
    const bool twoToOne = width / 2 == height;
    return record.type == 0 && cameraVersion == MetaBuilder::CAMERA_UNKNOWN && twoToOne
               ? PROJECTION_EQUI
               : PROJECTION_UNKNOWN;
}

const char* Sondex::nameOf(PROJECTION projection) {
    static constexpr const char* names[] = {"unknown", "equi", "dualfish"};
    return names[projection];
}

const char* Sondex::nameOf(CODEC codec) {
    static constexpr const char* names[] = {"unknown", "H264", "H265"};
    return names[codec];
}
