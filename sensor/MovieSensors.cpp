#include "sensor/MovieSensors.h"

#include "support/Console.h"

namespace {

using WEKU::Console::Sink;

/// Keeps what passes through to the sink that was there before.
class Recorder final : public Sink {
  public:
    explicit Recorder(std::string& lines) : lines(lines), redirect(*this) {}
    void write(std::string_view bytes) override {
        lines += bytes;
        before.write(bytes);
    }
    void warn(std::string_view line) override { before.warn(line); }
    bool isSilent() const override { return before.isSilent(); }

  private:
    Sink& before = WEKU::Console::sink();
    std::string& lines;
    WEKU::Console::Redirect redirect;
};

void repeat(const std::string& lines) {
    if (!lines.empty()) WEKU::Console::sink().write(lines);
}

}  // namespace

void MovieSensors::load(const MP4::Container& movie) {
    *this = MovieSensors();
    {
        const Recorder recorder(gyroLines);
        AccelSensorStreamEmbed::loadM29_KDTB(movie, gyro, gyroRate);
    }
    {
        const Recorder recorder(compassLines);
        AccelSensorStreamEmbed::loadM29_KDTC(movie, compass, compassRate);
    }
    const Recorder recorder(topBottomLines);
    AccelSensorStreamEmbed::loadM30(movie, topBottom, topBottomRate, frameTimes);
}

void MovieSensors::analyse(VideoStabilizationMode::MODE mode, int frameRate,
                           MetaBuilder::CAMERA_VERSION version) {
    repeat(compassLines);
    repeat(topBottomLines);
    AccelSensorStreamEmbed analyser;
    analyser.loadM29(compass, topBottom, frameRate);
    upDownReversed = analyser.upDownReversed;

    if (mode != VideoStabilizationMode::DISABLED) {
        repeat(gyroLines);
        repeat(topBottomLines);
    }
    stabilizer.init(gyro, topBottom, topBottomRate, mode, frameRate, upDownReversed, version);
}
