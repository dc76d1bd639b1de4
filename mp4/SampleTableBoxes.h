#pragma once

#include "mp4/Box.h"

/// The sample tables of a track (ISO/IEC 14496-12). Announced rows that the file does not hold
/// are zeros, of which a bounded number is kept; the announced count stays as it was read.
namespace MP4 {

class STSZ : public FullBox {
  public:
    static constexpr FourCC code = fourCC("stsz");
    using FullBox::FullBox;
    void parseBox(BinFile& file, std::uint64_t end) override;
    void dump() const override;

    /// The size of every sample, or 0 when each has its own.
    std::uint32_t sampleSize = 0;
    std::uint32_t sampleCount = 0;
    /// Filled only when `sampleSize` is 0.
    std::vector<std::uint32_t> sampleSizes;
    /// Deliberate: with one size for all, the product modulo 2^32; consumers compare bit rates
    /// that were computed so.
    std::uint64_t sampleTotal = 0;
};

class STTS : public FullBox {
  public:
    static constexpr FourCC code = fourCC("stts");
    using FullBox::FullBox;
    void parseBox(BinFile& file, std::uint64_t end) override;
    void dump() const override;

    struct Entry {
        std::uint32_t sampleCount;
        std::uint32_t sampleDelta;
    };
    std::uint32_t entryCount = 0;
    std::vector<Entry> entries;
};

class STSC : public FullBox {
  public:
    static constexpr FourCC code = fourCC("stsc");
    using FullBox::FullBox;
    void parseBox(BinFile& file, std::uint64_t end) override;
    void dump() const override;

    struct Entry {
        std::uint32_t firstChunk;
        std::uint32_t samplesPerChunk;
        std::uint32_t sampleDescriptionIndex;
    };
    std::uint32_t entryCount = 0;
    std::vector<Entry> entries;
};

/// The chunk offsets stay in the file; only their place is kept.
class STCO : public FullBox {
  public:
    static constexpr FourCC code = fourCC("stco");
    using FullBox::FullBox;
    void parseBox(BinFile& file, std::uint64_t end) override;
    void dump() const override;

    std::uint32_t entryCount = 0;
    /// File offset of the first chunk offset.
    std::uint64_t entriesOffset = 0;
};

/// As STCO, with offsets of eight bytes instead of four.
class CO64 : public STCO {
  public:
    static constexpr FourCC code = fourCC("co64");
    using STCO::STCO;
};

}  // namespace MP4
