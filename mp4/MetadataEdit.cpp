#include "mp4/MetadataEdit.h"

#include <utility>

#include "mp4/LocationBoxes.h"
#include "mp4/PlanRoads.h"
#include "support/Console.h"
#include "support/WideText.h"

namespace MP4 {
namespace {

std::string bytesOf(const UUID& box) {
    ByteArray bytes;
    box.to_byteArray(bytes);
    return {reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(bytes.length())};
}

/// Where a further child would begin. Behind the last child and not at the box's end: user data
/// may end with a zero word, behind which no reader looks.
std::uint64_t endOfChildren(const NestedBox& box) {
    return box.children.empty() ? box.start + box.headerLength() : box.children.back()->end();
}

std::vector<const BOX*> childrenOf(const NestedBox* parent, FourCC type) {
    std::vector<const BOX*> found;
    if (parent == nullptr) return found;
    for (const auto& child : parent->children) {
        if (child->type == type) found.push_back(child.get());
    }
    return found;
}

std::vector<const BOX*> uuidsOf(const NestedBox* parent, const UserType& type) {
    std::vector<const BOX*> found = childrenOf(parent, UUID::code);
    std::erase_if(found, [&](const BOX* box) { return !static_cast<const UUID*>(box)->is(type); });
    return found;
}

}  // namespace

const UUID* sphericalVideoBox(const Container& movie) {
    const auto found = uuidsOf(movie.videoTrack, sphericalVideoType);
    return found.empty() ? nullptr : static_cast<const UUID*>(found.front());
}

void MetadataEdit::remove(const BOX& box) {
    replaced[&box];
}

bool MetadataEdit::isAlready(const std::vector<const BOX*>& old, const std::string& bytes) const {
    constexpr std::size_t header = 8;
    return old.size() == 1 && old.front()->size() == bytes.size() &&
           movie.payload(*old.front()) == bytes.substr(header);
}

void MetadataEdit::replaceFirst(const std::vector<const BOX*>& old, const std::string& bytes) {
    for (const BOX* box : old)
        remove(*box);
    replaced[old.front()] = bytes;
}

bool MetadataEdit::putUserData(FourCC type, const std::string& boxes, Present present) {
    const auto old = childrenOf(movie.first<NestedBox>("moov.udta"), type);
    if (old.empty()) {
        userData += boxes;
        return true;
    }
    if (present == Present::keep) return false;
    if (!isAlready(old, boxes)) replaceFirst(old, boxes);
    return true;
}

void MetadataEdit::replaceUserData(const std::string& boxes) {
    if (const BOX* old = movie.first("moov.udta")) {
        replaced[old] = boxOf(UDTA::code, boxes);
    } else {
        userData = boxes;
    }
}

bool MetadataEdit::putSphericalXml(const std::string& xml, Present present) {
    if (movie.videoTrack == nullptr) return false;
    UUID box(xml);
    box.uuid = sphericalVideoType;
    const auto old = uuidsOf(movie.videoTrack, sphericalVideoType);
    if (!old.empty() && present == Present::keep) return false;
    if (old.empty()) {
        inTrack += bytesOf(box);
    } else if (!isAlready(old, bytesOf(box))) {
        replaceFirst(old, bytesOf(box));
    }
    return true;
}

bool MetadataEdit::putTopLevel(const UUID& box, Present present) {
    const auto old = uuidsOf(movie.root.get(), box.uuid);
    if (!old.empty() && present == Present::keep) return false;
    if (isAlready(old, bytesOf(box))) return true;
    for (const BOX* each : old)
        remove(*each);
    fileEnd += bytesOf(box);
    return true;
}

void MetadataEdit::addTail(Tail media, Tail boxes) {
    mediaTail = std::move(media);
    boxTail = std::move(boxes);
}

std::size_t MetadataEdit::count() const {
    return replaced.size() + userData.size() + inTrack.size() + fileEnd.size();
}

bool MetadataEdit::isEmpty() const {
    return count() == 0 && !mediaTail && !boxTail && !lastFix;
}

bool MetadataEdit::apply(const wchar_t* name) {
    SplicePlan plan;
    const std::uint64_t fileLength = movie.root->size();
    const auto* last = movie.root->children.empty() ? nullptr : movie.root->children.back().get();
    const bool appends = !fileEnd.empty() || mediaTail || boxTail;
    bool sound =
        movie.moov != nullptr && (!appends || (last->end() == fileLength && !last->openEnded));
    for (const auto& [box, bytes] : replaced)
        plan.replace(*box->parent, box->start, box->size(), bytes);
    if (sound && !userData.empty()) {
        const auto* udta = movie.first<NestedBox>("moov.udta");
        const auto& moov = static_cast<const NestedBox&>(*movie.moov);
        if (udta != nullptr) {
            plan.replace(*udta, endOfChildren(*udta), 0, userData);
        } else {
            plan.replace(moov, endOfChildren(moov), 0, boxOf(UDTA::code, userData));
        }
    }
    if (!inTrack.empty()) {
        // Behind the track's header: its end is also where the next box has its size changed.
        const BOX* header = movie.videoTrack->first("tkhd");
        plan.replace(*movie.videoTrack, header->end(), 0, inTrack);
    }
    if (sound && !mediaTail && !boxTail && !lastFix) {
        if (!fileEnd.empty()) plan.insertBehind(*last, fileEnd);
        std::string reason;
        if (carryOut(movie, name, plan, Road::rewrite, reason)) return true;
        if (!reason.empty()) {
            WEKU::Console::warn("%s cannot be changed: %s", WEKU::wchar::narrow(movie.path).c_str(),
                                reason.c_str());
        }
        return false;
    }
    if (!plan.finish(fileLength) || !sound) {
        WEKU::Console::warn("%s cannot be changed: %s", WEKU::wchar::narrow(movie.path).c_str(),
                            sound ? plan.refusal() : "its boxes leave no room");
        sound = false;
    }
    return movie.modifyContainer(
        name,
        [&](BinFile& src, BinFile& dst, unsigned long long& insertAt) {
            return sound && plan.copy()(src, dst, insertAt) &&
                   (fileEnd.empty() || dst.put(fileEnd)) && (!mediaTail || mediaTail(dst));
        },
        [](Container&, BinFile&) { return true; },
        [&](Container& copy, BinFile& file) {
            if (!plan.fixOffsets()(copy, file)) return false;
            file.moveTo(file.fileLength());
            return (!boxTail || boxTail(file)) && (!lastFix || lastFix(copy, file));
        });
}

}  // namespace MP4
