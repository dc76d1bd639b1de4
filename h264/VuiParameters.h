#pragma once

#include "h264/HrdParameters.h"

namespace H264 {

/// vui_parameters() (ISO/IEC 14496-10, E.1.1). A fresh one states nothing; elements that are not
/// coded have the value the standard infers where it names a constant, else 0.
struct VuiParameters {
    bool aspect_ratio_info_present_flag = false;
    std::uint8_t aspect_ratio_idc = 0;
    std::uint16_t sar_width = 0;
    std::uint16_t sar_height = 0;

    bool overscan_info_present_flag = false;
    bool overscan_appropriate_flag = false;

    bool video_signal_type_present_flag = false;
    std::uint8_t video_format = 5;
    bool video_full_range_flag = false;
    bool colour_description_present_flag = false;
    std::uint8_t colour_primaries = 2;
    std::uint8_t transfer_characteristics = 2;
    std::uint8_t matrix_coefficients = 2;

    bool chroma_loc_info_present_flag = false;
    std::uint32_t chroma_sample_loc_type_top_field = 0;
    std::uint32_t chroma_sample_loc_type_bottom_field = 0;

    bool timing_info_present_flag = false;
    std::uint32_t num_units_in_tick = 0;
    std::uint32_t time_scale = 0;
    bool fixed_frame_rate_flag = false;

    bool nal_hrd_parameters_present_flag = false;
    HrdParameters nal_hrd;
    bool vcl_hrd_parameters_present_flag = false;
    HrdParameters vcl_hrd;
    bool low_delay_hrd_flag = false;
    bool pic_struct_present_flag = false;

    bool bitstream_restriction_flag = false;
    bool motion_vectors_over_pic_boundaries_flag = true;
    std::uint32_t max_bytes_per_pic_denom = 2;
    std::uint32_t max_bits_per_mb_denom = 1;
    std::uint32_t log2_max_mv_length_horizontal = 15;
    std::uint32_t log2_max_mv_length_vertical = 15;
    std::uint32_t max_num_reorder_frames = 0;
    std::uint32_t max_dec_frame_buffering = 0;

    bool operator==(const VuiParameters&) const = default;
};

}  // namespace H264
