#include "app/SensorDump.h"
#include "fuzz/kit/Fuzzing.h"
#include "mp4/ParseLimits.h"
#include "sensor/YawStabilizer.h"

namespace {

using Sensors = AccelSensorStreamEmbed;

void readMovie(const std::wstring& path, std::uint8_t choice, std::uint64_t length) {
    MP4::Container movie;
    if (!movie.attach(path, MP4::Container::wholeFile)) return;
    std::vector<Sensors::Gyro> gyro;
    std::vector<Sensors::Ecompass> compass;
    std::vector<Sensors::TopBottomCorrection> accel;
    std::uint16_t rate = 0;
    Sensors::loadM29_KDTB(movie, gyro, rate);
    Sensors::loadM29_KDTC(movie, compass, rate);
    Sensors::loadM30_KDTD_with_KDTG(movie, accel, rate);
    fuzz::require(gyro.size() <= length / sizeof(Sensors::Gyro) + MP4::mostRowsBeyondFile,
                  "records are bounded by the file");

    Sensors analyser;
    analyser.loadM29(movie, choice % 2 == 0 ? 15 : 30);
    YawStabilizer stabilizer;
    stabilizer.init(movie, VideoStabilizationMode::MODE{choice % 3}, 30, analyser.upDownReversed,
                    MetaBuilder::CAMERA_Q7);
    stabilizer.acquire_yaw(choice);
    const std::wstring nowhere = L"/dev/null";
    SensorDump::dumpXYZT<Sensors::TopBottomCorrection>(accel, nowhere,
                                                       SensorDump::YawMember{stabilizer.yaws});
    SensorDump::dumpXYZT<Sensors::Gyro>(gyro, nowhere);
    SensorDump::dumpXYZT<Sensors::Ecompass>(compass, nowhere);
}

void readRaw(const std::wstring& path, std::uint8_t choice) {
    WEKU::FileIO::open(path, [&](WEKU::FileIO& file) {
        Sensors analyser;
        analyser.load(0, file, choice % 16 == 1);
        for (const int index : {-1, 0, 1, 1000})
            analyser.axis(index);
    });
}

}  // namespace

/// A movie's sensor boxes, with everything that is made of them; or a raw accelerometer file.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::uint8_t choice = input.take8();
    const std::wstring& path = fuzz::memoryFile(input.rest());
    if (choice >= 128) {
        readRaw(path, choice);
    } else {
        readMovie(path, choice, input.rest().size());
    }
    return 0;
}
