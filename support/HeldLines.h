#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "support/Console.h"

namespace WEKU {

/// Holds back what this thread prints for as long as it lives, for a reading that may have to be
/// done again. What is still held at the end goes where it would have gone.
class HeldLines final : public Console::Sink {
  public:
    /// Beyond `most` bytes nothing is held any more: a hostile file can make its reader print
    /// without end.
    explicit HeldLines(std::size_t most) : most(most) {}
    ~HeldLines() override;

    void write(std::string_view bytes) override;
    void warn(std::string_view line) override;
    bool isSilent() const override { return before.isSilent(); }

    /// Forgets what is held; false when a part of it has left already.
    [[nodiscard]] bool drop();

  private:
    struct Piece {
        bool isWarning;
        std::string text;
    };

    void hold(bool isWarning, std::string_view text);
    void release();

    const std::size_t most;
    std::size_t held = 0;
    bool left = false;
    std::vector<Piece> pieces;
    Console::Sink& before = Console::sink();
    Console::Redirect redirect{*this};
};

/// Calls `read` until it says that what it read stands, a few times at most, and lets out what the
/// last call printed. False when none stood, or when more than `mostHeld` bytes had to leave early.
template <class Read>
bool repeatUntilItStands(std::size_t mostHeld, Read&& read) {
    constexpr int mostTries = 4;
    HeldLines lines(mostHeld);
    for (int tries = 1;; ++tries) {
        if (read()) return true;
        if (tries == mostTries || !lines.drop()) return false;
    }
}

}  // namespace WEKU
