#include "tests/kit/TiffBuilder.h"

#include <map>

#include "support/Endian.h"

namespace kit {
namespace {

/// Appends numbers in one byte order; values out of line gather behind the IFDs.
struct Layout {
    bool bigEndian;
    std::size_t dataOffset;
    std::map<std::uint16_t, std::size_t> leads;
    std::string bytes = {}, data = {};

    template <typename T>
    void put(std::string& to, T value) const {
        char raw[sizeof value];
        bigEndian ? WEKU::storeBig(raw, value) : WEKU::storeLittle(raw, value);
        to.append(raw, sizeof raw);
    }

    void putIfd(const Ifd& ifd) {
        put(bytes, static_cast<std::uint16_t>(ifd.entries.size()));
        for (const auto& [tag, type, count, given, text, longs] : ifd.entries) {
            std::size_t value = given;
            if (!text.empty() || !longs.empty()) {
                data.resize((data.size() + 1) / 2 * 2);  // offsets are even
                value = dataOffset + data.size();
            } else if (value == 0 && leads.contains(tag)) {
                value = leads.at(tag);
            }
            put(bytes, tag);
            put(bytes, type);
            put(bytes, count);
            put(bytes, static_cast<std::uint32_t>(value));
            data += text;
            for (const std::uint32_t number : longs)
                put(data, number);
        }
        put(bytes, std::uint32_t{0});
    }
};

}  // namespace

ByteArray byteArray(const std::string& bytes) {
    return {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()};
}

CameraTiff::CameraTiff(bool big) : bigEndian(big), byteOrder(big ? 0x4D4D : 0x4949) {
    ifd0.entries = {{0x0110, 2, 8, 0, {"Model A\0", 8}},
                    {0x0131, 2, 5, 0, {"1.20\0", 5}},
                    {0x014A, 4, 2},
                    {0x8769, 4, 1}};
    exif.entries = {{0x927C, 7, 400}};
    maker.entries = {{0x0002, 2, 6, 0, {"2.10b\0", 6}},
                     {0x0005, 7, 8, 0, "00012345"},
                     {0x1000, 3, 1, 2 << 16},
                     {0x4001, 4, 1}};
    camera.entries = {{0x0001, 3, 1, 3 << 16},
                      {0x0002, 3, 1, 1 << 16},
                      {0x0003, 10, 2, 0, {}, {static_cast<std::uint32_t>(-25), 10, 105, 10}},
                      {0x0004, 5, 1, 0, {}, {2705, 10}},
                      {0x0005, 3, 1, 6 << 16},
                      {0x0007, 3, 1, 4 << 16},
                      {0x0201, 7, 9, 0, "tableOne."},
                      {0x0202, 7, 8, 0, "tableTwo"},
                      {0x0203, 3, 1, 7 << 16},
                      {0x0204, 3, 2, (960 << 16) | 961},
                      {0x0205, 3, 2, (540 << 16) | 541},
                      {0x0206, 5, 1, 0, {}, {3, 2}},
                      {0x1014, 3, 1, 5 << 16}};
    sub0.entries = {{0x00FE, 4, 1, 1}};
    sub1.entries = {{0x0111, 4, 1, 0x2000}, {0x0117, 4, 1, 0x3000}};
}

std::string CameraTiff::layOut(bool whole) const {
    const std::size_t exifAt = 8 + ifd0.size();
    const std::size_t noteAt = whole ? exifAt + exif.size() : 0;
    const std::size_t cameraAt = noteAt + signature.size() + maker.size();
    const auto sub0At = static_cast<std::uint32_t>(cameraAt + camera.size());
    const auto sub1At = static_cast<std::uint32_t>(sub0At + sub0.size());
    Layout out{
        bigEndian, sub1At + sub1.size(), {{0x8769, exifAt}, {0x927C, noteAt}, {0x4001, cameraAt}}};
    if (whole) {
        Ifd first = ifd0;
        for (TiffEntry& entry : first.entries) {
            if (entry.tag == 0x014A && entry.longs.empty()) entry.longs = {sub0At, sub1At};
        }
        out.put(out.bytes, byteOrder);
        out.put(out.bytes, identifier);
        out.put(out.bytes, ifd0Offset);
        out.putIfd(first);
        out.putIfd(exif);
    }
    out.bytes += signature;
    for (const Ifd* ifd : {&maker, &camera, &sub0, &sub1})
        out.putIfd(*ifd);
    return out.bytes + out.data;
}

}  // namespace kit
