#include <array>
#include <cmath>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "kit/Command.h"
#include "kit/Sandbox.h"
#include "kit/Table.h"
#include "kit/scan/Record.h"
#include "sondex/sondex.h"

namespace kit {
namespace {

void addCamera(Table& table, const sondex::Camera& camera) {
    table.row("camera", camera.model);
    table.row("software", camera.software);
    table.row("firmware", camera.cpuVersion);
    table.row("serial number", camera.serial);
}

std::string sizeText(const sondex::Size& size) {
    return format("%u x %u pixels", size.width, size.height);
}

std::string durationText(float seconds) {
    if (!std::isfinite(seconds)) return "unknown";
    std::string text = format("%.2f s", static_cast<double>(seconds));
    const auto whole = static_cast<long long>(seconds);
    if (whole >= 60)
        text += format(" (%lld:%02lld:%02lld)", whole / 3600, whole / 60 % 60, whole % 60);
    return text;
}

std::string dateText(std::int64_t seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    std::array<char, 64> text{};
    if (::gmtime_r(&time, &parts) == nullptr) return "unknown";
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S UTC", &parts);
    return text.data();
}

std::string positionText(const sondex::Position& position) {
    std::string text =
        format("%.5f %s, %.5f %s", std::fabs(position.latitude), position.latitude < 0 ? "S" : "N",
               std::fabs(position.longitude), position.longitude < 0 ? "W" : "E");
    if (position.altitude) text += format(", %.1f m", *position.altitude);
    return text;
}

void fill(Table& table, const sondex::MovieFacts& movie) {
    using sondex::Codec;
    using sondex::Projection;
    table.row("kind", std::string("movie"));
    addCamera(table, movie.camera);
    if (movie.projection != Projection::unknown) {
        const bool isWhole = movie.projection == Projection::equirectangular;
        table.row("projection", std::string(isWhole ? "equirectangular" : "dual fisheye"));
    }
    if (movie.codec != Codec::unknown)
        table.row("codec", std::string(movie.codec == Codec::h264 ? "H.264" : "H.265"));
    table.row("decodable", movie.decodable);
    if (movie.picture) table.row("picture", sizeText(*movie.picture));
    if (movie.frame && movie.frame != movie.picture) table.row("shown as", sizeText(*movie.frame));
    table.row("frame rate", movie.frameRate, "%.2f pictures/s");
    if (movie.duration) table.row("duration", durationText(*movie.duration));
    if (movie.videoBitRate) {
        table.row("video bit rate", format("%.2f Mbit/s", *movie.videoBitRate / 1e6));
    }
    if (movie.quality)
        table.row("quality",
                  std::string(*movie.quality == sondex::Quality::fine ? "fine" : "normal"));
    if (movie.created) table.row("created", dateText(*movie.created));
    if (movie.position) {
        table.row("position", positionText(*movie.position));
    } else {
        table.row("position", movie.gps);
    }
    table.row("view heading", movie.view.heading, "%g degrees");
    table.row("view pitch", movie.view.pitch, "%g degrees");
    table.row("field of view", movie.view.fieldOfView, "%g degrees");
    table.row("dolly", movie.view.dolly, "%g");
    table.row("stitched by", movie.stitchingSoftware);
    table.row("edited by", movie.creatorTool);
    table.row("zenith correction", movie.topBottomCorrection);
    if (movie.stabilization) {
        const auto& [locked, setting] = *movie.stabilization;
        table.row("stabilisation", setting == 0 ? "off"
                                                : format("setting %d, direction %s", setting,
                                                         locked ? "locked" : "free"));
    }
    if (movie.motion) {
        table.row("accelerometer", format("%u samples/s", movie.motion->accelerometer));
        table.row("gyro", format("%u samples/s", movie.motion->gyro));
        table.row("compass", format("%u samples/s", movie.motion->compass));
    }
    table.row("spatial sound",
              std::string(movie.hasSpatialSound || movie.hasSa3dSound ? "yes" : "no"));
    table.row("DXVA decodable", movie.dxvaDecodable);
}

void fill(Table& table, const sondex::StillFacts& still) {
    const bool isDng = still.format == sondex::StillFormat::dng;
    table.row("kind", std::string(isDng ? "DNG still" : "JPEG still"));
    addCamera(table, still.camera);
    table.row("yaw", still.yaw, "%g degrees");
    table.row("pitch", still.pitch, "%g degrees");
    table.row("roll", still.roll, "%g degrees");
    if (still.imageData) {
        table.row("image data", format("%llu bytes at %llu",
                                       static_cast<unsigned long long>(still.imageData->bytes),
                                       static_cast<unsigned long long>(still.imageData->offset)));
    }
}

std::string tableOf(const std::string& path, const sondex::Facts& facts) {
    Table table;
    std::visit([&](const auto& known) { fill(table, known); }, facts);
    return heading(path) + table.text();
}

struct Wishes {
    std::vector<std::string> paths;
    bool json = false;
    bool noDecode = false;
};

int run(const Wishes& wishes) {
    enterSandbox();
    int status = allWell;
    bool isFirst = true;
    for (const auto& path : wishes.paths) {
        const auto facts = sondex::read(path, {.log = {}, .decode = !wishes.noDecode});
        std::string text;
        if (!facts) {
            complain(path + ": " + facts.error().message);
            status = someFailed;
        }
        if (wishes.json) {
            text = recordHead(path, {}) +
                   (facts ? recordTail(*facts, {})
                          : recordTail(toString(facts.error().code), facts.error().message, {})) +
                   '\n';
        } else if (facts) {
            text = (isFirst ? "" : "\n") + tableOf(path, *facts);
            isFirst = false;
        }
        if (!print(text)) return stopped;
    }
    return status;
}

}  // namespace

Command factsCommand(CLI::App& program) {
    const auto wishes = std::make_shared<Wishes>();
    CLI::App* words = program.add_subcommand("facts", "Tell what is known of movies and stills.");
    words->add_option("file", wishes->paths, "Movies or stills")->required()->type_name("FILE");
    words->add_flag("--json", wishes->json, "Print a JSON object a line");
    words->add_flag("--no-decode", wishes->noDecode,
                    "Decode no picture: faster, and \"decodable\" stays unknown");
    return {words, [wishes] { return run(*wishes); }};
}

}  // namespace kit
