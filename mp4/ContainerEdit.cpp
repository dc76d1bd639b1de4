#include <algorithm>

#include "mp4/AbsoluteOffsets.h"
#include "mp4/ChunkOffsets.h"
#include "mp4/Container.h"
#include "mp4/HeaderBoxes.h"
#include "support/Console.h"
#include "support/ReplacementFile.h"
#include "support/WideText.h"

namespace MP4 {

using WEKU::FileIO;
using WEKU::FileStamp;
using WEKU::Console::out;
using WEKU::Console::warn;
using WEKU::wchar::narrow;

namespace {

bool isEnclosed(const BOX& anchor, const BOX& box) {
    return anchor.start >= box.start && anchor.end() <= box.end();
}

/// The same boxes stand at the same places.
bool isSameTree(const BOX& one, const BOX& other) {
    if (one.type != other.type || one.start != other.start || one.size() != other.size() ||
        one.hasChild() != other.hasChild()) {
        return false;
    }
    if (!one.hasChild()) return true;
    const auto& ours = static_cast<const NestedBox&>(one).children;
    const auto& theirs = static_cast<const NestedBox&>(other).children;
    return std::equal(ours.begin(), ours.end(), theirs.begin(), theirs.end(),
                      [](const auto& a, const auto& b) { return isSameTree(*a, *b); });
}

bool describes(const ROOT& tree, FileIO& opened) {
    Container now;
    BinFile file(opened);
    now.parse(file, tree.size());
    return isSameTree(tree, *now.root);
}

bool refuse(const std::wstring& path, const char* reason) {
    warn("%s %s", narrow(path).c_str(), reason);
    return false;
}

const Container::Copy copyAll = [](BinFile& src, BinFile& dst, unsigned long long& insertAt) {
    insertAt = src.fileLength();
    return src.copyAll(dst, insertAt);
};

const Container::Fix fixNothing = [](Container&, BinFile&) { return true; };

}  // namespace

/// While it lives, the container's own opens hand out the file that the edit has open.
class Container::EditScope {
  public:
    EditScope(Container& edited, FileIO& file) : edited(edited) { edited.underEdit = &file; }
    ~EditScope() { edited.underEdit = nullptr; }
    EditScope(const EditScope&) = delete;
    EditScope& operator=(const EditScope&) = delete;

