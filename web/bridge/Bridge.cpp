#include "web/bridge/Bridge.h"

#include <emscripten.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <exception>
#include <numbers>
#include <string>
#include <string_view>
#include <vector>

#include "app/MetaReader.h"
#include "sondex/sondex.h"
#include "support/Console.h"
#include "support/NumberText.h"
#include "support/WideText.h"

namespace {

using sondex::jsonText;

/// More boxes than this help nobody who looks at them, and a tree of them fills the page's memory.
constexpr std::size_t mostBoxes = 20000;
/// Longer texts of boxes are cut in the same spirit.
constexpr std::size_t longestText = 65536;

/// Keeps what the program prints.
class Printed final : public WEKU::Console::Sink {
  public:
    void write(std::string_view bytes) override { output += bytes; }
    void warn(std::string_view line) override {
        warnings.append(warnings.empty() ? "" : ", ").append(jsonText(line));
    }

    std::string output;
    std::string warnings;
};

std::string member(std::string_view key, std::string_view json) {
    return jsonText(key).append(": ").append(json);
}

std::string errorMember(std::string_view code, std::string_view message) {
    return "\"error\": {" + member("code", jsonText(code)) + ", " +
           member("message", jsonText(message)) + "}";
}

std::string errorMember(const sondex::Error& error) {
    return errorMember(toString(error.code), error.message);
}

/// Keeps the answer until the next call. What a hostile file makes too large for the memory of a
/// page must not end the worker.
template <class Make>
const char* answer(Make&& make) {
    static std::string text;
    try {
        text = "{" + make() + "}";
    } catch (const std::exception&) {
        text =
            "{" + errorMember("outOfMemory", "The file needs more memory than a page has.") + "}";
    }
    return text.c_str();
}

std::string factsOf(const char* path) {
    Printed printed;
    {
        const WEKU::Console::Redirect toUs(printed);
        const std::wstring name = WEKU::wchar::mbs2wcs(path);
        const wchar_t* words[] = {L"Sondex", name.c_str()};
        MetaReader::process(2, words);
    }
    const sondex::Result<sondex::Facts> facts = sondex::read(path);
    return member("output", jsonText(printed.output)) + ", " +
           member("warnings", "[" + printed.warnings + "]") + ", " +
           (facts ? member("facts", toJson(*facts)) : errorMember(facts.error()));
}

struct FieldText {
    std::string operator()(bool truth) const { return truth ? "true" : "false"; }
    std::string operator()(const std::string& text) const { return text.substr(0, longestText); }
    std::string operator()(auto number) const {
        std::string text;
        WEKU::appendNumber(text, number);
        return text;
    }
};

std::string boxMembers(const sondex::Box& box, std::size_t& left) {
    std::string text = member("type", jsonText(box.type)) + ", " +
                       member("offset", std::to_string(box.offset)) + ", " +
                       member("size", std::to_string(box.size));
    std::string fields;
    for (const sondex::Field& field : box.fields) {
        fields.append(fields.empty() ? "" : ", ")
            .append(member(field.name, jsonText(std::visit(FieldText(), field.value))));
    }
    text += ", " + member("fields", "{" + fields + "}");
    std::string children;
    for (const sondex::Box& child : box.children) {
        if (left == 0) break;
        --left;
        children.append(children.empty() ? "{" : ", {").append(boxMembers(child, left)) += "}";
    }
    return text + ", " + member("children", "[" + children + "]");
}

std::size_t countBoxes(const sondex::Box& box) {
    std::size_t count = box.children.size();
    for (const sondex::Box& child : box.children)
        count += countBoxes(child);
    return count;
}

std::string boxesOf(const char* path) {
    const sondex::Result<sondex::Box> root = sondex::readBoxes(path);
    if (!root) return errorMember(root.error());
    const std::size_t count = countBoxes(*root);
    std::size_t left = mostBoxes;
    const std::string omitted = std::to_string(count - std::min(count, mostBoxes));
    return boxMembers(*root, left) + ", " + member("omitted", omitted);
}

/// The tables of a movie's motion and the numbers that they point at.
class Tables {
  public:
    explicit Tables(std::vector<double>& numbers) : numbers(numbers) {}

