#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "mp4/ParseLimits.h"
#include "sensor/AccelSensorStreamEmbed.h"
#include "support/Console.h"
#include "support/Endian.h"
#include "support/LargePages.h"
#include "support/Portability.h"
#include "support/Truncate.h"
#include "support/WideText.h"

using WEKU::Console::out;

namespace {

constexpr std::uint32_t headerEnd = 24;
constexpr std::uint16_t littleMark = 0x0123;
/// Deliberate: not the swapped form of the other mark. The mark is always read little-endian.
constexpr std::uint16_t bigMark = 0x3210;

struct StreamHeader {
    std::uint32_t count;
    std::uint16_t rate;
    std::uint16_t unitSize;
    std::uint16_t mark;

    explicit StreamHeader(const unsigned char* bytes)
        : mark(WEKU::loadLittle<std::uint16_t>(bytes + 8)) {
        const bool big = mark == bigMark;
        count = big ? WEKU::loadBig<std::uint32_t>(bytes) : WEKU::loadLittle<std::uint32_t>(bytes);
        rate = big ? WEKU::loadBig<std::uint16_t>(bytes + 4)
                   : WEKU::loadLittle<std::uint16_t>(bytes + 4);
        unitSize = big ? WEKU::loadBig<std::uint16_t>(bytes + 6)
                       : WEKU::loadLittle<std::uint16_t>(bytes + 6);
    }

