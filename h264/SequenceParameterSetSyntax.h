#pragma once

#include <algorithm>

#include "h264/SequenceParameterSet.h"
#include "support/Failure.h"

/// The syntax tables of ISO/IEC 14496-10 for a sequence parameter set, line for line, once for both
/// directions: `code` is a SyntaxReader with elements to fill or a SyntaxWriter with const ones.
namespace H264 {

inline void require(bool condition, WEKU::Failure otherwise) {
    if (!condition) throw otherwise;
}

/// 7.3.2.1.1.1
template <class Code, class List>
void scalingListSyntax(Code& code, List& list, std::size_t sizeOfScalingList) {
    std::int64_t lastScale = 8;
    for (std::size_t j = 0; j < sizeOfScalingList; ++j) {
        code.se(list.delta_scale[j]);
        const std::int64_t delta = list.delta_scale[j].value();
        require(delta >= -128 && delta <= 127, "delta_scale is out of range");
        const std::int64_t nextScale = (lastScale + delta + 256) % 256;
        if (nextScale == 0) break;  // the other scales are the last one or the default list
        lastScale = nextScale;
    }
}

/// E.1.2
template <class Code, class Hrd>
void hrdSyntax(Code& code, Hrd& hrd) {
    code.ue(hrd.cpb_cnt_minus1);
    require(hrd.cpb_cnt_minus1 <= 31, "cpb_cnt_minus1 exceeds 31");
    code.u(4, hrd.bit_rate_scale);
    code.u(4, hrd.cpb_size_scale);
    code.count(hrd.cpb, hrd.cpb_cnt_minus1 + 1);
    for (auto& cpb : hrd.cpb) {
        code.ue(cpb.bit_rate_value_minus1);
        code.ue(cpb.cpb_size_value_minus1);
        code.u(1, cpb.cbr_flag);
    }
    code.u(5, hrd.initial_cpb_removal_delay_length_minus1);
    code.u(5, hrd.cpb_removal_delay_length_minus1);
    code.u(5, hrd.dpb_output_delay_length_minus1);
    code.u(5, hrd.time_offset_length);
}

/// E.1.1
template <class Code, class Vui>
void vuiSyntax(Code& code, Vui& vui) {
    constexpr std::uint8_t Extended_SAR = 255;
    code.u(1, vui.aspect_ratio_info_present_flag);
    if (vui.aspect_ratio_info_present_flag) {
        code.u(8, vui.aspect_ratio_idc);
        if (vui.aspect_ratio_idc == Extended_SAR) {
            code.u(16, vui.sar_width);
            code.u(16, vui.sar_height);
        }
    }
    code.u(1, vui.overscan_info_present_flag);
    if (vui.overscan_info_present_flag) code.u(1, vui.overscan_appropriate_flag);
    code.u(1, vui.video_signal_type_present_flag);
    if (vui.video_signal_type_present_flag) {
        code.u(3, vui.video_format);
        code.u(1, vui.video_full_range_flag);
        code.u(1, vui.colour_description_present_flag);
        if (vui.colour_description_present_flag) {
            code.u(8, vui.colour_primaries);
            code.u(8, vui.transfer_characteristics);
            code.u(8, vui.matrix_coefficients);
        }
    }
    code.u(1, vui.chroma_loc_info_present_flag);
    if (vui.chroma_loc_info_present_flag) {
        code.ue(vui.chroma_sample_loc_type_top_field);
        code.ue(vui.chroma_sample_loc_type_bottom_field);
    }
    code.u(1, vui.timing_info_present_flag);
    if (vui.timing_info_present_flag) {
        code.u(32, vui.num_units_in_tick);
        code.u(32, vui.time_scale);
        code.u(1, vui.fixed_frame_rate_flag);
    }
    code.u(1, vui.nal_hrd_parameters_present_flag);
    if (vui.nal_hrd_parameters_present_flag) hrdSyntax(code, vui.nal_hrd);
    code.u(1, vui.vcl_hrd_parameters_present_flag);
    if (vui.vcl_hrd_parameters_present_flag) hrdSyntax(code, vui.vcl_hrd);
    if (vui.nal_hrd_parameters_present_flag || vui.vcl_hrd_parameters_present_flag) {
        code.u(1, vui.low_delay_hrd_flag);
    }
    code.u(1, vui.pic_struct_present_flag);
    code.u(1, vui.bitstream_restriction_flag);
    if (vui.bitstream_restriction_flag) {
        code.u(1, vui.motion_vectors_over_pic_boundaries_flag);
        code.ue(vui.max_bytes_per_pic_denom);
        code.ue(vui.max_bits_per_mb_denom);
        code.ue(vui.log2_max_mv_length_horizontal);
        code.ue(vui.log2_max_mv_length_vertical);
        code.ue(vui.max_num_reorder_frames);
        code.ue(vui.max_dec_frame_buffering);
    }
}

/// The profiles whose sets state the chroma format, bit depths and scaling lists; 144 was one of
/// them in the standard's first editions.
inline bool statesChromaFormat(std::uint8_t profile_idc) {
    constexpr std::uint8_t profiles[] = {100, 110, 122, 244, 44,  83,  86,
                                         118, 128, 138, 139, 134, 135, 144};
    return std::find(std::begin(profiles), std::end(profiles), profile_idc) != std::end(profiles);
}

/// 7.3.2.1.1
template <class Code, class Sps>
void sequenceParameterSetDataSyntax(Code& code, Sps& sps) {
    code.u(8, sps.profile_idc);
    code.u(1, sps.constraint_set0_flag);
    code.u(1, sps.constraint_set1_flag);
    code.u(1, sps.constraint_set2_flag);
    code.u(1, sps.constraint_set3_flag);
    code.u(1, sps.constraint_set4_flag);
    code.u(1, sps.constraint_set5_flag);
    code.u(2, sps.reserved_zero_2bits);
    code.u(8, sps.level_idc);
    code.ue(sps.seq_parameter_set_id);
    if (statesChromaFormat(sps.profile_idc)) {
        code.ue(sps.chroma_format_idc);
        require(sps.chroma_format_idc <= 3, "chroma_format_idc exceeds 3");
        if (sps.chroma_format_idc == 3) code.u(1, sps.separate_colour_plane_flag);
        code.ue(sps.bit_depth_luma_minus8);
        code.ue(sps.bit_depth_chroma_minus8);
        code.u(1, sps.qpprime_y_zero_transform_bypass_flag);
        code.u(1, sps.seq_scaling_matrix_present_flag);
        if (sps.seq_scaling_matrix_present_flag) {
            const std::size_t lists = sps.chroma_format_idc != 3 ? 8 : 12;
            for (std::size_t i = 0; i < lists; ++i) {
                code.u(1, sps.seq_scaling_list_present_flag[i]);
                if (sps.seq_scaling_list_present_flag[i]) {
                    scalingListSyntax(code, sps.scaling_list[i], i < 6 ? 16 : 64);
                }
            }
        }
    }
    code.ue(sps.log2_max_frame_num_minus4);
    code.ue(sps.pic_order_cnt_type);
    require(sps.pic_order_cnt_type <= 2, "pic_order_cnt_type exceeds 2");
    if (sps.pic_order_cnt_type == 0) {
        code.ue(sps.log2_max_pic_order_cnt_lsb_minus4);
    } else if (sps.pic_order_cnt_type == 1) {
        code.u(1, sps.delta_pic_order_always_zero_flag);
        code.se(sps.offset_for_non_ref_pic);
        code.se(sps.offset_for_top_to_bottom_field);
        code.ue(sps.num_ref_frames_in_pic_order_cnt_cycle);
        require(sps.num_ref_frames_in_pic_order_cnt_cycle <= 255,
                "num_ref_frames_in_pic_order_cnt_cycle exceeds 255");
        code.count(sps.offset_for_ref_frame, sps.num_ref_frames_in_pic_order_cnt_cycle);
        for (auto& offset : sps.offset_for_ref_frame)
            code.se(offset);
    }
    code.ue(sps.max_num_ref_frames);
    code.u(1, sps.gaps_in_frame_num_value_allowed_flag);
    code.ue(sps.pic_width_in_mbs_minus1);
    code.ue(sps.pic_height_in_map_units_minus1);
    code.u(1, sps.frame_mbs_only_flag);
    if (!sps.frame_mbs_only_flag) code.u(1, sps.mb_adaptive_frame_field_flag);
    code.u(1, sps.direct_8x8_inference_flag);
    code.u(1, sps.frame_cropping_flag);
    if (sps.frame_cropping_flag) {
        code.ue(sps.frame_crop_left_offset);
        code.ue(sps.frame_crop_right_offset);
        code.ue(sps.frame_crop_top_offset);
        code.ue(sps.frame_crop_bottom_offset);
    }
    code.u(1, sps.vui_parameters_present_flag);
    if (sps.vui_parameters_present_flag) vuiSyntax(code, sps.vui);
}

/// 7.3.1 ahead of the set. What ends a NAL unit (7.3.2.11) is not here: a reader needs none of it.
template <class Code, class Sps>
void nalUnitSyntax(Code& code, Sps& sps) {
    code.f(1, 0, "forbidden_zero_bit is 1");
    code.u(2, sps.nal_ref_idc);
    code.f(5, 7, "the NAL unit is not a sequence parameter set");
    sequenceParameterSetDataSyntax(code, sps);
}

}  // namespace H264
