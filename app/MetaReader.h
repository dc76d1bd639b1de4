#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "exif/CameraRecord.h"
#include "mp4/Container.h"
#include "probe/Sondex.h"
#include "sensor/AccelSensorStreamEmbed.h"
#include "sensor/ViewHeading.h"
#include "sensor/YawStabilizer.h"

/// The results of one file, from its reading to its result line. One is made for every file and
/// nothing outlives it.
class MetaReader {
  public:
    /// The program behind `main`: handles the one file that the words name, or, without words
    /// after the program's name, one job a line of standard input. Returns 0, or 1 when the usage
    /// banner was shown.
    static int process(int count, const wchar_t* const* words);
    /// Prints the usage banner.
    static void usage();

    /// Reads a movie; true when the probe could describe it.
    bool parse(const std::wstring& path);
    /// Prints the result line of a movie that was read.
    void dumpToJSON() const;

    /// Read the camera record of a still; true when that succeeded. With `dump` the IFDs are
    /// printed as well.
    bool parse_JPEG(const std::wstring& path, bool dump);
    bool parse_DNG(const std::wstring& path, bool dump);
    /// Prints the result line of a still that was read.
    void dumpToJSON_still(bool isDng) const;

    std::wstring inputPath;
    Sondex probe;

    std::vector<AccelSensorStreamEmbed::Gyro> gyro;
    std::vector<AccelSensorStreamEmbed::Ecompass> compass;
    std::vector<AccelSensorStreamEmbed::TopBottomCorrection> topBottom;
    /// Samples a second, as the streams state them.
    std::uint16_t gyroRate = 0;
    std::uint16_t compassRate = 0;
    std::uint16_t topBottomRate = 0;
    YawStabilizer stabilizer;

    ViewHeading viewHeading;
    /// As stored, the box's own length and language words included.
    std::string gps;
    std::int32_t frameWidth = 0;
    std::int32_t frameHeight = 0;
    bool hasSpatialSound = false;
    bool hasSA3DSound = false;
    unsigned char profile_idc = 0;
    bool constrained_set1_flag = false;
    bool fullRange = false;

    ExifParser::ZELVA stillRecord;
    /// Places in a DNG: offset and length in bytes.
    struct Extent {
        std::uint32_t offset = 0;
        std::uint32_t length = 0;
    };
    Extent strip;
    Extent table1;
    Extent table2;

  private:
    void readSensors(const MP4::Container& movie);
    void readBoxes(const MP4::Container& movie);
};