    bool needsSwap() const {
        return (mark == bigMark) != (std::endian::native == std::endian::big);
    }
};

/// Checks the header of one sensor box against the box; a mismatch prints its line. Deliberate:
/// "except" is part of the message.
bool checkHeader(const StreamHeader& header, const char* name, std::uint32_t unitSize,
                 std::uint64_t boxSize) {
    const std::wstring wideName = WEKU::wchar::mbs2wcs(name);
    if (header.unitSize != unitSize || (header.mark != littleMark && header.mark != bigMark)) {
        out(L"%ls: Invalid header. unitSize(expect %u, but %u), endian(expect %04X/%04X, but "
            L"%04X).\n",
            wideName.c_str(), unitSize, unsigned{header.unitSize}, unsigned{bigMark},
            unsigned{littleMark}, unsigned{header.mark});
        return false;
    }
    // Deliberate: the product wraps at 32 bits. Reading is bounded by the file, not by this.
    const std::uint64_t needed = std::uint64_t{headerEnd} + header.count * unitSize;
    if (boxSize < needed) {
        out(L"%ls: Not enough length. except less than %u+%u*%u(=%u), but %u.\n", wideName.c_str(),
            headerEnd, unsigned{header.unitSize}, header.count, static_cast<unsigned>(needed),
            static_cast<unsigned>(boxSize));
        return false;
    }
    return true;
}

/// Whether the box has room for its header; one that has not prints its line.
bool holdsHeader(const MP4::BOX& box, const char* name) {
    if (box.size() >= headerEnd) return true;
    out(L"%ls: Not enough length. except less than %u, but %u.\n",
        WEKU::wchar::mbs2wcs(name).c_str(), headerEnd, static_cast<unsigned>(box.size()));
    return false;
}

std::vector<const MP4::BOX*> boxesNamed(const MP4::Container& movie, const char* name) {
    std::vector<const MP4::BOX*> boxes;
    movie.find((std::string("moov.udta.") + name).c_str(), [&](MP4::BOX& box) {
        boxes.push_back(&box);
        return true;
    });
    return boxes;
}

/// How many bytes of records may be read from the boxes of one name. A box may announce more than
/// it holds, down to the end of the file, and many boxes may announce the same bytes; over all
/// names the sum stays near the file's length. What boxes hold that do not overlap is read whole,
/// up to fifteen hours of the fastest sensor.
std::uint64_t recordBytes(const MP4::Container& movie, std::string_view name,
                          std::uint64_t fileLength) {
    constexpr std::uint64_t always = 1 << 19;
    constexpr std::uint64_t most = 256 << 20;
    std::uint64_t own = 0, all = 0;
    for (const char* each : {"KDTB", "KDTC", "KDTD", "KDTG"}) {
        for (const MP4::BOX* box : boxesNamed(movie, each)) {
            const std::uint64_t rest = fileLength - std::min(fileLength, box->start);
            const std::uint64_t held = std::min(box->size(), rest);
            all += held;
            if (each == name) own += held;
        }
    }
    const std::uint64_t shared = (all <= fileLength ? fileLength - all : fileLength) / 4;
    return std::min({fileLength, most, always + shared + (all <= fileLength ? own : 0)});
}

/// Appends the records that the file holds at its position, then zero records for those it does
/// not, as far as the budget of the load goes.
template <class T>
void appendRecords(MP4::BinFile& file, const StreamHeader& header, std::vector<T>& records,
                   const std::function<void(T&)>& swap) {
    // Only ahead of the first box: growing to the exact size at every box would copy each time.
    if (records.empty()) {
        const std::uint64_t ahead = file.rowsAhead(sizeof(T), header.count);
        records.reserve(ahead + std::min(header.count - ahead, file.budget.rowsBeyondFile));
        WEKU::useLargePages(records.data(), records.capacity() * sizeof(T));
    }
    const bool foreign = header.needsSwap();
    const auto decode = [&](const unsigned char* bytes, std::uint64_t rows) {
        const std::size_t before = records.size();
        records.resize(before + rows);
        std::memcpy(static_cast<void*>(records.data() + before), bytes, rows * sizeof(T));
        if (foreign) std::for_each(records.data() + before, records.data() + before + rows, swap);
    };
    const std::uint64_t held = file.takeRows(sizeof(T), header.count, decode);
    const std::uint64_t beyond =
        MP4::ParseBudget::draw(file.budget.rowsBeyondFile, header.count - held);
    // A record that the end of the file cuts keeps what is there.
    unsigned char cut[sizeof(T)] = {};
    if (beyond > 0 && file.fileLength() - file.tell() < sizeof(T)) {
        file.readAt(file.tell(), cut, sizeof(T));
        decode(cut, 1);
        records.resize(records.size() + beyond - 1);
    } else {
        records.resize(records.size() + beyond);
    }
}

std::int16_t swapped(std::int16_t value) {
    return static_cast<std::int16_t>(WEKU::byteSwap(static_cast<std::uint16_t>(value)));
}

float swapped(float value) {
    return WEKU::bitCast<float>(WEKU::byteSwap(WEKU::bitCast<std::uint32_t>(value)));
}

template <class T>
void swap_xyzt(T& record) {
    record.x = swapped(record.x);
    record.y = swapped(record.y);
    record.z = swapped(record.z);
    record.timestamp = WEKU::byteSwap(record.timestamp);
}

using Accel = SensorRecords::TopBottomCorrection;

/// The sample at the time `g`, on the line through two neighbours. Times that run backwards make
/// the unsigned differences wrap; the results are then arbitrary, but defined.
Accel interpolate(const Accel& p, const Accel& q, std::uint64_t g) {
    const double span = static_cast<double>(q.timestamp - p.timestamp);
    const double ratio = static_cast<double>(g - p.timestamp) / span;
    if (std::isinf(ratio) && ratio > 0) return p;
    const auto between = [ratio](std::int16_t from, std::int16_t to) {
        return WEKU::truncateToInt16((to - from) * ratio + from);
    };
    const double time = span * ratio + static_cast<double>(p.timestamp);
    return {between(p.x, q.x), between(p.y, q.y), between(p.z, q.z), WEKU::truncateToUint64(time)};
}

/// Calls `visit(file, header)` for every sound box of this name, the file standing at its records.
template <class Visit>
void eachStream(const MP4::Container& movie, const char* name, std::uint32_t unitSize,
                const Visit& visit) {
    const std::vector<const MP4::BOX*> boxes = boxesNamed(movie, name);
    const auto read = [&](MP4::BinFile& file, const MP4::BOX& box) {
        unsigned char bytes[headerEnd - 8] = {};
        file.moveTo(box.start + 8);
        if (!file.take(bytes, sizeof bytes)) file.readAt(box.start + 8, bytes, sizeof bytes);
        const StreamHeader header(bytes);
        if (!checkHeader(header, name, unitSize, box.size())) return;
        file.moveTo(box.start + headerEnd);
        visit(file, header);
    };
    // The file is opened for the first box that needs it and stays open for the others; as long as
    // it does not open, each box tries and says so.
    for (auto next = boxes.begin(); next != boxes.end(); ++next) {
        if (!holdsHeader(**next, name)) continue;
        const bool opened = movie.open([&](WEKU::FileIO& handle) {
            MP4::BinFile file(handle);
            file.budget = {.payloadBytes = recordBytes(movie, name, file.fileLength())};
            read(file, **next);
            while (++next != boxes.end()) {
                if (holdsHeader(**next, name)) read(file, **next);
            }
        });
        if (opened) return;
    }
}

}  // namespace

template <class T>
void AccelSensorStreamEmbed::loadM29_KDTx(const MP4::Container& movie, const char* name,
                                          std::vector<T>& records, std::uint16_t& rate,
                                          const std::function<void(T&)>& swap) {
    records.clear();
    rate = 0;
    const auto load = [&](MP4::BinFile& file, const StreamHeader& header) {
        rate = header.rate;
        appendRecords(file, header, records, swap);
    };
    eachStream(movie, name, sizeof(T), load);
}

