#include "builder/SensorStream.h"

#include <algorithm>

#include "builder/Refusal.h"
#include "support/Endian.h"

namespace {

constexpr std::uint16_t littleMark = 0x0123;
constexpr std::uint16_t bigMark = 0x3210;

template <class T>
T load(const char* bytes, bool big) {
    return big ? WEKU::loadBig<T>(bytes) : WEKU::loadLittle<T>(bytes);
}

template <class T>
void store(char* bytes, T value, bool big) {
    if (big) {
        WEKU::storeBig<T>(bytes, value);
    } else {
        WEKU::storeLittle<T>(bytes, value);
    }
}

std::size_t unitOf(MP4::FourCC name) {
    if (name == MP4::fourCC("KDTD")) return 16;
    return name == MP4::fourCC("KDTG") ? 8 : 24;
}

}  // namespace

std::optional<SensorStream> SensorStream::read(const MP4::Container& movie, const char* name) {
    std::optional<SensorStream> all;
    const auto add = [&](const MP4::BOX& box) {
        SensorStream stream;
        stream.name = box.type;
        stream.unit = unitOf(box.type);
        const std::string payload = movie.payload(box);
        constexpr std::size_t behind = headerLength - 8;
        if (payload.size() < behind || box.size() != payload.size() + 8) {
            throw Refusal{std::string(name) + " is cut off"};
        }
        stream.header = payload.substr(0, behind);
        const bool big = stream.bigEndian();
        const auto mark = load<std::uint16_t>(&stream.header[8], false);
        if ((mark != bigMark && mark != littleMark) ||
            load<std::uint16_t>(&stream.header[6], big) != stream.unit) {
            throw Refusal{std::string(name) + " has a header that is not understood"};
        }
        const std::uint64_t bytes =
            std::uint64_t{load<std::uint32_t>(stream.header.data(), big)} * stream.unit;
        if (bytes > payload.size() - behind) {
            throw Refusal{std::string(name) + " announces more records than it holds"};
        }
        stream.records = payload.substr(behind, bytes);
        if (all) {
            all->append(stream, 0);
        } else {
            all = std::move(stream);
        }
    };
    movie.find((std::string("moov.udta.") + name).c_str(), [&](MP4::BOX& box) {
        add(box);
        return true;
    });
    return all;
}

bool SensorStream::bigEndian() const {
    return load<std::uint16_t>(&header[8], false) == bigMark;
}

std::uint64_t SensorStream::timeOf(std::size_t record) const {
    return load<std::uint64_t>(&records[(record + 1) * unit - 8], bigEndian());
}

void SensorStream::setTime(std::size_t record, std::uint64_t time) {
    store<std::uint64_t>(&records[(record + 1) * unit - 8], time, bigEndian());
}

std::size_t SensorStream::firstNotBefore(std::uint64_t time, std::size_t from) const {
    while (from < size() && timeOf(from) < time)
        ++from;
    return from;
}

void SensorStream::keep(std::size_t begin, std::size_t end) {
    records = records.substr(begin * unit, (end - begin) * unit);
}

void SensorStream::keep(const std::vector<std::uint32_t>& numbers) {
    std::string kept;
    kept.reserve(numbers.size() * unit);
    for (const std::uint32_t each : numbers)
        kept.append(records, each * unit, unit);
    records = std::move(kept);
}

void SensorStream::swapRecords() {
    const std::size_t field = unit == 24 ? 4 : 2;
    for (std::size_t at = 0; at < records.size(); at += unit) {
        if (unit > 8) {
            for (std::size_t axis = 0; axis < 3; ++axis)
                std::reverse(&records[at + axis * field], &records[at + axis * field] + field);
        }
        std::reverse(&records[at + unit - 8], &records[at + unit - 8] + 8);
    }
}

void SensorStream::append(const SensorStream& other, std::int64_t shift) {
    SensorStream copy = other;
    if (copy.bigEndian() != bigEndian()) {
        copy.swapRecords();
        copy.header = header;
    }
    for (std::size_t i = 0; shift != 0 && i < copy.size(); ++i)
        copy.setTime(i, copy.timeOf(i) + static_cast<std::uint64_t>(shift));
    records += copy.records;
}

std::string SensorStream::box() const {
    const std::uint64_t length = headerLength + records.size();
    if (length > UINT32_MAX) return {};
    std::string bytes(8, '\0');
    WEKU::storeBig<std::uint32_t>(bytes.data(), static_cast<std::uint32_t>(length));
    std::copy_n(reinterpret_cast<const char*>(&name), sizeof name, &bytes[4]);
    bytes += header;
    store<std::uint32_t>(&bytes[8], static_cast<std::uint32_t>(size()), bigEndian());
    return bytes + records;
}
