#pragma once

#include <array>
#include <vector>

#include "h264/ScalingList.h"
#include "h264/VuiParameters.h"
#include "support/ByteArray.h"

namespace H264 {

/// A sequence parameter set NAL unit (ISO/IEC 14496-10, 7.3.2.1.1 and Annex E), every syntax
/// element under the standard's own name. Values are kept as they are coded; only those that
/// steer the syntax are held to the standard's ranges. Elements that are not coded have the value
/// the standard infers where it names a constant, else 0.
struct SequenceParameterSet {
    /// Replaces all elements by those of a whole NAL unit, emulation prevention bytes included.
    /// Throws a WEKU::Failure where it ends early or holds what the standard forbids; the elements
    /// are then unspecified. What a decoder does not mind is no failure: see `untidy`.
    void parse(const ByteArray& nalUnit);

    /// The NAL unit: for an unchanged set the very bytes that were parsed. Throws a WEKU::Failure
    /// for elements that the syntax cannot carry, and for an untidy set.
    ByteArray write() const;

    /// The elements are good, but the unit that was parsed ends without a stop bit, has ones in
    /// its padding or emulation prevention bytes where none belong. Nobody can tell what its writer
    /// meant by them, so it is not written anew.
    bool untidy = false;

    std::uint8_t nal_ref_idc = 3;

    std::uint8_t profile_idc = 0;
    bool constraint_set0_flag = false;
    bool constraint_set1_flag = false;
    bool constraint_set2_flag = false;
    bool constraint_set3_flag = false;
    bool constraint_set4_flag = false;
    bool constraint_set5_flag = false;
    std::uint8_t reserved_zero_2bits = 0;
    std::uint8_t level_idc = 0;
    std::uint32_t seq_parameter_set_id = 0;

    std::uint32_t chroma_format_idc = 1;
    bool separate_colour_plane_flag = false;
    std::uint32_t bit_depth_luma_minus8 = 0;
    std::uint32_t bit_depth_chroma_minus8 = 0;
    bool qpprime_y_zero_transform_bypass_flag = false;
    bool seq_scaling_matrix_present_flag = false;
    std::array<bool, 12> seq_scaling_list_present_flag{};
    std::array<ScalingList, 12> scaling_list{};  ///< 6 lists of 4x4, then 6 of 8x8.

    std::uint32_t log2_max_frame_num_minus4 = 0;
    std::uint32_t pic_order_cnt_type = 0;
    std::uint32_t log2_max_pic_order_cnt_lsb_minus4 = 0;
    bool delta_pic_order_always_zero_flag = false;
    SignedElement offset_for_non_ref_pic;
    SignedElement offset_for_top_to_bottom_field;
    std::uint32_t num_ref_frames_in_pic_order_cnt_cycle = 0;
    std::vector<SignedElement> offset_for_ref_frame;  ///< As many as the cycle has.

    std::uint32_t max_num_ref_frames = 0;
    bool gaps_in_frame_num_value_allowed_flag = false;
    std::uint32_t pic_width_in_mbs_minus1 = 0;
    std::uint32_t pic_height_in_map_units_minus1 = 0;
    bool frame_mbs_only_flag = true;
    bool mb_adaptive_frame_field_flag = false;
    bool direct_8x8_inference_flag = false;

    bool frame_cropping_flag = false;
    std::uint32_t frame_crop_left_offset = 0;
    std::uint32_t frame_crop_right_offset = 0;
    std::uint32_t frame_crop_top_offset = 0;
    std::uint32_t frame_crop_bottom_offset = 0;

    bool vui_parameters_present_flag = false;
    VuiParameters vui;

    /// What follows the trailing bits (cabac_zero_words, stray zeros), as it stands in the NAL
    /// unit.
    ByteArray surplus;

    bool operator==(const SequenceParameterSet&) const = default;
};

}  // namespace H264
