#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace WEKU {

/// Lines of wide text from a descriptor, as they come: a line is handed out as soon as its line
/// feed, or its last character, has been read, so that a peer may wait for the answer before it
/// sends the next.
class LineInput {
  public:
    /// `most` is the largest number of characters a line may have; the rest of a longer one is
    /// the next line.
    LineInput(int descriptor, std::size_t most) : descriptor(descriptor), most(most) {}

    /// The next line with its line feed, if it has one; nothing at the end of the input or after
    /// an error. A last line without a line feed counts.
    std::optional<std::wstring> next();

  private:
    bool readMore();
    bool isFull(std::string_view bytes) const;

    int descriptor;
    std::size_t most;
    std::string pending;
    std::size_t taken = 0;
    bool ended = false;
};

}  // namespace WEKU