    /// `cells(record, index)` gives a record's numbers, as many as there are columns.
    template <class Record, class Cells>
    void add(const char* name, const char* columns, const std::vector<Record>& records,
             Cells&& cells) {
        const std::size_t start = numbers.size();
        for (std::size_t i = 0; i < records.size(); ++i) {
            const auto row = cells(records[i], i);
            if (i == 0) numbers.resize(start + records.size() * row.size());
            for (std::size_t column = 0; column < row.size(); ++column)
                numbers[start + column * records.size() + i] = row[column];
        }
        starts.push_back(start);
        names.push_back(member("name", jsonText(name)) + ", " +
                        member("rows", std::to_string(records.size())) + ", " +
                        member("columns", columns));
    }

    std::string json() const {
        std::string text;
        for (std::size_t i = 0; i < names.size(); ++i) {
            const auto at = reinterpret_cast<std::uintptr_t>(numbers.data() + starts[i]);
            text.append(text.empty() ? "{" : ", {").append(names[i]).append(", ");
            text += member("at", std::to_string(at)) + "}";
        }
        return "[" + text + "]";
    }

  private:
    std::vector<double>& numbers;
    std::vector<std::size_t> starts;
    std::vector<std::string> names;
};

constexpr double degrees = 180 / std::numbers::pi;

std::string motionOf(const char* path) {
    static std::vector<double> numbers;
    numbers.clear();
    const sondex::Result<sondex::MotionStreams> motion = sondex::readMotion(path);
    if (!motion) return errorMember(motion.error());

    const auto& [gyro, compass, accelerometer, frameTimes, rates, yawMode, yaw, upsideDown] =
        *motion;
    const std::vector<std::uint64_t> times = frameTimesOf(*motion);
    const std::uint64_t start = !times.empty()     ? times.front()
                                : !gyro.empty()    ? gyro.front().time
                                : !compass.empty() ? compass.front().time
                                                   : 0;
    const auto seconds = [start](std::uint64_t time) {
        return static_cast<double>(static_cast<std::int64_t>(time - start)) * 1e-9;
    };
    Tables tables(numbers);
    using Row3 = std::array<double, 3>;
    using Row4 = std::array<double, 4>;
    tables.add("frames", R"(["time", "tilt", "yaw"])", accelerometer,
               [&, &yaws = yaw](const auto& sample, std::size_t i) {
                   const double turned = i < yaws.size() ? double{yaws[i]} * degrees : NAN;
                   return Row3{seconds(times[i]), tiltOf(sample) * degrees, turned};
               });
    tables.add("gyro", R"(["time", "x", "y", "z"])", gyro, [&](const auto& sample, std::size_t) {
        return Row4{seconds(sample.time), sample.x * degrees, sample.y * degrees,
                    sample.z * degrees};
    });
    tables.add("compass", R"(["time", "x", "y", "z"])", compass,
               [&](const auto& sample, std::size_t) {
                   const double x = sample.x, y = sample.y, z = sample.z;
                   const double length = std::hypot(x, y, z);
                   return Row4{seconds(sample.time), x / length, y / length, z / length};
               });

    static constexpr const char* modes[] = {"off", "follow", "lockDirection"};
    return member("rates", "{" + member("accelerometer", std::to_string(rates.accelerometer)) +
                               ", " + member("gyro", std::to_string(rates.gyro)) + ", " +
                               member("compass", std::to_string(rates.compass)) + "}") +
           ", " + member("yawMode", jsonText(modes[static_cast<int>(yawMode)])) + ", " +
           member("upsideDown", upsideDown ? "true" : "false") + ", " +
           member("perFrame", frameTimes.empty() ? "false" : "true") + ", " +
           member("tables", tables.json());
}

}  // namespace

EMSCRIPTEN_KEEPALIVE const char* sondexFacts(const char* path) {
    return answer([path] { return factsOf(path); });
}

EMSCRIPTEN_KEEPALIVE const char* sondexBoxes(const char* path) {
    return answer([path] { return boxesOf(path); });
}

EMSCRIPTEN_KEEPALIVE const char* sondexMotion(const char* path) {
    return answer([path] { return motionOf(path); });
}