template void AccelSensorStreamEmbed::loadM29_KDTx(const MP4::Container&, const char*,
                                                   std::vector<Gyro>&, std::uint16_t&,
                                                   const std::function<void(Gyro&)>&);
template void AccelSensorStreamEmbed::loadM29_KDTx(const MP4::Container&, const char*,
                                                   std::vector<Ecompass>&, std::uint16_t&,
                                                   const std::function<void(Ecompass&)>&);
template void AccelSensorStreamEmbed::loadM29_KDTx(
    const MP4::Container&, const char*, std::vector<TopBottomCorrection>&, std::uint16_t&,
    const std::function<void(TopBottomCorrection&)>&);
template void AccelSensorStreamEmbed::loadM29_KDTx(const MP4::Container&, const char*,
                                                   std::vector<unsigned long long>&, std::uint16_t&,
                                                   const std::function<void(unsigned long long&)>&);

AccelSensorStreamEmbed::Rates AccelSensorStreamEmbed::readRates(const MP4::Container& movie) {
    Rates rates;
    const auto into = [](std::uint16_t& rate) {
        return [&rate](MP4::BinFile&, const StreamHeader& header) { rate = header.rate; };
    };
    eachStream(movie, "KDTB", sizeof(Gyro), into(rates.gyro));
    eachStream(movie, "KDTC", sizeof(Ecompass), into(rates.compass));
    eachStream(movie, "KDTD", sizeof(TopBottomCorrection),
               [&](MP4::BinFile&, const StreamHeader& header) {
                   rates.topBottom = header.rate;
                   rates.hasTopBottom = rates.hasTopBottom || header.count > 0;
               });
    return rates;
}

void AccelSensorStreamEmbed::loadM29_KDTB(const MP4::Container& movie, std::vector<Gyro>& samples,
                                          std::uint16_t& rate) {
    loadM29_KDTx<Gyro>(movie, "KDTB", samples, rate, swap_xyzt<Gyro>);
}

void AccelSensorStreamEmbed::loadM29_KDTC(const MP4::Container& movie,
                                          std::vector<Ecompass>& samples, std::uint16_t& rate) {
    loadM29_KDTx<Ecompass>(movie, "KDTC", samples, rate, swap_xyzt<Ecompass>);
}

void AccelSensorStreamEmbed::loadM29_KDTD(const MP4::Container& movie,
                                          std::vector<TopBottomCorrection>& samples,
                                          std::uint16_t& rate) {
    loadM29_KDTx<TopBottomCorrection>(movie, "KDTD", samples, rate, swap_xyzt<TopBottomCorrection>);
}

void AccelSensorStreamEmbed::loadM30_KDTG(const MP4::Container& movie,
                                          std::vector<unsigned long long>& times,
                                          std::uint16_t& rate) {
    loadM29_KDTx<unsigned long long>(movie, "KDTG", times, rate,
                                     [](unsigned long long& time) { time = WEKU::byteSwap(time); });
}

void AccelSensorStreamEmbed::loadM30_KDTD_with_KDTG(const MP4::Container& movie,
                                                    std::vector<TopBottomCorrection>& samples,
                                                    std::uint16_t& rate) {
    std::vector<unsigned long long> times;
    loadM30(movie, samples, rate, times);
}

void AccelSensorStreamEmbed::loadM30(const MP4::Container& movie,
                                     std::vector<TopBottomCorrection>& samples, std::uint16_t& rate,
                                     std::vector<unsigned long long>& times) {
    std::uint16_t unusedRate = 0;
    loadM30_KDTG(movie, times, unusedRate);
    if (times.empty()) {
        out(L"KDTD: No KDTG entries.\n");
        loadM29_KDTD(movie, samples, rate);
        return;
    }
    std::vector<TopBottomCorrection> stored;
    loadM29_KDTD(movie, stored, rate);
    samples.clear();
    if (stored.empty()) return;

    samples.reserve(times.size());
    std::size_t i = 0;
    for (const unsigned long long g : times) {
        while (i < stored.size() && stored[i].timestamp < g)
            ++i;
        if (i == stored.size()) {
            out(L"KDTD: End of data : use %lld for %lld\n",
                static_cast<long long>(stored.back().timestamp), static_cast<long long>(g));
            samples.push_back(stored.back());
        } else {
            samples.push_back(i == 0 ? stored[0] : interpolate(stored[i - 1], stored[i], g));
        }
    }
}
