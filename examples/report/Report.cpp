// What a program asks the classes behind the front door about a movie: the camera, the picture, the
// boxes, the motion sensors. Most programs need no more than <sondex/sondex.h>: examples/facts.
#include <sondex-parts/mp4/Container.h>
#include <sondex-parts/mp4/HeaderBoxes.h>
#include <sondex-parts/probe/Sondex.h>
#include <sondex-parts/sensor/AccelSensorStreamEmbed.h>
#include <sondex-parts/support/WideText.h>

#include <algorithm>
#include <cstdio>
#include <vector>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: report MOVIE\n");
        return 2;
    }
    // Paths are wide text; `widen` takes the bytes of any file name.
    const std::wstring path = WEKU::wchar::widen(argv[1]);

    // The facts that the program's result line is made of. The reading steps print their progress
    // lines to standard output, as the program does, so this report goes to standard error.
    Sondex probe;
    if (!probe.probe(path)) {
        std::fprintf(stderr, "report: %s is no readable movie\n", argv[1]);
        return 1;
    }
    // The camera's texts may hold a terminating NUL; %s ends there.
    std::fprintf(stderr, "camera: %s, firmware %s\n", probe.record.model.c_str(),
                 probe.record.software.c_str());
    std::fprintf(stderr, "picture: %dx%d, %.2f a second, %.2f s\n", probe.width, probe.height,
                 double{probe.nominalFrameRate}, double{probe.duration});

    // The box tree: find one box by its path, or visit every match.
    MP4::Container movie;
    if (!movie.attach(path, MP4::Container::wholeFile)) return 1;
    if (const auto* header = movie.first<MP4::MVHD>("moov.mvhd")) {
        std::fprintf(stderr, "movie header: at %llu, %llu bytes\n",
                     static_cast<unsigned long long>(header->start),
                     static_cast<unsigned long long>(header->size()));
    }
    int tracks = 0;
    movie.find(MP4::path::track, [&tracks](MP4::BOX&) {
        ++tracks;
        return true;
    });
    std::fprintf(stderr, "tracks: %d\n", tracks);

    // The motion sensors.
    std::vector<AccelSensorStreamEmbed::Gyro> gyro;
    unsigned short rate = 0;
    AccelSensorStreamEmbed::loadM29_KDTB(movie, gyro, rate);
    if (!gyro.empty()) {
        const auto turnsFaster = [](const auto& a, const auto& b) {
            return a.x * a.x + a.y * a.y + a.z * a.z < b.x * b.x + b.y * b.y + b.z * b.z;
        };
        const auto& fastest = *std::max_element(gyro.begin(), gyro.end(), turnsFaster);
        std::fprintf(stderr, "gyro: %zu samples, %u a second; fastest turn at %.3f s\n",
                     gyro.size(), unsigned{rate},
                     static_cast<double>(fastest.timestamp - gyro.front().timestamp) / 1e9);
    }
    return 0;
}
