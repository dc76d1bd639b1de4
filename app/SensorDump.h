#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "support/FileIO.h"
#include "support/NumberText.h"

/// Sensor streams as JSON files: one array, one object a line.
namespace SensorDump {

/// Gathers text and writes it to a file in large pieces. Once a write fails the rest is dropped
/// and one line on standard error says so.
class BlockWriter {
  public:
    explicit BlockWriter(WEKU::FileIO& file);

    /// Where the text is appended.
    std::string text;

    /// Writes what is gathered once that makes a block; false after a failed write.
    bool flushBlock() { return text.size() < blockSize || flush(); }
    /// Writes what is gathered.
    bool flush();

  private:
    static constexpr std::size_t blockSize = 256 * 1024;

    WEKU::FileIO& file;
    bool failed = false;
};

/// The formatter of streams that have no members of their own.
struct NoMembers {
    void operator()(std::string&) const {}
};

/// Appends the member "yaw" to one sample after the other, as far as the values go.
struct YawMember {
    std::span<const float> yaws;

    void operator()(std::string& text) {
        if (yaws.empty()) return;
        text += ",\"yaw\":";
        WEKU::appendNumber(text, yaws.front());
        yaws = yaws.subspan(1);
    }
};

/// Writes the samples (records with x, y, z and timestamp) to a new file. `formatter(text)` may
/// append members to each sample. Deliberate: no samples leave the file with the opening bracket
/// alone, and the outcome is whether it could be created, whatever happens while writing.
template <class T, class Formatter = NoMembers>
bool dumpXYZT(std::span<const T> samples, const std::wstring& path, Formatter formatter = {}) {
    return WEKU::FileIO::open_w(path, [&](WEKU::FileIO& file) {
        BlockWriter out(file);
        out.text += '[';
        for (const T& sample : samples) {
            out.text += "{\"x\":";
            WEKU::appendNumber(out.text, sample.x);
            out.text += ",\"y\":";
            WEKU::appendNumber(out.text, sample.y);
            out.text += ",\"z\":";
            WEKU::appendNumber(out.text, sample.z);
            formatter(out.text);
            out.text += ",\"timestamp\":";
            WEKU::appendNumber(out.text, sample.timestamp);
            out.text += &sample == &samples.back() ? "}]\n" : "},\n";
            if (!out.flushBlock()) return;
        }
        out.flush();
    });
}

}  // namespace SensorDump
