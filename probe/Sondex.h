#pragma once

#include <cstdint>
#include <string>

#include "exif/CameraRecord.h"
#include "mp4/Container.h"
#include "sensor/CameraVersion.h"

/// The facts of one movie: what its boxes say about the camera that made it, and how its first
/// picture decodes. The reading steps print a progress line each; nothing here throws.
class Sondex {
  public:
    enum CODEC : std::int32_t { CODEC_UNKNOWN = 0, CODEC_H264 = 1, CODEC_H265 = 2 };

    Sondex() = default;
    virtual ~Sondex() = default;

    /// Forgets everything and reads the movie. True when its first picture could be decoded,
    /// that is when `width` is at least 1; well-read boxes alone do not make a movie readable.
    [[nodiscard]] bool probe(const std::wstring& path);
    /// The same with the caller's container, which keeps the movie's boxes; it has no root when
    /// the file does not open.
    [[nodiscard]] bool probe(const std::wstring& path, MP4::Container& movie);

    /// Back to the values below.
    void init();

    void readModel(const MP4::Container& movie);
    void readKMKN(const MP4::Container& movie);
    void readCodec(const MP4::Container& movie);
    void readSphericalXML(const MP4::Container& movie);
    void readXMP(const MP4::Container& movie);
    void detectGyroData(const MP4::Container& movie);
    void detect_movie(const MP4::Container& movie);
    void detectBitRate(const MP4::Container& movie);

    MetaBuilder::CAMERA_VERSION cameraVersion = MetaBuilder::CAMERA_UNKNOWN;
    float nominalFrameRate = 0;
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
