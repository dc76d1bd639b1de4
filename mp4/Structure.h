#pragma once

#include "mp4/Box.h"

/// The boxes that hold boxes. Each names its typed children in Structure.cpp; every other child
/// is a plain BOX, of which only the header is kept.
namespace MP4 {

/// The whole file, or its first bytes up to the bound of the parse.
class ROOT : public NestedBox {
  public:
    explicit ROOT(std::uint64_t size);
    void dump() const override;

  protected:
    std::unique_ptr<BOX> allocChild(const BOX& header) override;
};

class MOOV : public NestedBox {
  public:
    static constexpr FourCC code = fourCC("moov");
    using NestedBox::NestedBox;

  protected:
    std::unique_ptr<BOX> allocChild(const BOX& header) override;
};

class TRAK : public NestedBox {
  public:
    static constexpr FourCC code = fourCC("trak");
    using NestedBox::NestedBox;

  protected:
    std::unique_ptr<BOX> allocChild(const BOX& header) override;
};

/// A track under the code that it bears inside the spatial-data uuid box.
class KATR : public TRAK {
  public:
    static constexpr FourCC code = fourCC("KATR");
    using TRAK::TRAK;
};

class MDIA : public NestedBox {
  public:
    static constexpr FourCC code = fourCC("mdia");
    using NestedBox::NestedBox;

  protected:
    std::unique_ptr<BOX> allocChild(const BOX& header) override;
};

class MINF : public NestedBox {
  public:
    static constexpr FourCC code = fourCC("minf");
    using NestedBox::NestedBox;

  protected:
    std::unique_ptr<BOX> allocChild(const BOX& header) override;
};

class STBL : public NestedBox {
  public:
    static constexpr FourCC code = fourCC("stbl");
    using NestedBox::NestedBox;

  protected:
    std::unique_ptr<BOX> allocChild(const BOX& header) override;
};

class UDTA : public NestedBox {
  public:
    static constexpr FourCC code = fourCC("udta");
    using NestedBox::NestedBox;

  protected:
    std::unique_ptr<BOX> allocChild(const BOX& header) override;
};

/// Typed at the top level only; inside the user data it stays a plain box.
class META : public NestedBoxWithVersion {
  public:
    static constexpr FourCC code = fourCC("meta");
    using NestedBoxWithVersion::NestedBoxWithVersion;

  protected:
    std::unique_ptr<BOX> allocChild(const BOX& header) override;
};

/// The sample descriptions of a track; its children are the sample entries.
class STSD : public NestedBoxWithVersion {
  public:
    static constexpr FourCC code = fourCC("stsd");
    using NestedBoxWithVersion::NestedBoxWithVersion;
    void parseBox(BinFile& file, std::uint64_t end) override;

    std::uint32_t entryCount = 0;

  protected:
    std::unique_ptr<BOX> allocChild(const BOX& header) override;
};

/// The sample entry of an H.264 track (ISO/IEC 14496-15).
class AVC1 : public NestedBox {
  public:
    static constexpr FourCC code = fourCC("avc1");
    /// The fixed part of every visual sample entry, behind the box header.
    static constexpr std::uint64_t fixedBytes = 78;

    using NestedBox::NestedBox;
    void parseBox(BinFile& file, std::uint64_t end) override;

  protected:
    std::unique_ptr<BOX> allocChild(const BOX& header) override;
};

/// The sample entry of an uncompressed little-endian sound track.
class SOWT : public NestedBox {
  public:
    static constexpr FourCC code = fourCC("sowt");
    using NestedBox::NestedBox;
    void parseBox(BinFile& file, std::uint64_t end) override;
    void dump() const override;

    std::uint16_t dataReferenceIndex = 0;
    std::uint16_t channelCount = 0;
    std::uint16_t sampleSize = 0;
    std::uint16_t preDefined = 0;
    /// Deliberate: the low half of the 16.16 rate, its fraction, normally 0.
    std::uint16_t sampleRate = 0;
};

}  // namespace MP4
