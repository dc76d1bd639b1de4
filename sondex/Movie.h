#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "sondex/Boxes.h"
#include "sondex/Facts.h"
#include "sondex/Read.h"
#include "sondex/Result.h"

namespace sondex {

/// The ways in which changes reach a movie's file. On each of them the file holds the old or the
/// new movie, whole, at every moment, whatever ends the program or the machine.
enum class Road {
    /// The first of those below that serves.
    cheapest,
    /// One write of at most a disk's sector, where nothing has to move.
    inPlace,
    /// A new movie box is written to spare room of the file or behind its last box, flushed, and
    /// then the old one is made a free box: the cost is that of the movie box, not of the file. A
    /// file grows by one movie box at most, however often it is edited.
    movieRoom,
    /// A new file takes the place of the old one; owner, mode, access list and extended attributes
    /// are carried over. Costs a copy of the file.
    rewrite,
};

/// Settings of the camera's maker note, as its own numbers. What is not given stays as it is, and
/// one that the maker note lacks stays away; a stabilisation of 0 changes nothing.
struct MakerNoteSettings {
    std::optional<std::int32_t> stabilization = {}, projection = {}, zenith = {};
};

/// A movie file that is to be changed. Changes are collected and then saved together; sizes and
/// the absolute offsets of other boxes follow by themselves, or saving is refused with the reason
/// and the file stays as it was. One object is for one thread at a time.
///
/// A box is named by its path, four-character codes joined by ".": "moov.udta.@mod". Codes that are
/// not ASCII may be given as bytes or, as "moov.udta.©xyz", in UTF-8. The first box of that path
/// is meant, "moov.trak[1].tkhd" the one in the second track.
class Movie {
  public:
    /// Reads the boxes of a movie.
    [[nodiscard]] static Result<Movie> open(std::string_view path, const Options& options = {});
    Movie(Movie&&) noexcept;
    Movie& operator=(Movie&&) noexcept;
    ~Movie();

    /// `boxes` are one or more whole boxes, header included. Several insertions at one place stand
    /// in the order in which they were asked for.
    Status insertBehind(std::string_view boxPath, std::string_view boxes);
    /// Ahead of the first box that the named one holds; an empty path is the file itself.
    Status insertFirst(std::string_view parentPath, std::string_view boxes);
    Status replace(std::string_view boxPath, std::string_view boxes);
    Status remove(std::string_view boxPath);

    /// Sets the creation times of movie, tracks and media, in seconds since 1970-01-01 UTC. With
    /// nothing else to change they are written in place, a write of at most 8 bytes each.
    Status setCreationTime(std::int64_t unixSeconds);
    /// Sets the location text and the location information box of the user data, the camera's own
    /// box where there is one, and the position that an XMP packet states. Give a packet of your
    /// own first, if any.
    Status setPosition(const Position& position);
    /// Puts an XMP packet, or a tilt stream, into a box of its own behind the movie; refused when
    /// there is one.
    Status appendXmp(std::string_view xmp);
    Status appendAxis(std::string_view stream);
    /// The same, in place of the one that is there.
    Status setXmp(std::string_view xmp);
    Status setAxis(std::string_view stream);
    /// Refused when there is no maker note, or a setting in it that cannot be read.
    Status setMakerNote(const MakerNoteSettings& settings);

    /// What was asked for since the last save and is not in the file already.
    [[nodiscard]] const Done& changes() const;
    /// Makes the changes in the file, flushed to the disk. Without changes it touches nothing.
    Status save(Road road = Road::cheapest);
    /// Writes the movie with the changes to another file, which may exist; this object stands for
    /// that file from then on. The old file stays as it is.
    Status saveTo(std::string_view path);

  private:
    class Inside;
    explicit Movie(std::unique_ptr<Inside> inside);
    std::unique_ptr<Inside> inside;
};

}  // namespace sondex
