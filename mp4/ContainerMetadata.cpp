#include "mp4/Container.h"
#include "mp4/LocationBoxes.h"
#include "mp4/MetadataEdit.h"

/// The edits of the boxes that tell where a movie was made and how it is to be viewed.
namespace MP4 {
namespace {

using Present = MetadataEdit::Present;

}  // namespace

bool Container::appendLocations(const GPSInfo& position) {
    MetadataEdit edit(*this);
    return edit.putPosition(position) && edit.apply(L"appendLocations");
}

bool Container::removeBadLOCI() {
    MetadataEdit edit(*this);
    find("moov.udta.loci", [&](BOX& box) {
        // A complete box is short; of a long one the first bytes show that its texts do not end.
        if (!isCompleteLoci(payload(box, 65536))) edit.remove(box);
        return true;
    });
    return edit.isEmpty() || edit.apply(L"removeBadLOCI");
}

bool Container::appendSphericalVideoXML(const std::string& xml) {
    MetadataEdit edit(*this);
    return edit.putSphericalXml(xml, Present::replace) && edit.apply(L"appendSphericalVideoXML");
}

bool Container::appendLocationAndSphericalVideoXML(const GPSInfo& position,
                                                   const std::string& xml) {
    MetadataEdit edit(*this);
    return edit.putPosition(position) && edit.putSphericalXml(xml, Present::replace) &&
           edit.apply(L"appendLocationAndSphericalVideoXML");
}

bool Container::replaceUdta(const std::string& boxes) {
    MetadataEdit edit(*this);
    edit.replaceUserData(boxes);
    return edit.apply(first("moov.udta") == nullptr ? L"replaceUdta_Append"
                                                    : L"replaceUdta_Replace");
}

}  // namespace MP4
