#include "mp4/AbsoluteOffsets.h"

#include <algorithm>
#include <initializer_list>
#include <string>

#include "mp4/ChunkOffsets.h"
#include "support/Console.h"

namespace MP4::AbsoluteOffsets {
namespace {

constexpr FourCC cannotTell = fourCC("????");

constexpr bool isAmong(FourCC code, std::initializer_list<FourCC> codes) {
    return std::find(codes.begin(), codes.end(), code) != codes.end();
}

bool isFragment(FourCC code) {
    return isAmong(code, {fourCC("moof"), fourCC("mfra"), fourCC("sidx"), fourCC("mvex")});
}

bool isContainer(FourCC code) {
    return isAmong(code, {fourCC("moov"), fourCC("trak"), fourCC("mdia"), fourCC("minf"),
                          fourCC("stbl"), fourCC("udta"), fourCC("meta"), fourCC("meco"),
                          fourCC("uuid"), fourCC("KATR"), fourCC("moof"), fourCC("traf")});
}

class Walk {
  public:
    Walk(BinFile& file, bool dataMoves)
        : file(file),
          dataMoves(dataMoves),
          boxesLeft(ParseBudget::forFile(file.fileLength()).boxes) {}

    /// As inTheWay, among the boxes from `place` to `end`.
    FourCC firstBetween(std::uint64_t place, std::uint64_t end, const std::string& path) {
        constexpr std::size_t deepest = 16 * 5;
        while (end - place >= 8) {
            if (boxesLeft-- == 0 || path.size() > deepest) return cannotTell;
            file.moveTo(place);
            file.limit = end;
            std::uint64_t size = file.take32();
            const FourCC code = file.takeCode();
            if (size == 1) size = file.take64();
            if (size == 0) size = end - place;
            const std::uint64_t content = file.tell();
            if (content - place > size) return 0;
            const std::uint64_t next = place + std::min(size, end - place);
            if (isInTheWay(code, path)) return code;
            if (isContainer(code)) {
                const FourCC found =
                    firstBetween(std::min(next, content + prefixOf(code)), next,
                                 (path.empty() ? path : path + '.') + fourCCText(code));
                if (found != 0) return found;
            }
            place = next;
        }
        return 0;
    }

  private:
    bool isInTheWay(FourCC code, const std::string& parent) const {
        if (isFragment(code)) return dataMoves;
        if (isAmong(code, {fourCC("stco"), fourCC("co64")})) {
            return parent != ChunkOffsets::movieTracks && parent != ChunkOffsets::spatialTrack;
        }
        return isAmong(code, {fourCC("iloc"), fourCC("saio")});
    }

    /// The bytes between the header and the boxes; the file stands behind the header.
    std::uint64_t prefixOf(FourCC code) {
        if (code == fourCC("uuid")) {
            UserType type{};
            file.take(type.data(), type.size());
            return type == spatialDataType ? type.size() : file.fileLength();
        }
        if (code != fourCC("meta")) return 0;
        // QuickTime's has no version and flags.
        file.skip(4);
        return file.takeCode() == fourCC("hdlr") ? 0 : 4;
    }

    BinFile& file;
    const bool dataMoves;
    std::uint64_t boxesLeft;
};

}  // namespace

FourCC inTheWay(BinFile& file, bool dataMoves) {
    BinFile reader(static_cast<WEKU::FileIO&>(file));
    // A length that the system does not tell reads as 0, and nothing would be looked at.
    const WEKU::FileStamp stamp = reader.stamp();
    if (stamp.node == 0 || stamp.length != reader.fileLength()) return cannotTell;
    const FourCC found = Walk(reader, dataMoves).firstBetween(0, reader.fileLength(), {});
    return found == 0 && reader.sawShortRead() ? cannotTell : found;
}

bool keptBy(BinFile& file, bool dataMoves) {
    const FourCC found = inTheWay(file, dataMoves);
    if (found == 0) return true;
    WEKU::Console::warn("the offsets in a box of type '%s' cannot be kept right",
                        fourCCText(found).c_str());
    return false;
}

}  // namespace MP4::AbsoluteOffsets
