#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// The samples of a tilt stream (version 1 or 2) that belong to the kept frames, which are numbers
/// below `sourceFrames` that ascend; a stream of another number of samples is cut in proportion.
/// Version 2; empty, after a console line, when the stream is malformed.
std::string cutTilt(const std::string& stream, const std::vector<std::uint32_t>& frames,
                    std::uint32_t sourceFrames);

/// One stream of the samples of both, with the header of the first.
std::string joinTilt(const std::string& first, const std::string& next);
