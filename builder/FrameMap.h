#pragma once

#include <optional>
#include <string>
#include <vector>

#include "builder/VideoSamples.h"

/// Which frames of its sources a cut (or a re-encoded copy) shows.
struct FrameMap {
    /// What is left of one source.
    struct Part {
        std::size_t source = 0;
        /// The numbers, in the order shown, of the source's frames that are kept, one for each
        /// frame of the cut in the order in which the cut shows them. They ascend.
        std::vector<std::uint32_t> frames;
        /// Seconds on the source's time line of the first.
        double from = 0;
        /// Seconds from the first frame of the cut to the first of this part.
        double at = 0;
    };
    /// How the cut was matched with its sources.
    enum class By { samples, pictures, number, seconds };

    By by = By::samples;
    std::vector<Part> parts;
    /// Frames of the cut and of all sources.
    std::size_t frames = 0;
    std::size_t sourceFrames = 0;
    /// Seconds of frames ahead of what the cut's edit list shows.
    double hidden = 0;

    /// "98 of 98 video samples equal: frames 120–217 of 300, from 4.004 s; …"
    std::string sentence() const;

    /// `from` and `to`, in seconds on the first source's time line, say where a re-encoded cut
    /// stands, and which place is meant where a cut fits in several. Throws a Refusal that says
    /// what was found.
    static FrameMap of(const std::vector<VideoSamples>& sources, const VideoSamples& cut,
                       std::optional<double> from, std::optional<double> to);
};