  private:
    Container& edited;
};

bool Container::isWithinEdit() const {
    return underEdit != nullptr && !refuse(path, "is being edited: no edit within an edit");
}

bool Container::mayEdit(FileIO& opened) {
    // The lock comes first: an edit that ends in between is then seen by what follows.
    const bool locked = opened.lock();
    const FileStamp now = opened.stamp();
    const struct {
        bool holds;
        Failure::Kind kind;
        const char* reason;
    } obstacles[] = {
        {!locked, Failure::busy, "is being edited by another program"},
        {now != stamp, Failure::changed, "has changed since it was read"},
        {!FileIO::stampOf(opened.name()).sameFile(now), Failure::changed,
         "has been replaced since it was opened"},
        {touched && !describes(*root, opened), Failure::changed,
         "has other boxes since it was read"},
        {!parsedWhole, Failure::unreadable, "could not be read in full"},
    };
    for (const auto& [holds, kind, reason] : obstacles) {
        if (!holds) continue;
        failure = {kind, 0};
        return refuse(opened.name(), reason);
    }
    return true;
}

bool Container::conclude(bool done, const FileIO& written) {
    if (done) {
        failure = {};
    } else if (const int error = written.writeError(); error != 0) {
        failure = {Failure::system, error};
    }
    return done;
}

void Container::readAgainIfTouched() {
    if (touched && underEdit == nullptr) attachAgain();
}

bool Container::editInPlace(const Edit& edit) {
    if (isWithinEdit()) return false;
    if (!outputPath.empty()) {
        const auto editCopy = [&](Container&, BinFile& file) { return edit(file); };
        if (!rewrite(copyAll, fixNothing, editCopy)) return false;
        attachAgain();
        return true;
    }
    bool done = false;
    failure = {Failure::refused, 0};
    FileIO writable(path, L'a');
    if (!writable.isOpen()) failure = {Failure::system, writable.openError()};
    const bool isThere = writable.handOut([&](FileIO& opened) {
        if (!mayEdit(opened)) return;
        BinFile file(opened);
        const EditScope scope(*this, opened);
        done = edit(file) && !file.sawShortWrite();
        const FileStamp after = opened.stamp();
        if (done && after.node != 0 && !FileIO::stampOf(path).sameFile(after)) {
            done = refuse(path, "was replaced while it was edited");
        }
        stamp = after;
        conclude(done, opened);
    });
    return isThere && done;
}

bool Container::modifyContainer(const wchar_t* name, const Edit& edit) {
    if (!outputPath.empty()) {
        return modifyContainer(name, copyAll, fixNothing,
                               [&](Container&, BinFile& file) { return edit(file); });
    }
    const bool done = editInPlace([&](BinFile& file) { return edit(file) && file.sync(); });
    if (!done) out(L"Container::modifyContainer::%ls(%ls) failed.\n", name, path.c_str());
    if (underEdit == nullptr) attachAgain();
    return done;
}

bool Container::modifyContainer(const wchar_t* name, const Copy& copy, const Fix& fixFront,
                                const Fix& fixAll) {
    const std::wstring source = path;
    const std::wstring stated = outputPath.empty() ? path + L".tmp.mp4" : outputPath;
    const bool done = rewrite(copy, fixFront, fixAll);
    if (!done) {
        out(L"Container::modifyContainer::%ls(%ls to %ls) failed.\n", name, source.c_str(),
            stated.c_str());
    }
    if (underEdit == nullptr) attachAgain();
    return done;
}

bool Container::fixCopy(FileIO& made, std::uint64_t bound, const Fix& fix) const {
    Container fresh;
    BinFile whole(made);
    fresh.parse(whole, bound);
    if (!fresh.parsedWhole) return refuse(path, "has a copy that could not be read in full");
    BinFile file(made);
    const EditScope scope(fresh, made);
    return fix(fresh, file) && !file.sawShortWrite();
}

bool Container::rewrite(const Copy& copy, const Fix& fixFront, const Fix& fixAll) {
    if (isWithinEdit()) return false;
    const bool elsewhere = !outputPath.empty();
    const std::wstring source = FileIO::resolve(path);
    const std::wstring target = elsewhere ? FileIO::resolve(outputPath) : source;
    // Deliberate: the name that messages state. The file itself has another or none.
    const std::wstring stated = elsewhere ? outputPath : path + L".tmp.mp4";
    bool replaced = false;
    failure = {Failure::refused, 0};
    FileIO readable(source, L'r');
    if (!readable.isOpen()) failure = {Failure::system, readable.openError()};
    readable.handOut([&](FileIO& opened) {
        if (!mayEdit(opened)) return;
        WEKU::ReplacementFile made(target, stated);
        if (!made.isOpen()) {
            failure = {Failure::system, made.openError()};
            return;
        }
        // An output takes the place of what stands there now; another edit may be quicker.
        const FileStamp expected = elsewhere ? made.standing() : stamp;
        const char* reason = !made.mayTakePlace() ? "cannot be written: it is no regular file"
                             : elsewhere && expected.sameFile(stamp)
                                 ? "cannot be written: it is the source itself"
                                 : nullptr;
        if (reason != nullptr) {
            refuse(target, reason);
            return;
        }
        const EditScope scope(*this, opened);
        BinFile src(opened);
        BinFile dst(made);
        if (!elsewhere) src.expectNoReuse();
        unsigned long long insertAt = 0;
        const bool copied = copy(src, dst, insertAt) && !src.sawShortRead() && !dst.sawShortWrite();
        const bool whole =
            copied && fixCopy(made, insertAt, fixFront) && fixCopy(made, wholeFile, fixAll);
        if (whole) made.resemble(opened);
        if (!conclude(whole && made.sync(), made)) return;
        // A movie that was changed or exchanged meanwhile is not the one that was copied.
        if (FileIO::stampOf(source) != stamp) {
            failure = {Failure::changed, 0};
            refuse(source, "has changed while it was copied");
            return;
        }
        replaced = made.takePlace(expected);
        if (!replaced) failure = {Failure::refused, 0};
    });
    if (replaced && elsewhere) {
        path = outputPath;
        outputPath.clear();
    }
    return replaced;
}

bool Container::insertBox(const wchar_t* name, const BOX& anchor, bool replace, const Edit& write,
                          const Fix& fixFront, const Fix& fixAll) {
    const auto copy = [&](BinFile& src, BinFile& dst, unsigned long long& insertAt) {
        // A damaged anchor may claim more than the file; one without a size would swallow the rest.
        if (anchor.end() > src.fileLength() || (anchor.openEnded && !replace)) return false;
        const std::uint64_t front = replace ? anchor.start : anchor.end();
        if (!src.copyAll(dst, front)) return false;
        insertAt = dst.tell();
        if (!write(dst)) return false;
        src.moveTo(anchor.end());
        return src.copyAll(dst, src.fileLength() - anchor.end());
    };
    // A box around the anchor that kept its old size would lose its end, or the new bytes, to its
    // own neighbours.
    const std::uint64_t lengthBefore = stamp.length;
    const auto fixAndLook = [&](Container& fresh, BinFile& file) {
        if (!fixAll(fresh, file)) return false;
        const std::uint64_t added = file.fileLength() - lengthBefore;
        for (const BOX* box = anchor.parent; box != nullptr && box->depth >= 0; box = box->parent) {
            file.limit = UINT64_MAX;
            file.moveTo(box->start + (box->largeSize ? 8 : 0));
            const std::uint64_t size = box->largeSize ? file.take64() : file.take32();
            if (!box->openEnded && size != box->size() + added) {
                return refuse(path, "has a box around the insertion whose size was not set right");
            }
        }
        return true;
    };
    return modifyContainer(name, copy, fixFront, fixAndLook);
}

Container::Fix Container::growEnclosing(const BOX& anchor, std::int64_t delta) {
    // Everything ahead of the insertion stands in the copy where it stood in the source.
    return [&anchor, delta](Container&, BinFile& file) {
        for (const BOX* box = anchor.parent; box != nullptr && box->depth >= 0; box = box->parent) {
            const std::uint64_t newSize = box->size() + static_cast<std::uint64_t>(delta);
            if (!isEnclosed(anchor, *box) || !box->sizeFits(newSize)) return false;
            if (!box->size(file, newSize)) return false;
        }
        return true;
    };
}

Container::Fix Container::shiftBehind(const BOX& anchor, std::int64_t delta) {
    const std::uint64_t from = anchor.end();
    return shiftOffsets(from + static_cast<std::uint64_t>(delta),
                        [from, delta](auto offset) { return offset < from ? 0 : delta; });
}

Container::Fix Container::shiftOffsets(std::uint64_t moved, const Distance& distance) {
    return [moved, distance](Container& copy, BinFile& file) {
        bool movieMoved = false, dataMoved = false;
        for (const auto& box : copy.root->children) {
            if (box->end() <= moved || box->isSpare()) continue;
            (box->type == MOOV::code ? movieMoved : dataMoved) = true;
        }
        if (!movieMoved && !dataMoved) return true;
        if (!AbsoluteOffsets::keptBy(file, dataMoved)) return false;
        return !dataMoved || (ChunkOffsets::tables(copy, ChunkOffsets::movieTracks) > 0 &&
                              ChunkOffsets::shift(copy, file, distance));
    };
}

bool Container::modifyBoxSize(BinFile& file, const BOX& box, std::int64_t delta) const {
    for (const BOX* at = &box; at != nullptr; at = at->parent) {
        at->size(file, at->size() + static_cast<std::uint64_t>(delta));
    }
    return true;
}

bool Container::modifySTCOIndexImpl(const std::string& prefix, BinFile& file,
                                    std::int64_t delta) const {
    const auto moved = [delta](std::uint64_t offset) {
        return offset + static_cast<std::uint64_t>(delta);
    };
    return ChunkOffsets::tables(*this, prefix) > 0 &&
           ChunkOffsets::rewrite(*this, prefix, file, moved);
}

bool Container::modifySTCOIndex(BinFile& file, std::int64_t delta) const {
    return modifySTCOIndexImpl(ChunkOffsets::movieTracks, file, delta);
}

bool Container::modifySpatialTrakSTCOIndex(BinFile& file, std::int64_t delta) const {
    return modifySTCOIndexImpl(ChunkOffsets::spatialTrack, file, delta);
}

}  // namespace MP4
