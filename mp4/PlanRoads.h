#pragma once

#include <string>

#include "mp4/Container.h"
#include "mp4/SplicePlan.h"

namespace MP4 {

/// The ways in which a plan's change reaches its file. On each of them the file holds the old or
/// the new movie, whole, at every moment.
enum class Road {
    /// The first of those below that serves.
    cheapest,
    /// One write of at most a disk's sector, where nothing else moves.
    inPlace,
    /// The movie box moves to spare room or behind the last box (see MovieRoom).
    movieRoom,
    /// A new file takes the place of the old one.
    rewrite,
};

/// Finishes the plan and carries it out under the name, into the container's output path if it has
/// one. False, with the file as it was, when it cannot be carried out on this road: `reason` then
/// says why if the plan or the road is the reason, else the line on standard error does. The
/// container parses its file again.
[[nodiscard]] bool carryOut(Container& movie, const wchar_t* name, SplicePlan& plan, Road road,
                            std::string& reason);

}  // namespace MP4
