#include "probe/TreeFacts.h"

#include "mp4/AVCC.h"
#include "mp4/HeaderBoxes.h"
#include "mp4/MetadataBoxes.h"

namespace {

/// Reports show at most 2048 characters of a position, and none has more than four bytes.
constexpr std::uint64_t longestPosition = 8192;

}  // namespace

void TreeFacts::read(const MP4::Container& movie) {
    *this = TreeFacts();
    // Deliberate: only the first track-level uuid box is asked, whatever kind it is of.
    const auto* trackUuid = movie.first<MP4::UUID>(MP4::path::trackUuid);
    if (trackUuid != nullptr && trackUuid->is(MP4::sphericalVideoType)) {
        viewHeading.attach(trackUuid->payload);
    }

    const MP4::BOX* position = movie.first(MP4::path::position);
    if (position != nullptr && position->size() >= 10) {
        gps = movie.payload(*position, longestPosition);
    }

    movie.findEach<MP4::TKHD>("moov.trak.tkhd", [this](const MP4::TKHD& header) {
        if (frameWidth == 0 && header.width != 0 && header.height != 0) {
            frameWidth = header.width;
            frameHeight = header.height;
        }
        return true;
    });

    movie.findEach<MP4::UUID>("uuid", [this](const MP4::UUID& uuid) {
        if (!uuid.is(MP4::spatialDataType)) return true;
        hasSpatialSound = uuid.first("KATR.tkhd") != nullptr;
        return false;
    });
    hasSA3DSound = movie.first("moov.trak.mdia.minf.stbl.stsd.sowt.SA3D") != nullptr;

    const auto* avcC = movie.first<MP4::AVCC>("moov.trak.mdia.minf.stbl.stsd.avc1.avcC");
    if (avcC != nullptr) {
        avcC->get_profile_idc_and_constrained_set1_flag(profile_idc, constrained_set1_flag,
                                                        fullRange);
    }
}
