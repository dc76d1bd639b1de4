#pragma once

#include <cstdint>
#include <string>

#include "mp4/PlanRoads.h"
#include "tests/kit/BoxBuilder.h"
#include "tests/kit/Files.h"

/// Opened movies, small ones for edits, and the edit that most of them undergo.
namespace kit {

/// A movie file of these bytes, opened.
struct OpenedMovie {
    explicit OpenedMovie(const std::string& bytes);
    /// What the file holds now.
    std::string bytes() const { return readFile(path); }

    TempFolder folder;
    std::wstring path = folder.wide("m.mp4");
    std::string name = folder.path() / "m.mp4";
    MP4::Container movie;
};

/// Tables of one chunk offset.
std::string stco(std::uint64_t offset, std::uint32_t announced = 1);
std::string co64(std::uint64_t offset);

/// A movie box of one video track with this table; `more` stands behind the track.
std::string movieBox(const std::string& offsets, const std::string& more = {});

/// ftyp, mdat, moov, with the chunk offset at the media data.
std::string mdatFirst(const std::string& media);

/// Inserts whole boxes behind the anchor, or in its place, as a program would.
bool insertInto(MP4::Container& movie, const MP4::BOX& anchor, bool replace,
                const std::string& boxes, MP4::Road road = MP4::Road::rewrite);

/// Takes constraint_set1_flag out of the H.264 record, and the whole VUI unless it is to state the
/// full range, which leaves the record room for the flag.
bool unsetBaselineFlag(MP4::Container& movie, bool statesFullRange);

}  // namespace kit
