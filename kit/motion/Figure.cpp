#include "kit/motion/Figure.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "kit/Table.h"
#include "kit/motion/Markup.h"

namespace kit {
namespace {

// Pixels.
constexpr double width = 760, left = 62, right = 744, panelHeight = 150;

constexpr std::string_view style =
    "<style>\n"
    "text{font:12px system-ui,sans-serif;fill:#1c2430}.name{font-size:15px;font-weight:600}\n"
    ".card{fill:#fff}.grid{stroke:#d5dae2}.gap{fill:#c9ced8}.level{fill:#8a94a6}\n"
    "polyline,.key{fill:none;stroke-width:1.5;stroke-linejoin:round;stroke-linecap:round}\n"
    ".a{stroke:#1f5fa8}.b{stroke:#b4470f;stroke-dasharray:7 3}\n"
    ".c{stroke:#1b7a4b;stroke-dasharray:2 3}\n"
    "@media (prefers-color-scheme:dark){text{fill:#e6eaf0}.card{fill:#1b212a}\n"
    ".grid{stroke:#343d4a}.gap{fill:#4a5464}.level{fill:#9aa6b8}\n"
    ".a{stroke:#7db4f0}.b{stroke:#f2a46b}.c{stroke:#73d29d}}\n"
    "</style>\n";

/// To a tenth of a pixel.
std::string pixels(double value) {
    std::array<char, 32> text{};
    auto end =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, 1)
            .ptr;
    if (end[-1] == '0') end -= 2;
    return {text.data(), end};
}

/// The smallest of 1, 2 and 5 times a power of ten that cuts the span into at most `most` parts.
double stepOf(double span, double most) {
    const double least = span / most;
    const double power = std::pow(10, std::floor(std::log10(least)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= least) return factor * power;
    }
    return 10 * power;
}

/// An axis: which value lies at which pixel.
struct Scale {
    double from = 0, to = 1;
    double first = 0, last = 1;

    double operator()(double value) const {
        return first + (value - from) / (to - from) * (last - first);
    }
    void each(double step, const std::function<void(double value, const std::string& text)>& tick) {
        for (double i = std::ceil(from / step - 1e-9); i * step <= to + step * 1e-9; ++i)
            tick(i * step, format("%g", i == 0 ? 0 : i * step));
    }
};

struct Line {
    const char* name;
    const char* look;
    /// Of a sample, by its number.
    std::function<double(std::size_t)> value;
    /// Whether the line ends between two samples that follow each other.
    std::function<bool(std::size_t, std::size_t)> ends = [](std::size_t, std::size_t) {
        return false;
    };
};

/// Puts a line's points together, at most two in every column of pixels.
class Polyline {
  public:
    Polyline(std::string& svg, const Line& line) : svg(svg), line(line) {}

    void interrupt() { interrupted = true; }
    void add(double x, double y) {
        if (!open || std::floor(x) != column) {
            closeColumn();
            if (interrupted) end();
            column = std::floor(x);
            low = high = {x, y};
            open = true;
        } else if (y > low.y) {
            low = {x, y};
        } else if (y < high.y) {
            high = {x, y};
        }
        interrupted = false;
    }
    void end() {
        closeColumn();
        if (count == 0) return;
        // One point alone is drawn as a dot.
        if (count == 1) points += ' ' + points;
        svg += std::string("<polyline class=\"") + line.look + "\" points=\"" + points + "\"/>\n";
        points.clear();
        count = 0;
    }

  private:
    struct Point {
        double x = 0, y = 0;
        bool operator==(const Point&) const = default;
    };

    void closeColumn() {
        if (!open) return;
        open = false;
        const bool isLowFirst = low.x <= high.x;
        put(isLowFirst ? low : high);
        if (low != high) put(isLowFirst ? high : low);
    }
    void put(Point point) {
        if (count++ != 0) points += ' ';
        points += pixels(point.x) + ',' + pixels(point.y);
    }

