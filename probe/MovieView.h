#pragma once

#include <cstdint>
#include <vector>

#include "mp4/Container.h"
#include "support/FileIO.h"

/// A movie's bytes as a foreign demuxer may see them: every user-data, uuid and meta box of the
/// tree bears the name "free". A demuxer refuses a whole movie over one short box in there, and
/// the megabytes of sensor data are none of its business. So do the tracks without a header of a
/// fragmented movie, which it would look for in vain.
class MovieView {
  public:
    /// Both must outlive the view.
    MovieView(const MP4::Container& movie, const WEKU::FileIO& file);

    std::uint64_t length() const { return fileLength; }
    /// As WEKU::FileIO::readAt.
    std::uint64_t readAt(std::uint64_t offset, unsigned char* bytes, std::uint64_t count) const;

  private:
    const WEKU::FileIO& file;
    std::uint64_t fileLength;
    /// File offsets of the types of the hidden boxes, in ascending order.
    std::vector<std::uint64_t> hiddenTypes;
};
