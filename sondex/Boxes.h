#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace sondex {

/// What a box's field holds.
using FieldValue = std::variant<bool, std::int64_t, std::uint64_t, double, std::string>;

struct Field {
    std::string name;
    FieldValue value;
};

/// A box of a movie (ISO/IEC 14496-12). Boxes whose payload is not known have neither fields nor
/// children.
struct Box {
    /// Four bytes, not always ASCII; "root" for the file itself.
    std::string type;
    /// The types from the top level down to this box, joined by ".": "moov.trak.mdia". Empty for
    /// the file.
    std::string path;
    /// Of the header's first byte in the file.
    std::uint64_t offset = 0;
    /// Header included, as claimed: a damaged box may pass its parent's end and the file's.
    std::uint64_t size = 0;
    /// 8, or 16 with a 64-bit size; 0 for the file.
    std::uint32_t headerSize = 0;
    /// The size field is 0: the box goes on to the end of the file.
    bool openEnded = false;
    /// Texts, times in seconds since 1904-01-01 UTC and durations are as stored; tables are told
    /// by their number of entries.
    std::vector<Field> fields;
    std::vector<Box> children;
};

}  // namespace sondex
