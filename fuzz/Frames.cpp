#include <filesystem>
#include <vector>

#include "fuzz/kit/Fuzzing.h"
#include "sondex/sondex.h"
#include "tests/kit/Files.h"

namespace {

/// Each may take a second.
constexpr std::size_t mostPictures = 3;
const sondex::FrameOptions options{.format = sondex::FrameFormat::rgb, .width = 16};

sondex::FrameChoice choiceOf(fuzz::Input& input) {
    const unsigned kind = input.take8() % 4;
    const unsigned amount = input.take8();
    const double seconds = amount / 60.0;
    if (kind == 1) return {.at = seconds};
    if (kind == 2) return {.number = amount};
    if (kind == 3) return {.every = seconds + 0.001};
    return {};
}

std::vector<sondex::Frame> framesOf(const std::string& path, const sondex::FrameChoice& choice) {
    std::vector<sondex::Frame> frames;
    (void)sondex::readFrames(path, choice, options, [&](sondex::Frame&& frame) {
        frames.push_back(std::move(frame));
        return frames.size() < mostPictures;
    });
    return frames;
}

}  // namespace

/// A movie and a wish for pictures: what is handed over is whole, in order and what was asked for,
/// and the same at the next call. Nothing where the build has no decoder.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const kit::TempFolder folder;
    fuzz::Input input(data, size);
    const sondex::FrameChoice choice = choiceOf(input);
    folder.write("m.mp4", input.rest());
    const std::string path = folder.path() / "m.mp4";
    const auto frames = framesOf(path, choice), again = framesOf(path, choice);
    fuzz::require(frames.size() <= (choice.every ? mostPictures : 1), "no more than was asked for");
    fuzz::require(frames.size() == again.size(), "as many at the next call");
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const sondex::Frame& frame = frames[i];
        fuzz::require(i == 0 || frame.number > frames[i - 1].number,
                      "each is behind the one before");
        fuzz::require(!choice.number || frame.number == *choice.number, "it has the number");
        fuzz::require(frame.size.width == 16, "it has the width");
        fuzz::require(
            frame.bytes.size() == frame.stride * static_cast<std::size_t>(frame.size.height),
            "it is whole");
        fuzz::require(frame.number == again[i].number && frame.bytes == again[i].bytes,
                      "the same movie has the same pictures");
    }
    return 0;
}
