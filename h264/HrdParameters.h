#pragma once

#include <cstdint>
#include <vector>

namespace H264 {

/// What hrd_parameters() states for one coded picture buffer.
struct CodedPictureBuffer {
    std::uint32_t bit_rate_value_minus1 = 0;
    std::uint32_t cpb_size_value_minus1 = 0;
    bool cbr_flag = false;

    bool operator==(const CodedPictureBuffer&) const = default;
};

/// hrd_parameters() (ISO/IEC 14496-10, E.1.2); a fresh one is valid and states one buffer.
struct HrdParameters {
    std::uint32_t cpb_cnt_minus1 = 0;
    std::uint8_t bit_rate_scale = 0;
    std::uint8_t cpb_size_scale = 0;
    std::vector<CodedPictureBuffer> cpb{1};  ///< By SchedSelIdx, cpb_cnt_minus1 + 1 of them.
    std::uint8_t initial_cpb_removal_delay_length_minus1 = 23;
    std::uint8_t cpb_removal_delay_length_minus1 = 23;
    std::uint8_t dpb_output_delay_length_minus1 = 23;
    std::uint8_t time_offset_length = 24;

    bool operator==(const HrdParameters&) const = default;
};

}  // namespace H264
