#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "mp4/Container.h"

/// The records of one sensor box as bytes: what is taken from a movie and written to another keeps
/// its byte order, its unit and its padding.
class SensorStream {
  public:
    /// Reads the boxes of one name ("KDTB", "KDTC", "KDTD", "KDTG") of the movie's user data, one
    /// behind the other; nothing when there is none. Throws a Refusal when one is damaged.
    static std::optional<SensorStream> read(const MP4::Container& movie, const char* name);

    std::size_t size() const { return records.size() / unit; }
    /// Nanoseconds.
    std::uint64_t timeOf(std::size_t record) const;
    void setTime(std::size_t record, std::uint64_t time);

    /// The first record, of those from `from` on, whose time is `time` or later, as the loaders
    /// look for it: one after the other, since times need not ascend. `size()` when there is none.
    std::size_t firstNotBefore(std::uint64_t time, std::size_t from = 0) const;

    /// Keeps the records [begin, end).
    void keep(std::size_t begin, std::size_t end);
    /// Keeps the records with these numbers, which are all below `size()`.
    void keep(const std::vector<std::uint32_t>& numbers);
    /// Appends the records of a stream of the same name, in this one's byte order, with `shift`
    /// added to their times.
    void append(const SensorStream& other, std::int64_t shift);

    /// The whole box; empty when it would not fit the 32-bit size that its readers need.
    std::string box() const;

  private:
    static constexpr std::size_t headerLength = 24;

    bool bigEndian() const;
    /// Turns the byte order of every field of every record.
    void swapRecords();

    MP4::FourCC name = 0;
    std::size_t unit = 1;
    /// The header behind the box header, with the count of records as it was read.
    std::string header;
    std::string records;
};
