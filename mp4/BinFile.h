#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "mp4/FourCC.h"
#include "mp4/ParseLimits.h"
#include "support/FileIO.h"

namespace MP4 {

/// The handle that box parsers read through: a read position with a limit beyond which no field
/// is read. Every read stands on `take`, the one place where position, limit and file length are
/// compared; a refused field gives 0 and does not move the position. What is written through this
/// handle, or another that shares its file, is seen at once.
class BinFile : public WEKU::FileIO {
  public:
    /// Shares the open file of `opened`, which must outlive this handle.
    explicit BinFile(WEKU::FileIO& opened);

    /// File offset beyond which nothing is read; all ones means no limit.
    std::uint64_t limit = UINT64_MAX;
    ParseBudget budget;

    std::uint64_t fileLength() const;

    /// Moves the position, whether or not anything stands there.
    void moveTo(std::uint64_t offset) { position = offset; }
    void skip(std::uint64_t count);

    /// Reads `count` bytes, or refuses without moving.
    bool take(unsigned char* bytes, std::uint64_t count);
    /// Moves over `count` bytes if they could be read, else stays.
    void takeAndDrop(std::uint64_t count);

    std::uint8_t take8();
    std::uint16_t take16();
    std::uint32_t take32();
    std::uint64_t take64();
    /// The four bytes in file order.
    FourCC takeCode();
    /// A signed 16.16 fixed-point number.
    double takeFixed();

    /// The bytes from the position on, at most `count`, bounded by the limit, the file and the
    /// budget; the position moves behind them.
    std::string takeText(std::uint64_t count);

    /// How many of `count` rows of `width` bytes takeRows would deliver.
    std::uint64_t rowsAhead(std::uint64_t width, std::uint64_t count) const;
    /// Reads at most `count` rows of `width` bytes (at most 65536) in blocks and hands each block
    /// to `decode(bytes, rows)`; bounded like takeText. Returns the number of rows delivered.
    template <class Decode>
    std::uint64_t takeRows(std::uint64_t width, std::uint64_t count, Decode&& decode) {
        count = rowsAhead(width, count);
        ParseBudget::draw(budget.payloadBytes, count * width);
        std::vector<unsigned char> block(width * std::min(count, blockBytes / width));
        std::uint64_t done = 0;
        while (done < count) {
            const std::uint64_t rows = std::min(count - done, blockBytes / width);
            if (!take(block.data(), rows * width)) break;
            decode(static_cast<const unsigned char*>(block.data()), rows);
            done += rows;
        }
        return done;
    }

    /// Writes all the bytes at the position; false when not all of them arrived.
    bool put(const unsigned char* bytes, std::uint64_t count);
    bool put(const std::string& bytes);

  private:
    static constexpr std::uint64_t blockBytes = 65536;

    /// The bytes between the position and the nearer of limit and file end.
    std::uint64_t available() const;
    /// Forgets what is known of the file if it was changed since.
    void catchUp() const;
    template <class T>
    T takeBig();

    mutable std::uint64_t knownChanges;
    mutable std::uint64_t knownLength;
    /// A read-ahead window, so that a header's fields cost one system call and not one each.
    std::uint64_t windowStart = 0;
    mutable std::uint64_t windowLength = 0;
    std::array<unsigned char, 4096> window;
};

}  // namespace MP4
