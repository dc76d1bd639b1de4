#pragma once

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "support/ByteArray.h"
#include "support/Failure.h"

namespace kit {

ByteArray byteArray(const std::string& bytes);

/// The message that `action` throws; nothing when it throws none.
template <typename Action>
std::string failureOf(Action action) {
    try {
        action();
    } catch (WEKU::Failure message) {
        return message;
    }
    return "";
}

/// An IFD entry. Its values out of line are `text` or `longs`; without either, `value` is the value
/// field as it stands. A value of 0 in a tag that leads to another IFD is filled in by the layout.
struct TiffEntry {
    std::uint16_t tag, type;
    std::uint32_t count;
    std::uint32_t value = 0;
    std::string text = {};
    std::vector<std::uint32_t> longs = {};
};

struct Ifd {
    std::vector<TiffEntry> entries;

    TiffEntry& operator[](std::uint16_t tag) {
        return *std::ranges::find(entries, tag, &TiffEntry::tag);
    }
    void drop(std::initializer_list<std::uint16_t> tags) {
        for (const std::uint16_t tag : tags)
            std::erase_if(entries, [&](const TiffEntry& entry) { return entry.tag == tag; });
    }
    std::size_t size() const { return 2 + 12 * entries.size() + 4; }
};

/// What the camera writes, with every tag that is read. Change any field, then lay it out.
struct CameraTiff {
    explicit CameraTiff(bool bigEndian = true);

    /// A bare TIFF image; a maker IFD behind its signature; a JPEG up to the end of its Exif
    /// segment; a DNG behind the header that its reader wants.
    std::string tiff() const { return layOut(true); }
    std::string makerNote() const { return layOut(false); }
    std::string jpeg() const { return jpegHead + tiff(); }
    std::string dng() const { return dngHead + tiff(); }

    bool bigEndian;
    std::uint16_t byteOrder;
    std::uint16_t identifier = 42;
    std::uint32_t ifd0Offset = 8;
    std::string signature{"Kesto\0\0\0", 8};
    std::string jpegHead{"\xFF\xD8\xFF\xE1\x7F\xFF\x45xif\0\0", 12};
    std::string dngHead{"\xFF\xD8\xFF\xE1\xFF\xFF\x45xif\0\0", 12};
    Ifd ifd0, exif, maker, camera, sub0, sub1;

  private:
    std::string layOut(bool whole) const;
};

}  // namespace kit
