#include <cmath>

#include "mp4/GPSInfo.h"
#include "mp4/HeaderBoxes.h"
#include "mp4/MetadataBoxes.h"
#include "probe/Sondex.h"
#include "probe/TreeFacts.h"
#include "sensor/AccelSensorStreamEmbed.h"
#include "sondex/inside/FactsOf.h"
#include "sondex/inside/Opening.h"
#include "sondex/inside/Texts.h"
#include "support/Truncate.h"

namespace sondex {

using namespace inside;

namespace {

std::optional<float> known(float value) {
    return std::isfinite(value) ? std::optional(value) : std::nullopt;
}

std::optional<Size> sizeOf(std::int32_t width, std::int32_t height) {
    if (width < 1 || height < 1) return std::nullopt;
    return Size{static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)};
}

/// The text of a position box, which most writers put behind its length and language, as the
/// standard location box has it, and some begin at once.
std::optional<std::string> positionText(std::string payload) {
    constexpr std::size_t words = 4;
    const bool behindWords = !payload.empty() && payload[0] != '+' && payload[0] != '-';
    if (behindWords) payload.erase(0, words);
    return text(payload);
}

std::optional<Position> parsed(const std::optional<std::string>& iso6709) {
    if (!iso6709) return std::nullopt;
    GPSInfo place;
    place.attachRXYZ(iso6709->c_str());
    if (!place.latitude.valid || !place.longitude.valid) return std::nullopt;
    Position position{place.latitude.value, place.longitude.value, std::nullopt};
    if (place.altitude.valid) position.altitude = place.altitude.value;
    return position;
}

/// Seconds since 1970 of seconds since 1904; a clock that was never set stores 0.
std::optional<std::int64_t> unixTime(std::uint64_t since1904) {
    constexpr std::uint64_t years66 = 2082844800;
    if (since1904 == 0 || since1904 > INT64_MAX) return std::nullopt;
    return static_cast<std::int64_t>(since1904) - static_cast<std::int64_t>(years66);
}

void fillCamera(const Sondex& probe, MovieFacts& facts) {
    const ExifParser::ZELVA& record = probe.record;
    facts.camera = cameraOf(record);
    facts.projection = static_cast<Projection>(probe.projection());
    if (record.adjZenith != -1) facts.topBottomCorrection = record.adjZenith == 1;
    if (record.stabilize != -1) {
        facts.stabilization = Stabilization{record.stabilizeFlag2, record.stabilize};
    }
    if (record.videoQuality == 1) facts.quality = Quality::normal;
    if (record.videoQuality == 2) facts.quality = Quality::fine;
}

void fillPicture(const Sondex& probe, bool decode, MovieFacts& facts) {
    facts.codec = static_cast<Codec>(probe.codec);
    if (decode) facts.decodable = probe.isDecodable();
    facts.picture = sizeOf(probe.width, probe.height);
    if (probe.nominalFrameRate > 0) facts.frameRate = known(probe.nominalFrameRate);
    facts.duration = known(probe.duration);
    if (std::isfinite(probe.videoBitRate)) {
        facts.videoBitRate = WEKU::truncateToCount(double{probe.videoBitRate});
    }
    facts.stitchingSoftware = text(probe.stitchingSoftware);
    facts.creatorTool = text(probe.creatorTool);
}

void fillTree(const TreeFacts& tree, MovieFacts& facts) {
    facts.frame = sizeOf(tree.frameWidth, tree.frameHeight);
    facts.hasSpatialSound = tree.hasSpatialSound;
    facts.hasSa3dSound = tree.hasSA3DSound;
    facts.gps = positionText(tree.gps);
    facts.view = {known(tree.viewHeading.heading), known(tree.viewHeading.pitch),
                  known(tree.viewHeading.fov), known(tree.viewHeading.dolly)};
    if (facts.codec == Codec::h264) facts.dxvaDecodable = tree.dxvaDecodable();
}

}  // namespace

Error inside::whyNoPicture(VideoFacts::Trouble trouble) {
    switch (trouble) {
        case VideoFacts::Trouble::noDecoder:
            return {ErrorCode::decoderMissing,
                    "no movie can be decoded here: the decoder module is missing or does not fit"};
        case VideoFacts::Trouble::unreadable:
            return {ErrorCode::damaged, "the decoder finds no movie in it"};
        case VideoFacts::Trouble::noTrack:
            return {ErrorCode::notDecodable, "it has no video track"};
        case VideoFacts::Trouble::tooLarge:
            return {ErrorCode::notDecodable, "its pictures are too large to be decoded"};
        case VideoFacts::Trouble::foreignCodec:
            return {ErrorCode::notDecodable, "its pictures are of a codec that is not decoded"};
        case VideoFacts::Trouble::tooCostly:
            return {ErrorCode::notDecodable,
                    "decoding it takes more time or memory than a movie of its length is given"};
        case VideoFacts::Trouble::pastEnd:
            return {ErrorCode::noSuchFrame, "the movie ends ahead of that picture"};
        case VideoFacts::Trouble::unwritable:
            return {ErrorCode::notDecodable, "a picture of that size cannot be written"};
        default:
            return {ErrorCode::notDecodable, "the picture cannot be decoded"};
    }
}

Result<MovieFacts> inside::movieFacts(const MP4::Container& movie, bool decode) {
    if (movie.moov == nullptr) return whyNoMovie(movie);
    Sondex probe;
    const bool described =
        probe.probe(movie, decode ? Sondex::Picture::decoded : Sondex::Picture::claimed);
    if (decode && !described) return whyNoPicture(probe.pictureTrouble);
    TreeFacts tree;
    tree.read(movie);

    MovieFacts facts;
    fillCamera(probe, facts);
    fillPicture(probe, decode, facts);
    fillTree(tree, facts);
    facts.position = parsed(facts.gps);
    if (const auto* place = movie.first<MP4::XYZ>("moov.udta.\xA9xyz"); !facts.position && place) {
        facts.position = parsed(text(place->text));
    }
    if (const auto* header = movie.first<MP4::MVHD>("moov.mvhd")) {
        facts.created = unixTime(header->timeStamp);
    }
    const AccelSensorStreamEmbed::Rates rates = AccelSensorStreamEmbed::readRates(movie);
    if (rates.hasTopBottom) facts.motion = MotionRates{rates.topBottom, rates.gyro, rates.compass};
    return facts;
}

Result<MovieFacts> readMovie(std::string_view path, const Options& options) {
    return readFile<MovieFacts>(
        path, options, MP4::Container::wholeFile,
        [&](const MP4::Container& movie) { return movieFacts(movie, options.decode); });
}

}  // namespace sondex
