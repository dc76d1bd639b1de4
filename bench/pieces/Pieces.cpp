#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sstream>

#include "app/SensorDump.h"
#include "exif/CameraRecord.h"
#include "mp4/Container.h"
#include "sensor/AccelSensorStreamEmbed.h"
#include "sensor/YawStabilizer.h"
#include "sondex/Read.h"
#include "support/WideText.h"
#include "tests/kit/BoxBuilder.h"
#include "tests/kit/Files.h"
#include "tests/kit/Movies.h"
#include "tests/kit/Program.h"
#include "tests/kit/SensorBoxes.h"
#include "tests/kit/TiffBuilder.h"

/// The pieces of a movie that describes one hour: 720,000 samples of each stream at 200 a second,
/// 108,000 frames.
namespace {

using Sensors = AccelSensorStreamEmbed;

constexpr std::size_t samples = 720'000;
constexpr std::size_t frames = 108'000;
constexpr std::uint64_t second = 1'000'000'000;

const kit::OpenedMovie& hour() {
    static const kit::OpenedMovie movie([] {
        std::vector<Sensors::Gyro> gyro(samples);
        std::vector<Sensors::Ecompass> compass(samples);
        std::vector<Sensors::TopBottomCorrection> accel(samples);
        std::vector<unsigned long long> clock(frames);
        for (std::size_t i = 0; i < samples; ++i) {
            const float wave = static_cast<float>(i % 1000) / 1000 - 0.5F;
            const std::uint64_t time = i * second / 200;
            gyro[i] = {wave * 0.01F, wave * 0.02F, wave, time};
            compass[i] = {wave * 30, 40 - wave, wave * 7, time};
            accel[i] = {static_cast<std::int16_t>(i % 300), static_cast<std::int16_t>(i % 200),
                        static_cast<std::int16_t>(4096 - i % 100), time};
        }
        for (std::size_t i = 0; i < frames; ++i)
            clock[i] = i * second / 30;
        return kit::sensorMovie(kit::streamBox("KDTB", gyro, {.rate = 200}) +
                                kit::streamBox("KDTC", compass, {.rate = 200}) +
                                kit::streamBox("KDTD", accel, {.rate = 200}) +
                                kit::streamBox("KDTG", clock, {.rate = 30}));
    }());
    return movie;
}

void count(benchmark::State& state, std::int64_t items) {
    state.SetItemsProcessed(state.iterations() * items);
}

/// Diagnostic lines go nowhere while it lives.
class Silence {
  public:
    Silence() : console(::dup(1)), nowhere(::open("/dev/null", O_WRONLY)) { ::dup2(nowhere, 1); }
    ~Silence() {
        ::dup2(console, 1);
        ::close(console);
        ::close(nowhere);
    }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

