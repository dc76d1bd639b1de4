#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "mp4/BinFile.h"
#include "mp4/FourCC.h"

/// The box model of the ISO base media file format (ISO/IEC 14496-12): an index of offsets into a
/// file, with the few fields that the system reads decoded. Boxes are never valid longer than the
/// tree they stand in, and the tree is remade whenever the file is edited.
namespace MP4 {

class NestedBox;

/// One box: where it stands, how long it is, what it is called.
class BOX {
  public:
    /// Reads a header at the position of `file`. A type of 0 marks the end of the sequence.
    BOX(BinFile& file, std::int32_t depth, BOX* parent);
    /// Describes a box that is about to be written.
    BOX(std::uint64_t start, std::uint64_t size, FourCC type, BOX* parent);
    /// The header of another box under a parent of its own.
    BOX(const BOX& header, BOX* parent);
    virtual ~BOX() = default;
    BOX(const BOX&) = delete;
    BOX& operator=(const BOX&) = delete;

    /// True when `find` may look below this box.
    virtual bool hasChild() const { return false; }
    /// Prints one line, and one a box below it.
    virtual void dump() const;
    /// Reads what the class keeps of the payload; the position stands behind the header. `end` is
    /// the bound of the whole parse. Nothing fails: what cannot be read is 0 or missing.
    virtual void parseBox(BinFile& file, std::uint64_t end);

    /// Total size in bytes, header included; never compared with the parent's or the file's.
    std::uint64_t size() const { return totalSize; }
    /// Rewrites the size field of this box's header in the file, in the width it has (a size
    /// beyond 32 bits loses its upper half: ask `sizeFits` first). The position of `file` and this
    /// object stay as they are. False when the write failed.
    bool size(BinFile& file, std::uint64_t newSize) const;
    /// True when the header's size field can hold `newSize`.
    bool sizeFits(std::uint64_t newSize) const { return largeSize || newSize <= UINT32_MAX; }
    /// Copies the whole box, header included, to the position of `dst`; false after a short read
    /// or write.
    bool copyTo(WEKU::FileIO& src, WEKU::FileIO& dst) const;

    /// Holds nothing: its bytes are there for edits.
    bool isSpare() const { return type == fourCC("free") || type == fourCC("skip"); }
    /// Holds what chunk offsets lead to, or a fragment of it.
    bool isMedia() const {
        return type == fourCC("mdat") || type == fourCC("moof") || type == fourCC("imda");
    }
    /// 8, or 16 with a 64-bit size.
    std::uint64_t headerLength() const { return largeSize ? 16 : 8; }
    /// First byte behind the box; all ones when that passes 64 bits.
    std::uint64_t end() const;
    /// The nearest end among the file, this box and those around it: a damaged box may claim the
    /// bytes of others, which an edit must leave alone.
    std::uint64_t innermostEnd(std::uint64_t fileLength) const;

    /// The type as text of at most four characters.
    std::string name() const { return fourCCText(type); }
    /// "'name': start=... bytes=...", cut at 63 characters.
    std::wstring basicTag() const;

    /// Nesting level: -1 for the root, 0 for the boxes of the file.
    std::int32_t depth;
    FourCC type;
    /// File offset of the header's first byte.
    std::uint64_t start;
    /// The header uses the 64-bit form of the size.
    bool largeSize = false;
    /// The header leaves the size open: bytes appended to the file become part of this box.
    bool openEnded = false;
    BOX* parent;

  protected:
    /// Sets the file's limit to the nearer of this box's end and `end`.
    void limitTo(BinFile& file, std::uint64_t end) const;
    /// The blanks ahead of a dump line.
    std::wstring indentation() const;

    std::uint64_t totalSize;
};

/// A box whose payload is a sequence of boxes.
class NestedBox : public BOX {
  public:
    /// Returns true to ask for the next match, false to stop.
    using Visitor = std::function<bool(BOX&)>;

    using BOX::BOX;

    bool hasChild() const override { return true; }
    void dump() const override;
    /// Reads the children that start at the file's position.
    void parseBox(BinFile& file, std::uint64_t end) override;

    /// Calls `visit` on every box below this one that matches `path`, four-character codes joined
    /// by ".". Deliberate: a false ends only the level of the match; boxes under another parent may
    /// follow. Each level calls a copy of the visitor of its own.
    void find(const char* path, Visitor visit) const;
    /// Runs `action` once if no box matches `path`.
    void if_not_found(const char* path, const std::function<void()>& action) const;

    /// The same for the matches that are of the class, as what they are.
    template <class T, class Visit>
    void findEach(const char* path, Visit&& visit) const {
        find(path, [&visit](BOX& box) {
            T* const found = dynamic_cast<T*>(&box);
            return found == nullptr || visit(*found);
        });
    }

    /// The first match in the whole tree below, or null; null as well when it is not of the class.
    template <class T = BOX>
    T* first(const char* path) const {
        BOX* found = nullptr;
        find(path, [&found](BOX& box) {
            if (found == nullptr) found = &box;
            return false;
        });
        return dynamic_cast<T*>(found);
    }

    std::vector<std::unique_ptr<BOX>> children;

  protected:
    /// Makes the box that a child header stands for.
    virtual std::unique_ptr<BOX> allocChild(const BOX& header);
    void dumpChildren() const;
};

/// A full box (version and flags) whose payload behind those four bytes is a sequence of boxes.
class NestedBoxWithVersion : public NestedBox {
  public:
    using NestedBox::NestedBox;
    void parseBox(BinFile& file, std::uint64_t end) override;

    /// The version byte and the 24-bit flags, in file order.
    std::array<unsigned char, 4> versionAndFlags{};
};

/// A leaf that begins with a version byte and three flag bytes.
class FullBox : public BOX {
  public:
    using BOX::BOX;

    std::uint8_t version = 0;
    std::array<unsigned char, 3> flags{};

  protected:
    /// Sets the limit and reads version and flags.
    void parsePrefix(BinFile& file, std::uint64_t end);
};

}  // namespace MP4
