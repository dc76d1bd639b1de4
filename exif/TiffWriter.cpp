#include "exif/TiffWriter.h"

#include "exif/TiffCodes.h"
#include "support/Endian.h"

namespace {

template <class T>
std::string big(T value) {
    std::string bytes(sizeof value, '\0');
    WEKU::storeBig(bytes.data(), value);
    return bytes;
}

}  // namespace

void TiffWriter::add(std::uint16_t tag, std::uint16_t type, std::size_t count, std::string values) {
    entries.push_back({tag, type, static_cast<std::uint32_t>(count), std::move(values)});
}

void TiffWriter::ascii(std::uint16_t tag, std::string_view text) {
    std::string values(text);
    for (char& c : values)
        c = c >= 0 && (c < ' ' || c == 0x7F) ? ' ' : c;
    values += '\0';
    const std::size_t count = values.size();
    add(tag, Tiff::Type::ascii, count, std::move(values));
}

void TiffWriter::bytes(std::uint16_t tag, std::string_view values) {
    add(tag, Tiff::Type::byte, values.size(), std::string(values));
}

void TiffWriter::undefined(std::uint16_t tag, std::string_view values) {
    add(tag, Tiff::Type::undefined, values.size(), std::string(values));
}

void TiffWriter::shortInt(std::uint16_t tag, std::uint16_t value) {
    add(tag, Tiff::Type::shortInt, 1, big(value));
}

void TiffWriter::longInt(std::uint16_t tag, std::uint32_t value) {
    add(tag, Tiff::Type::longInt, 1, big(value));
}

void TiffWriter::rationals(std::uint16_t tag, const std::vector<Rational>& values) {
    std::string stored;
    for (const Rational& value : values)
        stored += big(value.numerator) + big(value.denominator);
    add(tag, Tiff::Type::rational, values.size(), std::move(stored));
}

void TiffWriter::ifd(std::uint16_t tag, const TiffWriter& other) {
    entries.push_back({tag, Tiff::Type::longInt, 1, {}, &other});
}

std::string TiffWriter::at(std::uint32_t offset) const {
    constexpr std::size_t entryBytes = 12, inlineBytes = 4;
    std::string fields = big(static_cast<std::uint16_t>(entries.size()));
    std::string behind;
    const std::size_t start = offset + fields.size() + entries.size() * entryBytes + inlineBytes;
    for (const Entry& entry : entries) {
        fields += big(entry.tag) + big(entry.type) + big(entry.count);
        const auto place = static_cast<std::uint32_t>(start + behind.size());
        if (entry.ifd == nullptr && entry.values.size() <= inlineBytes) {
            fields += entry.values + std::string(inlineBytes - entry.values.size(), '\0');
            continue;
        }
        fields += big(place);
        behind += entry.ifd != nullptr ? entry.ifd->at(place) : entry.values;
        // Values begin at even places.
        if (behind.size() % 2 != 0) behind += '\0';
    }
    return fields + big(std::uint32_t{0}) + behind;
}

std::string TiffWriter::whole() const {
    constexpr std::uint32_t headerBytes = 8;
    return "MM" + big(std::uint16_t{42}) + big(headerBytes) + at(headerBytes);
}
