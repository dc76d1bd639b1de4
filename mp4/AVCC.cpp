#include "mp4/AVCC.h"

#include "h264/AvcFlagPatch.h"
#include "support/Console.h"
#include "support/Failure.h"
#include "support/WideText.h"

namespace MP4 {

void AVCC::parseBox(BinFile& file, std::uint64_t end) {
    limitTo(file, end);
    record = file.takeText(size() - headerLength());
}

ByteArray AVCC::bytes() const {
    return {reinterpret_cast<const unsigned char*>(record.data()), record.size()};
}

bool AVCC::get_profile_idc_and_constrained_set1_flag(unsigned char& profile_idc,
                                                     bool& constrained_set1_flag,
                                                     bool& fullRange) const {
    const wchar_t* stage = L"avcc.parse() failed: %ls\n";
    try {
        H264::AvcRecord parsed;
        parsed.parse(bytes());
        stage = L"avcc.sps_parse() failed: %ls\n";
        const H264::AvcFlags flags = H264::flagsOfFirstSet(parsed);
        profile_idc = flags.profile_idc;
        constrained_set1_flag = flags.constraint_set1_flag;
        fullRange = flags.video_full_range_flag;
        return true;
    } catch (WEKU::Failure message) {
        WEKU::Console::out(stage, WEKU::wchar::mbs2wcs(message).c_str());
        return false;
    }
}

}  // namespace MP4
