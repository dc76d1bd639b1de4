#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sondex/Edit.h"

namespace sondex {

struct CarryOptions {
    /// Where the target stands in the source, in seconds: for a target that is re-encoded, or that
    /// fits in several places.
    std::optional<double> from = {}, to = {};
    /// The target's own boxes give way.
    bool replace = false;
    /// What is left behind.
    Private drop = {};
    /// Decide and tell, but write nothing.
    bool dryRun = false;
    /// Where the result goes; empty: in the target's place.
    std::string output = {};
};

/// What became of the camera's metadata.
struct Carried {
    enum class Fate {
        carried,
        present,     ///< The target had it, and it stays.
        notCarried,  ///< `why` says why.
    };
    struct Item {
        std::string name;
        Fate fate = Fate::carried;
        std::string why;
    };
    /// Which frames of the sources the target shows, as a sentence.
    std::string frames;
    std::vector<Item> items;
    /// Something was, or in a dry run would be, written.
    bool changed = false;
};

/// Puts what the camera wrote in a movie, or in its chapters in their order, onto a cut or
/// re-encoded copy of it. The frames are found by comparing the encoded samples; nothing is
/// guessed.
[[nodiscard]] Result<Carried> carry(const std::vector<std::string>& sources,
                                    std::string_view target, const CarryOptions& options = {});

}  // namespace sondex
