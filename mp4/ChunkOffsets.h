#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "mp4/Container.h"

/// The chunk offsets of a movie's tracks, which stay in the file and are visited there in blocks.
namespace MP4::ChunkOffsets {

inline constexpr char movieTracks[] = "moov.trak.mdia.minf.stbl";
/// The same from the movie box.
inline constexpr char track[] = "trak.mdia.minf.stbl";
inline constexpr char spatialTrack[] = "uuid.KATR.mdia.minf.stbl";

/// What becomes of one chunk offset.
using Change = std::function<std::uint64_t(std::uint64_t offset)>;

/// The number of stco and co64 tables under the prefix.
std::size_t tables(const Container& movie, const std::string& prefix);

/// True when `accept` holds for every chunk offset under the prefix and every table holds the
/// entries that it announces.
bool all(const NestedBox& tree, const std::string& prefix, BinFile& file,
         const std::function<bool(std::uint64_t offset, std::uint64_t largest)>& accept);

/// Rewrites every chunk offset under the prefix in its width (wrapping); false after an error.
bool rewrite(const Container& movie, const std::string& prefix, BinFile& file,
             const Change& change);

/// Moves every chunk offset of the movie's and the spatial track. Looks first: false, with nothing
/// written, when a table is damaged or an offset would leave its width.
bool shift(const Container& movie, BinFile& file, const Container::Distance& distance);

}  // namespace MP4::ChunkOffsets
