#pragma once

#include "mp4/Box.h"

/// The header boxes of movie, track, media and handler (ISO/IEC 14496-12).
namespace MP4 {

class FTYP : public BOX {
  public:
    static constexpr FourCC code = fourCC("ftyp");
    using BOX::BOX;
};

class MDAT : public BOX {
  public:
    static constexpr FourCC code = fourCC("mdat");
    using BOX::BOX;
};

/// The headers that carry times, in seconds since 1904-01-01 UTC.
class TimedBox : public FullBox {
  public:
    using FullBox::FullBox;

    /// Overwrites the creation time in the file, in the width of the box's version; this object
    /// stays as it is. Stands on a 32-bit box header: ask `timeStampFits` first.
    bool setTimeStamp(BinFile& file, std::uint64_t time) const;
    /// True when the creation time stands where setTimeStamp writes, inside the file, the box and
    /// those around it.
    bool timeStampFits(std::uint64_t fileLength) const;

    /// The creation time.
    std::uint64_t timeStamp = 0;
};

class MVHD : public TimedBox {
  public:
    static constexpr FourCC code = fourCC("mvhd");
    using TimedBox::TimedBox;
    void parseBox(BinFile& file, std::uint64_t end) override;
    void dump() const override;

    /// Seconds, in single precision; infinite or NaN with a time scale of 0.
    float duration = 0;
    float timeScale = 0;
};

class TKHD : public TimedBox {
  public:
    static constexpr FourCC code = fourCC("tkhd");
    using TimedBox::TimedBox;
    void parseBox(BinFile& file, std::uint64_t end) override;
    void dump() const override;

    /// Whole pixels; a width of at least 1 marks a video track.
    std::int32_t width = 0;
    std::int32_t height = 0;
};

/// Deliberate: of a version 1 box `timeStamp` is the modification time, although setTimeStamp
/// writes the creation time; consumers know the value under this rule.
class MDHD : public TimedBox {
  public:
    static constexpr FourCC code = fourCC("mdhd");
    using TimedBox::TimedBox;
    void parseBox(BinFile& file, std::uint64_t end) override;
    void dump() const override;

    /// In units of the time scale.
    std::uint64_t duration = 0;
    std::uint32_t timeScale = 0;
};

class HDLR : public BOX {
  public:
    static constexpr FourCC code = fourCC("hdlr");
    using BOX::BOX;
    void parseBox(BinFile& file, std::uint64_t end) override;
    void dump() const override;

    /// Version and flags, pre-defined, handler type (bytes 8 to 11), reserved.
    std::array<unsigned char, 24> block{};
    /// The bytes behind the block; empty when the file does not hold them all.
    std::string handlerName;
    /// Their announced number.
    std::uint64_t handlerNameLength = 0;
};

}  // namespace MP4