    std::string& svg;
    const Line& line;
    std::string points;
    std::size_t count = 0;
    double column = 0;
    Point low, high;
    bool open = false;
    bool interrupted = false;
};

class Figure {
  public:
    explicit Figure(const Motion& motion) {
        double from = std::numeric_limits<double>::infinity(), to = -from;
        for (const Clock* clock : {&motion.frames, &motion.gyro}) {
            if (clock->empty()) continue;
            from = std::min(from, clock->seconds(0));
            to = std::max(to, clock->seconds(clock->size() - 1));
        }
        if (from > to) from = to = 0;
        if (from == to) to = from + 1;
        time = {from, to, left, right};
        isLong = to - from >= 600;
    }

    void panel(const char* title, const char* unit, const Clock& clock,
               const std::vector<Line>& lines);
    /// Marks stretches of the panel that was drawn last.
    void strip(const char* meaning, const Clock& clock,
               const std::function<bool(std::size_t)>& holds);
    [[nodiscard]] std::string finish(std::string_view name);

  private:
    void put(const std::string& element) { svg += element + '\n'; }
    void write(double x, double y, const char* anchor, std::string_view words) {
        put("<text x=\"" + pixels(x) + "\" y=\"" + pixels(y) + "\" text-anchor=\"" + anchor +
            "\">" + std::string(words) + "</text>");
    }
    void rule(const char* look, double x1, double y1, double x2, double y2) {
        put(std::string("<path class=\"") + look + "\" d=\"M" + pixels(x1) + ' ' + pixels(y1) +
            'L' + pixels(x2) + ' ' + pixels(y2) + "\"/>");
    }
    void box(const char* look, double x1, double y1, double x2, double y2) {
        put(std::string("<rect class=\"") + look + "\" x=\"" + pixels(x1) + "\" y=\"" + pixels(y1) +
            "\" width=\"" + pixels(std::max(x2 - x1, 1.0)) + "\" height=\"" + pixels(y2 - y1) +
            "\"/>");
    }
    /// Boxes from second to second; those that touch become one.
    void boxes(const char* look, const std::vector<std::pair<double, double>>& spans, double top,
               double low);
    void axes(Scale scale, double step, const char* unit);

