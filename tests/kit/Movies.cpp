#include "tests/kit/Movies.h"

#include "h264/AvcRecord.h"
#include "h264/SequenceParameterSet.h"
#include "mp4/AVCC.h"

namespace kit {

OpenedMovie::OpenedMovie(const std::string& bytes) {
    (void)movie.attach(folder.write("m.mp4", bytes), MP4::Container::wholeFile);
}

std::string stco(std::uint64_t offset, std::uint32_t announced) {
    return fullBox("stco", 0, u32(announced) + u32(offset));
}

std::string co64(std::uint64_t offset) {
    return fullBox("co64", 0, u32(1) + u64(offset));
}

std::string movieBox(const std::string& offsets, const std::string& more) {
    return box("moov", mvhd(1, 1) + trackOf(tkhd(2, 1), visualEntry("avc1", 2, 1), offsets) + more);
}

std::string mdatFirst(const std::string& media) {
    const std::string head = box("ftyp", "isom") + box("mdat", media);
    return head + movieBox(stco(head.size() - media.size()), box("udta", box("free")));
}

bool insertInto(MP4::Container& movie, const MP4::BOX& anchor, bool replace,
                const std::string& boxes, MP4::Road road) {
    MP4::SplicePlan plan;
    std::string reason;
    if (replace) {
        plan.replace(anchor, boxes);
    } else {
        plan.insertBehind(anchor, boxes);
    }
    return MP4::carryOut(movie, L"test", plan, road, reason);
}

bool unsetBaselineFlag(MP4::Container& movie, bool statesFullRange) {
    const auto* box = movie.first<MP4::AVCC>("moov.trak.mdia.minf.stbl.stsd.avc1.avcC");
    if (box == nullptr) return false;
    H264::AvcRecord record;
    record.parse(box->bytes());
    record.profileCompatibility &= 0xBF;
    for (ByteArray& unit : record.sequenceParameterSets) {
        H264::SequenceParameterSet set;
        set.parse(unit);
        set.constraint_set1_flag = false;
        set.vui_parameters_present_flag = statesFullRange;
        set.vui = {};
        set.vui.video_signal_type_present_flag = statesFullRange;
        set.vui.video_full_range_flag = statesFullRange;
        unit = set.write();
    }
    const ByteArray bytes = record.write();
    return insertInto(
        movie, *box, true,
        kit::box("avcC", {reinterpret_cast<const char*>(bytes.data()), bytes.length()}));
}

}  // namespace kit
