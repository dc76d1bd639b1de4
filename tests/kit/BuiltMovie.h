#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "h264/SequenceParameterSet.h"
#include "tests/kit/BoxBuilder.h"
#include "tests/kit/TiffBuilder.h"

namespace kit {

/// A video track of one picture in two seconds. What is changed here is what the movie claims; the
/// picture stays.
struct BuiltTrack {
    std::string code = "avc1";
    /// What players show, from the track header.
    int width = 640, height = 320;
    /// What the sample table says that the picture takes.
    std::uint32_t bytes = 21;
    /// Boxes behind the media.
    std::string behind = {};
};

/// A movie with a picture that decodes and everything that the camera writes, short and by hand.
/// Change any of it, then lay it out.
struct BuiltMovie {
    BuiltMovie();

    std::string bytes() const;
    /// The video tracks' record.
    std::string avcC() const;
    H264::SequenceParameterSet set() const;
    void put(const H264::SequenceParameterSet& changed);

    std::uint32_t timeScale = 1000, duration = 2000;
    std::string model = "KESTO ZELVA Q7";
    CameraTiff note;
    bool hasNote = true;
    std::string position = "+35+139/";
    /// The accelerometer's, gyro's, compass's and frame times' boxes.
    std::string accel, gyro, compass, times;
    std::string moreUserData;

    /// Whole NAL unit: baseline with constraint_set1_flag, 64x32.
    std::string parameterSet;
    std::vector<BuiltTrack> tracks;
    /// The first track's XML.
    std::string xml;
    /// A sound track's boxes inside its sample entry.
    std::string sound;
    /// Boxes behind the movie box.
    std::string behind;
};

}  // namespace kit
