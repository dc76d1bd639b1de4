#pragma once

#include "mp4/Box.h"
#include "support/ByteArray.h"

/// Boxes that carry metadata: locations and uuid boxes.
namespace MP4 {

/// The location box whose type is the byte 0xA9 and "xyz": an ISO 6709 position text.
class XYZ : public BOX {
  public:
    static constexpr FourCC code = fourCC("\xA9xyz");
    using BOX::BOX;
    void parseBox(BinFile& file, std::uint64_t end) override;
    void dump() const override;

    std::uint16_t textLength = 0;
    /// Packed ISO 639-2 code; "eng" until the payload is read.
    std::uint16_t language = 0x15C7;
    /// At most 512 bytes.
    std::string text;
};

/// A location box of two or three 16.16 numbers behind eight bytes, in file order.
class LOCI : public BOX {
  public:
    static constexpr FourCC code = fourCC("loci");
    using BOX::BOX;
    void parseBox(BinFile& file, std::uint64_t end) override;
    void dump() const override;

    double first = 0;
    double second = 0;
    double third = 0;
    bool hasPosition = false;
    bool hasThird = false;
};

/// A box whose meaning is named by a 16-byte identifier. The camera's spatial-data box holds
/// boxes; every other payload is kept as bytes.
class UUID : public NestedBox {
  public:
    static constexpr FourCC code = fourCC("uuid");
    /// Header and identifier.
    static constexpr std::uint64_t smallest = 24;

    using NestedBox::NestedBox;
    /// A box that is about to be written, with a zeroed identifier.
    explicit UUID(const std::string& payload);

    /// Writes the box at the position of `file`; true when all its bytes arrived.
    bool write(BinFile& file) const;
    /// The same bytes into an array, replacing what it held.
    void to_byteArray(ByteArray& bytes) const;

    bool hasChild() const override;
    void parseBox(BinFile& file, std::uint64_t end) override;
    void dump() const override;

    /// True for a box of at least 24 bytes with this identifier.
    bool is(const UserType& type) const { return size() >= smallest && uuid == type; }

    UserType uuid{};
    std::string payload;

  protected:
    std::unique_ptr<BOX> allocChild(const BOX& header) override;
};

/// The box of an XMP packet.
class XMP : public UUID {
  public:
    static constexpr UserType _UUID = xmpType;
    explicit XMP(const std::string& payload);
};

/// The box of a tilt stream.
class AXIS : public UUID {
  public:
    static constexpr UserType _UUID{0x8E, 0x4E, 0x1F, 0x97, 0x81, 0xF3, 0x4D, 0x59,
                                    0x97, 0xB5, 0xFF, 0x05, 0xA2, 0x7C, 0xDB, 0x7B};
    explicit AXIS(const std::string& payload);
};

}  // namespace MP4