    std::string svg;
    Scale time;
    bool isLong = false;
    /// The top of the panel to come; what is above is drawn.
    double top = 66;
};

void Figure::boxes(const char* look, const std::vector<std::pair<double, double>>& spans,
                   double upper, double lower) {
    double from = 0, to = -1;
    for (const auto& [first, last] : spans) {
        if (to >= from && time(first) > to + 1) {
            box(look, from, upper, to, lower);
            to = from - 1;
        }
        if (to < from) from = time(first);
        to = std::max(from, time(last));
    }
    if (to >= from) box(look, from, upper, to, lower);
}

void Figure::axes(Scale scale, double step, const char* unit) {
    const double low = top + panelHeight;
    scale.each(step, [&](double value, const std::string& text) {
        rule("grid", left, scale(value), right, scale(value));
        write(left - 8, scale(value) + 4, "end", text);
    });
    write(left - 8, top - 9, "end", unit);
    Scale shown = time;
    if (isLong) shown = {time.from / 60, time.to / 60, left, right};
    shown.each(stepOf(shown.to - shown.from, 10), [&](double value, const std::string& text) {
        rule("grid", shown(value), top, shown(value), low);
        write(shown(value), low + 16, "middle", text);
    });
    write(right, low + 31, "end", isLong ? "time (min)" : "time (s)");
}

void Figure::panel(const char* title, const char* unit, const Clock& clock,
                   const std::vector<Line>& lines) {
    double least = 0, most = 0;
    for (std::size_t sample = 0; sample < clock.size(); ++sample) {
        for (const Line& line : lines) {
            const double value = line.value(sample);
            if (!std::isfinite(value)) continue;
            least = std::min(least, value);
            most = std::max(most, value);
        }
    }
    if (least == most) most = 1;
    const double step = stepOf(most - least, 5);
    const Scale scale{std::floor(least / step) * step, std::ceil(most / step) * step,
                      top + panelHeight, top};

    const Pace pace(clock);
    std::vector<std::pair<double, double>> gaps;
    for (const std::size_t gap : pace.gaps)
        gaps.emplace_back(clock.seconds(gap), clock.seconds(gap + 1));
    boxes("gap", gaps, top, top + panelHeight);
    axes(scale, step, unit);

    write(left, top - 9, "start", title);
    double key = left + 170;
    for (const Line& line : lines) {
        rule((std::string("key ") + line.look).c_str(), key, top - 13, key + 24, top - 13);
        write(key + 30, top - 9, "start", line.name);
        key += 80;
        Polyline drawn(svg, line);
        auto gap = pace.gaps.begin();
        for (std::size_t place = 0; place < clock.size(); ++place) {
            const std::size_t sample = clock.sample(place);
            const double value = line.value(sample);
            if (gap != pace.gaps.end() && *gap + 1 == place) drawn.interrupt(), ++gap;
            if (place > 0 && line.ends(clock.sample(place - 1), sample)) drawn.interrupt();
            if (std::isfinite(value)) {
                drawn.add(time(clock.seconds(place)), scale(value));
            } else {
                drawn.interrupt();
            }
        }
        drawn.end();
    }
    if (!gaps.empty()) {
        box("gap", key, top - 19, key + 14, top - 8);
        write(key + 20, top - 9, "start", "no samples");
    }
    top += panelHeight + 76;
}

void Figure::strip(const char* meaning, const Clock& clock,
                   const std::function<bool(std::size_t)>& holds) {
    const double low = top - 76;
    std::vector<std::pair<double, double>> spans;
    bool held = false;
    for (std::size_t place = 0; place < clock.size(); ++place) {
        const bool now = holds(clock.sample(place));
        if (now && !held) spans.emplace_back(clock.seconds(place), 0);
        if (now) spans.back().second = clock.seconds(place);
        held = now;
    }
    if (spans.empty()) return;
    boxes("level", spans, low - 4, low);
    box("level", left, low + 24, left + 24, low + 28);
    write(left + 30, low + 31, "start", meaning);
}

std::string Figure::finish(std::string_view name) {
    const std::string height = pixels(top - 26);
    // Long names would run out of the picture.
    constexpr std::size_t most = 80;
    std::size_t cut = std::min(name.size(), most);
    while (cut > 0 && cut < name.size() && (name[cut] & 0xC0) == 0x80)
        --cut;
    const std::string shown(name.substr(0, cut));
    const std::string size = pixels(width) + ' ' + height;
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" role=\"img\" width=\"" + pixels(width) +
           "\" height=\"" + height + "\" viewBox=\"0 0 " + size + "\">\n<title>Motion of " +
           markupText(name) + "</title>\n" + std::string(style) +
           "<rect class=\"card\" width=\"100%\" height=\"100%\"/>\n<text class=\"name\" x=\"" +
           pixels(left) + "\" y=\"28\">" + markupText(shown) + (cut < name.size() ? "…" : "") +
           "</text>\n" + svg + "</svg>\n";
}

}  // namespace

std::string figureOf(const Motion& motion, std::string_view name) {
    constexpr double jump = 180;
    Figure figure(motion);
    std::vector<Line> lines;
    if (!motion.streams.yaw.empty()) {
        // Where it is off by half a turn, or begins again behind a whole one, is no motion.
        lines.push_back({"yaw", "a", [&](std::size_t i) { return motion.yaw(i); },
                         [&](std::size_t a, std::size_t b) {
                             return motion.isHalfTurned(a) != motion.isHalfTurned(b) ||
                                    std::fabs(motion.yaw(a) - motion.yaw(b)) > jump;
                         }});
    }
    if (!motion.streams.accelerometer.empty()) {
        lines.push_back({"tilt", "b", [&](std::size_t i) { return motion.tilt(i); }});
    }
    if (!lines.empty()) {
        figure.panel("Turn and tilt", "°", motion.frames, lines);
        figure.strip("exactly level, which turns the yaw by 180°", motion.frames,
                     [&](std::size_t i) { return motion.isHalfTurned(i); });
    }
    const auto& gyro = motion.streams.gyro;
    if (!gyro.empty()) {
        figure.panel("Gyro", "°/s", motion.gyro,
                     {{"x", "a", [&](std::size_t i) { return gyro[i].x * degreesARadian; }},
                      {"y", "b", [&](std::size_t i) { return gyro[i].y * degreesARadian; }},
                      {"z", "c", [&](std::size_t i) { return gyro[i].z * degreesARadian; }}});
    }
    return figure.finish(name);
}

}  // namespace kit
