#pragma once

#include <string>

/// Edits under signals. The library leaves its host's signals alone unless it is asked.
namespace WEKU {

/// For the start of a program: SIGTERM, SIGHUP and SIGINT remove the temporary files of edits
/// before they end it, unless they are ignored; a write beyond the limit on file sizes fails
/// instead of ending it.
void handleEndingSignals();

/// A file that those signals remove as long as this lives. Made before the file is.
class Leftover {
  public:
    /// `folder` stays open meanwhile; a name beyond 63 bytes stays unguarded.
    Leftover(int folder, const std::string& name);
    ~Leftover();
    Leftover(const Leftover&) = delete;
    Leftover& operator=(const Leftover&) = delete;

  private:
    struct Slot* slot = nullptr;
};

}  // namespace WEKU
