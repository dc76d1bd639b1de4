#include "mp4/Container.h"
#include "mp4/GPSInfo.h"
#include "mp4/HeaderBoxes.h"
#include "mp4/MetadataBoxes.h"
#include "mp4/PlanRoads.h"
#include "mp4/SampleTableBoxes.h"
#include "sensor/ViewHeading.h"
#include "support/Console.h"
#include "tests/kit/BoxBuilder.h"
#include "tools/sample/SampleCamera.h"

namespace sample {
namespace {

using MP4::BOX;
using MP4::Container;

constexpr char position[] = "+35.6895+139.6917+40.0/";

std::string sphericalXml() {
    ViewHeading heading;
    heading.software = std::string(model) + " Ver 2.10.3";
    heading.heading = 90;
    heading.pitch = 0;
    heading.fov = 75;
    return heading.toString();
}

std::string xmpPacket() {
    GPSInfo place;
    place.init();
    place.attachRXYZ(position);
    place.attachCompass(123.4);
    return place.to_XMP_string(model, false, "");
}

/// The boxes of the user data for a movie whose video track shows so many frames.
std::string userData(double seconds, double frames, SensorRates rates) {
    kit::CameraTiff makerNote = cameraTiff();
    makerNote.ifd0.drop({0x014A});
    makerNote.camera.drop({0x0201, 0x0202});
    return kit::box("@mod", model) + kit::box("KMKN", makerNote.tiff()) +
           kit::box("@xyz", position) + sensorBoxes(seconds, frames / seconds, rates);
}

const BOX* lastChild(const BOX* parent) {
    if (parent == nullptr) return nullptr;
    const auto& children = static_cast<const MP4::NestedBox*>(parent)->children;
    return children.empty() ? nullptr : children.back().get();
}

}  // namespace

bool makeMovie(const std::wstring& source, const std::wstring& target, SensorRates rates) {
    Container movie;
    if (!movie.attach(source, Container::wholeFile)) return false;
    const auto* header = movie.first<MP4::MVHD>("moov.mvhd");
    const MP4::STSZ* sizes = movie.videoTrack == nullptr
                                 ? nullptr
                                 : movie.videoTrack->first<MP4::STSZ>("mdia.minf.stbl.stsz");
    if (header == nullptr || sizes == nullptr || !(header->duration > 0)) {
        WEKU::Console::warn("the clip has no video track");
        return false;
    }
    const std::string boxes = userData(header->duration, sizes->sampleCount, rates);
    MP4::SplicePlan plan;
    if (const BOX* last = lastChild(movie.first("moov.udta"))) {
        plan.insertBehind(*last, boxes);
    } else {
        plan.insertBehind(*lastChild(movie.moov), kit::box("udta", boxes));
    }
    plan.insertBehind(*lastChild(movie.videoTrack),
                      kit::uuidBox(MP4::sphericalVideoType, sphericalXml()));
    plan.insertBehind(*lastChild(movie.root.get()), kit::uuidBox(MP4::xmpType, xmpPacket()));
    movie.outputPath = target;
    std::string reason;
    if (MP4::carryOut(movie, L"sample", plan, MP4::Road::rewrite, reason)) return true;
    if (!reason.empty()) WEKU::Console::warn("the clip cannot be changed: %s", reason.c_str());
    return false;
}

}  // namespace sample
