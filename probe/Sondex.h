#pragma once

#include <cstdint>
#include <string>

#include "exif/CameraRecord.h"
#include "exif/CameraVersion.h"
#include "mp4/Container.h"
#include "probe/VideoReader.h"

/// The facts of one movie: what its boxes say about the camera that made it, and how its first
/// picture decodes. The reading steps print a progress line each; nothing here throws.
class Sondex {
  public:
    enum CODEC : std::int32_t { CODEC_UNKNOWN = 0, CODEC_H264 = 1, CODEC_H265 = 2 };

    /// How the pictures cover the sphere.
    enum PROJECTION : std::int32_t {
        PROJECTION_UNKNOWN = 0,
        PROJECTION_EQUI = 1,
        PROJECTION_DUALFISH = 2
    };

    /// Where the facts of the picture come from.
    enum class Picture { decoded, claimed };

    Sondex() = default;
    virtual ~Sondex() = default;

    /// Forgets everything and reads the movie. True when its first picture could be decoded,
    /// that is when `width` is at least 1. Deliberate: sound boxes alone make no movie readable.
    [[nodiscard]] bool probe(const std::wstring& path);
    /// The same with the caller's container, which keeps the movie's boxes; it has no root when
    /// the file does not open.
    [[nodiscard]] bool probe(const std::wstring& path, MP4::Container& movie);
    /// The same of a container that is attached. With Picture::claimed nothing is decoded: picture
    /// and frame rate are what the headers say.
    [[nodiscard]] bool probe(const MP4::Container& movie, Picture picture);

    /// Back to the values below.
    void init();

    void readModel(const MP4::Container& movie);
    void readKMKN(const MP4::Container& movie);
    void readCodec(const MP4::Container& movie);
    void readSphericalXML(const MP4::Container& movie);
    void readXMP(const MP4::Container& movie);
    void detectGyroData(const MP4::Container& movie);
    void detect_movie(const MP4::Container& movie, Picture picture = Picture::decoded);
    void detectBitRate(const MP4::Container& movie);

    /// The maker note's word, or, without one, equirectangular for a picture twice as wide as high
    /// of an unknown camera.
    PROJECTION projection() const;
    /// The two rates at which the camera records, 30 or 15 pictures a second.
    int frameRateClass() const { return nominalFrameRate > 29.0F ? 30 : 15; }
    bool isDecodable() const { return width >= 1; }

    /// The words of the result line.
    static const char* nameOf(PROJECTION projection);
    static const char* nameOf(CODEC codec);

    MetaBuilder::CAMERA_VERSION cameraVersion = MetaBuilder::CAMERA_UNKNOWN;
    float nominalFrameRate = 0;
    /// Why there is no picture.
    VideoFacts::Trouble pictureTrouble = VideoFacts::Trouble::none;
    /// Of the first picture in pixels; -1 when the movie was opened but no picture decoded.
    std::int32_t width = 0;
    std::int32_t height = 0;
    CODEC codec = CODEC_UNKNOWN;
    std::int32_t unused = -1;
    ExifParser::ZELVA record;
    std::string sphericalXML;
    std::string stitchingSoftware;
    std::string xmp;
    std::string creatorTool;
    bool hasGyro = false;
    /// Seconds, from the movie header.
    float duration = 0;
    /// Bits a second: of the first track that is no video track, or of the second video track.
    float otherTrackBitRate = 0;
    /// Of the first video track. Both rates are infinite or NaN for a movie without a duration.
    float videoBitRate = 0;
};
