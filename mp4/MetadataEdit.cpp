#include "mp4/MetadataEdit.h"

#include <algorithm>
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

template <class Kind>
void putInto(std::vector<std::pair<Kind, std::string>>& boxes, const Kind& kind,
             const std::string& bytes) {
    for (auto& [known, old] : boxes) {
        if (known != kind) continue;
        old = bytes;
        return;
    }
    boxes.emplace_back(kind, bytes);
}

template <class Kind>
std::string allOf(const std::vector<std::pair<Kind, std::string>>& boxes) {
    std::string all;
    for (const auto& [kind, bytes] : boxes)
        all += bytes;
    return all;
}

}  // namespace

const UUID* sphericalVideoBox(const Container& movie) {
    const auto found = uuidsOf(movie.videoTrack, sphericalVideoType);
    return found.empty() ? nullptr : static_cast<const UUID*>(found.front());
}

void MetadataEdit::remove(const BOX& box) {
    replaced[&box].clear();
}

bool MetadataEdit::isAlready(const std::vector<const BOX*>& old, const std::string& bytes) const {
    constexpr std::size_t header = 8;
    return old.size() == 1 && old.front()->size() == bytes.size() &&
           movie.payload(*old.front()) == bytes.substr(header);
}

void MetadataEdit::replaceFirst(const std::vector<const BOX*>& old, const std::string& bytes) {
    const bool stays = isAlready(old, bytes);
    for (const BOX* box : old) {
        replaced.erase(box);
        if (!stays) remove(*box);
    }
    if (!stays) replaced[old.front()] = bytes;
}

bool MetadataEdit::putUserData(FourCC type, const std::string& boxes, Present present) {
    const auto old = childrenOf(movie.first<NestedBox>("moov.udta"), type);
    if (!old.empty() && present == Present::keep) return false;
    if (old.empty()) {
        putInto(userData, type, boxes);
    } else {
        replaceFirst(old, boxes);
    }
    return true;
}

void MetadataEdit::replaceUserData(const std::string& boxes) {
    if (const BOX* old = movie.first("moov.udta")) {
        replaced[old] = boxOf(UDTA::code, boxes);
    } else {
        putInto(userData, FourCC{}, boxes);
    }
}

bool MetadataEdit::putPosition(const GPSInfo& position) {
    const std::string text = xyzBox(position);
    if (text.empty()) return false;
    (void)putUserData(XYZ::code, text, Present::replace);
    (void)putUserData(LOCI::code, lociBox(position), Present::replace);
    if (const BOX* own = movie.first(path::position)) {
        (void)putUserData(own->type, cameraPositionBox(position), Present::replace);
    }
    return true;
}

bool MetadataEdit::putSphericalXml(const std::string& xml, Present present) {
    if (movie.videoTrack == nullptr) return false;
    UUID box(xml);
    box.uuid = sphericalVideoType;
    const auto old = uuidsOf(movie.videoTrack, sphericalVideoType);
    if (!old.empty() && present == Present::keep) return false;
    if (old.empty()) {
        inTrack = bytesOf(box);
    } else {
        replaceFirst(old, bytesOf(box));
    }
    return true;
}

bool MetadataEdit::putTopLevel(const UUID& box, Present present) {
    const auto old = uuidsOf(movie.root.get(), box.uuid);
    if (!old.empty() && present == Present::keep) return false;
    const bool stays = isAlready(old, bytesOf(box));
    for (const BOX* each : old) {
        replaced.erase(each);
        if (!stays) remove(*each);
    }
    putInto(fileEnd, box.uuid, stays ? std::string() : bytesOf(box));
    return true;
}

void MetadataEdit::addTail(Tail media, Tail boxes) {
    mediaTail = std::move(media);
    boxTail = std::move(boxes);
}

std::size_t MetadataEdit::count() const {
    const auto isPut = [](const auto& put) { return !put.second.empty(); };
    return replaced.size() + (inTrack.empty() ? 0 : 1) +
           static_cast<std::size_t>(std::count_if(userData.begin(), userData.end(), isPut)) +
           static_cast<std::size_t>(std::count_if(fileEnd.begin(), fileEnd.end(), isPut));
}

bool MetadataEdit::isEmpty() const {
    return count() == 0 && !mediaTail && !boxTail;
}

void MetadataEdit::addTo(SplicePlan& plan) const {
    for (const auto& [box, bytes] : replaced)
        plan.replace(*box, bytes);
    if (const std::string boxes = allOf(userData); !boxes.empty()) {
        const auto* udta = movie.first<NestedBox>("moov.udta");
        const auto& moov = static_cast<const NestedBox&>(*movie.moov);
        if (udta != nullptr) {
            plan.replace(*udta, endOfChildren(*udta), 0, boxes);
        } else {
            plan.replace(moov, endOfChildren(moov), 0, boxOf(UDTA::code, boxes));
        }
    }
    if (!inTrack.empty()) {
        // Behind the track's header: its end is also where the next box has its size changed.
        const BOX* header = movie.videoTrack->first("tkhd");
        plan.replace(*movie.videoTrack, header->end(), 0, inTrack);
    }
    const std::string boxes = allOf(fileEnd);
    if (!boxes.empty()) plan.insertBehind(*movie.root->children.back(), boxes);
}

bool MetadataEdit::apply(const wchar_t* name) {
    const auto refuse = [&](const std::string& reason) {
        WEKU::Console::warn("%s cannot be changed: %s", WEKU::wchar::narrow(movie.path).c_str(),
                            reason.c_str());
        return false;
    };
    if (movie.moov == nullptr) return refuse("it has no movie box");
    SplicePlan plan;
    addTo(plan);
    if (!mediaTail && !boxTail) {
        std::string reason;
        const bool done = carryOut(movie, name, plan, Road::cheapest, reason);
        return done || (!reason.empty() && refuse(reason));
    }
    const BOX& last = *movie.root->children.back();
    if (last.openEnded || last.end() != movie.root->size())
        return refuse("its last box has no end");
    if (!plan.finish(movie.root->size())) return refuse(plan.refusal());
    return movie.modifyContainer(
        name,
        [&](BinFile& src, BinFile& dst, unsigned long long& insertAt) {
            return plan.copy()(src, dst, insertAt) && (!mediaTail || mediaTail(dst));
        },
        [](Container&, BinFile&) { return true; },
        [&](Container& copy, BinFile& file) {
            if (!plan.fixOffsets()(copy, file)) return false;
            file.moveTo(file.fileLength());
            return !boxTail || boxTail(file);
        });
}

}  // namespace MP4
