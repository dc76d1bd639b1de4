#include "kit/motion/Lists.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>

namespace kit {
namespace {

/// Hands over what is full.
class Rows {
  public:
    explicit Rows(const Write& write) : write(write) {}

    Rows& text(std::string_view piece) {
        kept += piece;
        return *this;
    }
    /// The shortest digits that give the number back; nothing for one that is none.
    template <class Number>
    Rows& number(Number value) {
        if constexpr (std::is_floating_point_v<Number>) {
            if (!std::isfinite(value)) return *this;
        }
        std::array<char, 32> digits{};
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
        kept.append(digits.data(), end);
        return *this;
    }
    template <class Number>
    Rows& cell(Number value) {
        kept += ',';
        return number(value);
    }
    void end() {
        kept += '\n';
        if (kept.size() > fullBuffer) flush();
    }
    void flush() {
        write(kept);
        kept.clear();
    }

  private:
    static constexpr std::size_t fullBuffer = 1 << 16;

    const Write& write;
    std::string kept;
};

float degrees(float radians) {
    return static_cast<float>(double{radians} * degreesARadian);
}

/// What a resting accelerometer reads: the middle of the lengths.
double gravityOf(const std::vector<sondex::AccelerometerSample>& samples) {
    std::vector<double> lengths;
    for (const auto& sample : samples) {
        const double x = sample.x, y = sample.y, z = sample.z;
        if (x != 0 || y != 0 || z != 0) lengths.push_back(std::hypot(x, y, z));
    }
    if (lengths.empty()) return 1;
    const auto middle = lengths.begin() + static_cast<std::ptrdiff_t>(lengths.size() / 2);
    std::nth_element(lengths.begin(), middle, lengths.end());
    return *middle;
}

}  // namespace

void writeCsv(const Motion& motion, const Write& write) {
    Rows rows(write);
    rows.text(
        "time_s,camera_time_ns,yaw_deg,tilt_deg,gyro_x_deg_per_s,gyro_y_deg_per_s,"
        "gyro_z_deg_per_s,compass_x,compass_y,compass_z\n");
    for (std::size_t frame = 0; frame < motion.frameTimes.size(); ++frame) {
        const Nanoseconds time = motion.frameTimes[frame];
        const auto ticks = static_cast<std::int64_t>(time - motion.frameTimes.front());
        rows.number(static_cast<double>(ticks) / 1e9).cell(time);
        rows.cell(static_cast<float>(motion.yaw(frame)));
        rows.cell(static_cast<float>(motion.tilt(frame)));
        if (const auto nearest = motion.gyro.nearest(time)) {
            const auto& sample = motion.streams.gyro[*nearest];
            rows.cell(degrees(sample.x)).cell(degrees(sample.y)).cell(degrees(sample.z));
        } else {
            rows.text(",,,");
        }
        if (const auto nearest = motion.compass.nearest(time)) {
            const auto& sample = motion.streams.compass[*nearest];
            rows.cell(sample.x).cell(sample.y).cell(sample.z);
        } else {
            rows.text(",,,");
        }
        rows.end();
    }
    rows.flush();
}

void writeGyroLog(const Motion& motion, const Write& write) {
    const auto& accelerometer = motion.streams.accelerometer;
    Rows rows(write);
    rows.text(
        "GYROFLOW IMU LOG\n"
        "version,1.3\n"
        "id,sondex\n"
        "orientation,XYZ\n"
        "tscale,0.000000001\n"
        "gscale,1\n");
    if (!accelerometer.empty()) rows.text("ascale").cell(1 / gravityOf(accelerometer)).end();
    rows.text(accelerometer.empty() ? "t,gx,gy,gz\n" : "t,gx,gy,gz,ax,ay,az\n");
    const Clock& clock = motion.gyro;
    for (std::size_t place = 0; place < clock.size(); ++place) {
        const sondex::GyroSample& sample = motion.streams.gyro[clock.sample(place)];
        if (!std::isfinite(turnOf(sample))) continue;
        rows.number(clock.ticksAt(place)).cell(sample.x).cell(sample.y).cell(sample.z);
        if (const auto nearest = motion.frames.nearest(sample.time); !accelerometer.empty()) {
            const auto& pull = accelerometer[*nearest];
            rows.cell(pull.x).cell(pull.y).cell(pull.z);
        }
        rows.end();
    }
    rows.flush();
}

}  // namespace kit