  private:
    int console;
    int nowhere;
};

void loadGyro(benchmark::State& state) {
    hour();
    std::vector<Sensors::Gyro> gyro;
    std::uint16_t rate = 0;
    while (state.KeepRunning())
        Sensors::loadM29_KDTB(hour().movie, gyro, rate);
    count(state, std::int64_t{samples});
}
BENCHMARK(loadGyro)->Unit(benchmark::kMillisecond);

void loadAccelerometerPerFrame(benchmark::State& state) {
    const Silence silence;
    std::vector<Sensors::TopBottomCorrection> accel;
    std::uint16_t rate = 0;
    while (state.KeepRunning())
        Sensors::loadM30_KDTD_with_KDTG(hour().movie, accel, rate);
    count(state, std::int64_t{samples});
}
BENCHMARK(loadAccelerometerPerFrame)->Unit(benchmark::kMillisecond);

void yawOfEveryFrame(benchmark::State& state) {
    const Silence silence;
    YawStabilizer stabilizer;
    while (state.KeepRunning()) {
        stabilizer.init(hour().movie, VideoStabilizationMode::ENABLED, 30, false,
                        MetaBuilder::CAMERA_Q7);
    }
    count(state, std::int64_t{frames});
}
BENCHMARK(yawOfEveryFrame)->Unit(benchmark::kMillisecond);

/// What the dump replaced: a stream and a write a sample.
void dumpByStreams(std::span<const Sensors::Gyro> gyro, const std::wstring& path) {
    (void)WEKU::FileIO::open_w(path, [&](WEKU::FileIO& file) {
        (void)file.write(reinterpret_cast<const unsigned char*>("["), 1);
        for (const auto& sample : gyro) {
            std::ostringstream line;
            line << "{\"x\":" << sample.x << ",\"y\":" << sample.y << ",\"z\":" << sample.z
                 << ",\"timestamp\":" << sample.timestamp << "}"
                 << (&sample == &gyro.back() ? "]\n" : ",\n");
            const std::string text = line.str();
            (void)file.write(reinterpret_cast<const unsigned char*>(text.data()), text.size());
        }
    });
}

template <class Dump>
void dumpGyro(benchmark::State& state, Dump dump) {
    const kit::TempFolder folder;
    const std::wstring path = folder.wide("dump.json");
    std::vector<Sensors::Gyro> gyro;
    std::uint16_t rate = 0;
    Sensors::loadM29_KDTB(hour().movie, gyro, rate);
    while (state.KeepRunning())
        dump(std::span<const Sensors::Gyro>(gyro), path);
    count(state, std::int64_t{samples});
    const auto length = static_cast<std::int64_t>(kit::readFile(path).size());
    state.SetBytesProcessed(state.iterations() * length);
}
BENCHMARK_CAPTURE(dumpGyro, inBlocks,
                  [](std::span<const Sensors::Gyro> gyro, const std::wstring& path) {
                      SensorDump::dumpXYZT(gyro, path);
                  })
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(dumpGyro, byStreams, dumpByStreams)->Unit(benchmark::kMillisecond);

void parseSampleTable(benchmark::State& state) {
    const auto rows = static_cast<std::uint32_t>(state.range(0));
    const kit::TempFolder folder;
    const std::string table =
        kit::fullBox("stsz", 0, kit::u32(0) + kit::u32(rows) + kit::zeros(std::size_t{4} * rows));
    const std::wstring path =
        folder.write("m", kit::box("moov", kit::trackOf(kit::tkhd(2, 1), "", table)));
    while (state.KeepRunning()) {
        MP4::Container movie;
        (void)movie.attach(path, MP4::Container::wholeFile);
    }
    count(state, rows);
}
BENCHMARK(parseSampleTable)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

void parseBoxes(benchmark::State& state) {
    std::string boxes;
    for (int i = 0; i < 10'000; ++i)
        boxes += kit::box("free", kit::zeros(8));
    const kit::TempFolder folder;
    const std::wstring path = folder.write("m", kit::box("moov", boxes));
    while (state.KeepRunning()) {
        MP4::Container movie;
        (void)movie.attach(path, MP4::Container::wholeFile);
    }
    count(state, 10'000);
}
BENCHMARK(parseBoxes)->Unit(benchmark::kMicrosecond);

void readCameraRecord(benchmark::State& state) {
    const std::string jpeg = kit::CameraTiff().jpeg();
    ExifParser::ZELVA record;
    while (state.KeepRunning()) {
        ExifParser parser;
        parser.attachBytes(kit::byteArray(jpeg));
        parser.seekToKESTOMakerNote();
        parser.readZEVLA(record);
    }
    count(state, 1);
}
BENCHMARK(readCameraRecord)->Unit(benchmark::kMicrosecond);

/// A movie of six pictures.
const std::string& tinyMovie() {
    static const kit::TempFolder folder;
    static const std::string path = WEKU::wchar::narrow(
        folder.write("tiny.mp4", kit::clip("made.mp4", {"-c:v", "libx264", "-frames:v", "6"})));
    return path;
}

void readTinyMovie(benchmark::State& state) {
    for (const std::string& path = tinyMovie(); state.KeepRunning();)
        benchmark::DoNotOptimize(sondex::readMovie(path, {.log = {}, .decode = false}));
}
BENCHMARK(readTinyMovie)->Unit(benchmark::kMicrosecond);

/// The least that anybody can do for it.
void readItsBytes(benchmark::State& state) {
    std::vector<unsigned char> bytes(65536);
    for (const std::string& path = tinyMovie(); state.KeepRunning();) {
        struct stat facts {};
        const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        const bool known = ::fstat(file, &facts) == 0;
        benchmark::DoNotOptimize(known && ::read(file, bytes.data(), bytes.size()) > 0);
        ::close(file);
    }
}
BENCHMARK(readItsBytes)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
