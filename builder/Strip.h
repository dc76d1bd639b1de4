#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "builder/Privacy.h"
#include "mp4/Container.h"

/// Takes what tells on the user out of a file, where it stands: bytes are overwritten, so that they
/// are gone from the file and no copy with them is left, and nothing else moves.
class Strip {
  public:
    /// Looks a movie through. What no reader looks for any more goes as well: the contents of free
    /// boxes, in which earlier edits leave what they replaced.
    static Strip ofMovie(const MP4::Container& movie, const Privacy::What& what);
    /// Looks a JPEG or a DNG still through, given as the whole file.
    static Strip ofJpeg(const std::string& file, const Privacy::What& what);
    static Strip ofDng(const std::string& file, const Privacy::What& what);

    bool nothingToDo() const { return overwrites.empty(); }
    std::uint64_t bytesChanged() const;
    /// Overwrites the bytes in the open file; false after an error. What was written until then
    /// stays, and a second run goes on with the rest.
    bool write(WEKU::FileIO& file) const;

  private:
    struct Overwrite {
        std::uint64_t offset;
        std::string bytes;
        /// That many zeros, when there are no bytes.
        std::uint64_t zeros = 0;
    };
    class Movie;

    void addDifference(std::uint64_t offset, const std::string& before, const std::string& after);

    std::vector<Overwrite> overwrites;
};
