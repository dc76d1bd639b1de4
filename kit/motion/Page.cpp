#include "kit/motion/Page.h"

#include <bit>
#include <string>

#include "kit/Base64.h"
#include "kit/motion/Markup.h"
#include "kit/motion/Summary.h"

namespace kit {

// The page's frame with scripts and styles in it, which the build puts together.
extern const unsigned char motionPage[];
extern const std::size_t motionPageSize;

namespace {

/// A column of a table: little-endian numbers in base64.
template <class Value>
void writeColumn(const char* type, std::size_t rows, Value value, const Write& write) {
    using Number = decltype(value(0));
    using Bits = std::conditional_t<sizeof(Number) == 4, std::uint32_t, std::uint64_t>;
    // Of which base64 needs no padding, and in which numbers are whole.
    constexpr std::size_t fullBuffer = 3 << 14;
    write(std::string("[\"") + type + "\",\"");
    std::string bytes;
    for (std::size_t row = 0; row < rows; ++row) {
        auto bits = std::bit_cast<Bits>(value(row));
        for (std::size_t i = 0; i < sizeof bits; ++i, bits >>= 8)
            bytes += static_cast<char>(bits & 0xFF);
        if (bytes.size() < fullBuffer) continue;
        write(base64(bytes));
        bytes.clear();
    }
    write(base64(bytes) + "\"]");
}

void writeTimes(const Clock& clock, const Write& write) {
    write("\"time\":");
    writeColumn(
        "f64", clock.size(), [&](std::size_t i) { return clock.seconds(i); }, write);
}

/// Three numbers a sample, each multiplied by what `scale` says of the sample.
template <class Sample, class Scale>
void writeAxes(const Clock& clock, const std::vector<Sample>& samples, Scale scale,
               const Write& write) {
    const std::pair<const char*, float Sample::*> axes[] = {
        {"x", &Sample::x}, {"y", &Sample::y}, {"z", &Sample::z}};
    for (const auto& [name, axis] : axes) {
        write(std::string(",\"") + name + "\":");
        const auto value = [&, &member = axis](std::size_t i) {
            const Sample& sample = samples[clock.sample(i)];
            return static_cast<float>(double{sample.*member} * scale(sample));
        };
        writeColumn("f32", clock.size(), value, write);
    }
}

void writeData(const Motion& motion, const Write& write) {
    static constexpr const char* modes[] = {"off", "follow", "lockDirection"};
    const sondex::MotionStreams& streams = motion.streams;
    const auto word = [](bool truth) { return truth ? "true" : "false"; };
    const auto table = [&](const char* name, const Clock& clock) {
        write(std::string("{\"name\":\"") + name + "\",\"rows\":" + std::to_string(clock.size()) +
              ",\"columns\":{");
    };
    write(std::string("{\"yawMode\":\"") + modes[static_cast<std::size_t>(streams.yawMode)] +
          "\",\"perFrame\":" + word(!streams.frameTimes.empty()) +
          ",\"upsideDown\":" + word(streams.upsideDown) + ",\"tables\":[");
    const Clock& frames = motion.frames;
    table("frames", frames);
    writeTimes(frames, write);
    write(",\"tilt\":");
    writeColumn(
        "f32", frames.size(),
        [&](std::size_t i) { return static_cast<float>(motion.tilt(frames.sample(i))); }, write);
    write(",\"yaw\":");
    writeColumn(
        "f32", frames.size(),
        [&](std::size_t i) { return static_cast<float>(motion.yaw(frames.sample(i))); }, write);
    write("}},");
    table("gyro", motion.gyro);
    writeTimes(motion.gyro, write);
    writeAxes(
        motion.gyro, streams.gyro, [](const auto&) { return degreesARadian; }, write);
    write("}},");
    table("compass", motion.compass);
    writeTimes(motion.compass, write);
    const auto direction = [](const sondex::CompassSample& sample) {
        return 1 / std::hypot(double{sample.x}, double{sample.y}, double{sample.z});
    };
    writeAxes(motion.compass, streams.compass, direction, write);
    write("}}]}");
}

}  // namespace

void writePage(const Motion& motion, std::string_view name, const Write& write) {
    std::string_view left(reinterpret_cast<const char*>(motionPage), motionPageSize);
    const std::string title = markupText(name);
    // In the order in which the frame has them; a file's name cannot stand for one.
    for (const std::string_view mark : {"@NAME@", "@NAME@", "@SUMMARY@", "@DATA@"}) {
        const std::size_t at = left.find(mark);
        write(left.substr(0, at));
        left.remove_prefix(at + mark.size());
        if (mark == "@NAME@") write(title);
        if (mark == "@SUMMARY@") write(summaryText(motion));
        if (mark == "@DATA@") writeData(motion, write);
    }
    write(left);
}

}  // namespace kit
