#pragma once

#include <string>

#include "tests/kit/TiffBuilder.h"

/// The camera that the samples come from.
namespace sample {

inline constexpr char model[] = "KESTO ZELVA Q7";

/// Its maker note and Exif structure with every tag that is read.
kit::CameraTiff cameraTiff();

/// How densely the sensors are read, in samples a second; 0: once a frame.
struct SensorRates {
    double gyro = 200;
    double compass = 100;
    double accelerometer = 0;
};

/// The sensor boxes of a clip of so many frames a second: a rest, a pan to the side, a tilt up and
/// down again, a rest.
std::string sensorBoxes(double seconds, double framesPerSecond, SensorRates rates);

/// Gives the movie at `source` the camera's boxes and writes it to `target`: maker note, model,
/// position and sensor streams in the user data, spherical XML in the video track, an XMP packet
/// at the end. False, with the cause on the console, when it cannot.
bool makeMovie(const std::wstring& source, const std::wstring& target, SensorRates rates);

/// The JPEG `picture` with the camera's Exif segment.
std::string jpegStill(const std::string& picture);
/// A DNG whose strip is `picture`.
std::string dngStill(const std::string& picture);

}  // namespace sample
