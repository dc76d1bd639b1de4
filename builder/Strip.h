#pragma once

#include <string>

#include "builder/Overwrites.h"
#include "builder/Privacy.h"
#include "mp4/Container.h"

/// Takes what tells on the user out of a file, where it stands: bytes are overwritten, so that they
/// are gone from the file and no copy with them is left, and nothing else moves.
namespace Strip {

/// Looks a movie through. What no reader looks for any more goes as well: the contents of free
/// boxes, in which earlier edits leave what they replaced. Throws a Refusal when the movie cannot
/// be read in full, or its free boxes hold samples.
Overwrites ofMovie(const MP4::Container& movie, const Privacy::What& what);
/// Look a JPEG or a DNG still through, given as the whole file.
Overwrites ofJpeg(const std::string& file, const Privacy::What& what);
Overwrites ofDng(const std::string& file, const Privacy::What& what);

}  // namespace Strip
