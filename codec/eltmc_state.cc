#include "codec/eltmc_state.h"

#include "codec/codec_entries.h"
#include "codec/codec_row.h"

static constexpr tlvu_row intf_up_req_rows[] = {codec_value(2, 4, 0),
                                                codec_value(22, 4, 4),
                                                codec_value(23, 4, 8),
                                                codec_value(24, 4, 12),
                                                codec_value(25, 4, 16),
                                                codec_value(32, 2, 20),
                                                codec_nested(33, 516, 24, &bmp4096_tbl),
                                                codec_value(37, 1, 540),
                                                codec_array(38, 4, 544, 32),
                                                codec_value(76, 4, 576),
                                                codec_value(16, 1, 580),
                                                codec_value(64, 1, 581),
                                                codec_value(83, 1, 582),
                                                codec_value(92, 2, 584),
                                                codec_nested(93, 2, 586, &eltmc_intf_type_tbl),
                                                codec_closing};
constexpr tlvu_tbl eltmc_intf_up_req_tbl = {588, "eltmc_intf_up_req_t", eltmc_intf_up_req_default_init, 0,
                                            intf_up_req_rows};
static_assert([] {
    using s = eltmc_intf_up_req;
    return codec_layout_is<s>(eltmc_intf_up_req_tbl,
                              {offsetof(s, if_index), offsetof(s, tag22), offsetof(s, tag23),
                               offsetof(s, tag24), offsetof(s, tag25), offsetof(s, tag32), offsetof(s, tag33),
                               offsetof(s, tag37), offsetof(s, tag38), offsetof(s, tag76), offsetof(s, tag16),
                               offsetof(s, tag64), offsetof(s, tag83), offsetof(s, tag92),
                               offsetof(s, tag93)});
}());

static constexpr tlvu_row intf_up_req_msg_rows[] = {
    codec_value(6, 4, 0), codec_list(8, 588, 4, eltmc_intf_up_req_msg_info_get_sz, &eltmc_intf_up_req_tbl),
    codec_closing};
constexpr tlvu_tbl eltmc_intf_up_req_msg_tbl = {4, "eltmc_intf_up_req_msg_t",
                                                eltmc_intf_up_req_msg_default_init, 0, intf_up_req_msg_rows};
static_assert(codec_members_are<eltmc_intf_up_req>(eltmc_intf_up_req_msg_tbl));

static constexpr tlvu_row intf_up_rsp_rows[] = {codec_value(2, 4, 0), codec_value(15, 4, 4), codec_closing};
constexpr tlvu_tbl eltmc_intf_up_rsp_tbl = {8, "eltmc_intf_up_rsp_t", eltmc_intf_up_rsp_default_init, 0,
                                            intf_up_rsp_rows};
static_assert([] {
    using s = eltmc_intf_up_rsp;
    return codec_layout_is<s>(eltmc_intf_up_rsp_tbl, {offsetof(s, if_index), offsetof(s, tag15)});
}());

static constexpr tlvu_row intf_up_rsp_msg_rows[] = {
    codec_value(6, 4, 0), codec_list(8, 8, 4, eltmc_intf_up_rsp_msg_info_get_sz, &eltmc_intf_up_rsp_tbl),
    codec_closing};
constexpr tlvu_tbl eltmc_intf_up_rsp_msg_tbl = {4, "eltmc_intf_up_rsp_msg_t",
                                                eltmc_intf_up_rsp_msg_default_init, 0, intf_up_rsp_msg_rows};
static_assert(codec_members_are<eltmc_intf_up_rsp>(eltmc_intf_up_rsp_msg_tbl));

static constexpr tlvu_row intf_down_req_rows[] = {codec_value(2, 4, 0),
                                                  codec_value(63, 1, 4),
                                                  codec_nested(33, 516, 8, &bmp4096_tbl),
                                                  codec_value(76, 4, 524),
                                                  codec_value(16, 1, 528),
                                                  codec_value(64, 1, 529),
                                                  codec_value(83, 1, 530),
                                                  codec_value(92, 2, 532),
                                                  codec_nested(93, 2, 534, &eltmc_intf_type_tbl),
                                                  codec_closing};
constexpr tlvu_tbl eltmc_intf_down_req_tbl = {536, "eltmc_intf_down_req_t", eltmc_intf_down_req_default_init,
                                              0, intf_down_req_rows};
static_assert([] {
    using s = eltmc_intf_down_req;
    return codec_layout_is<s>(eltmc_intf_down_req_tbl,
                              {offsetof(s, if_index), offsetof(s, tag63), offsetof(s, tag33),
                               offsetof(s, tag76), offsetof(s, tag16), offsetof(s, tag64), offsetof(s, tag83),
                               offsetof(s, tag92), offsetof(s, tag93)});
}());

static constexpr tlvu_row intf_down_req_msg_rows[] = {
    codec_value(6, 4, 0),
    codec_list(8, 536, 4, eltmc_intf_down_req_msg_info_get_sz, &eltmc_intf_down_req_tbl), codec_closing};
constexpr tlvu_tbl eltmc_intf_down_req_msg_tbl = {
    4, "eltmc_intf_down_req_msg_t", eltmc_intf_down_req_msg_default_init, 0, intf_down_req_msg_rows};
static_assert(codec_members_are<eltmc_intf_down_req>(eltmc_intf_down_req_msg_tbl));

static constexpr tlvu_row intf_down_rsp_rows[] = {codec_value(2, 4, 0), codec_value(15, 4, 4), codec_closing};
constexpr tlvu_tbl eltmc_intf_down_rsp_tbl = {8, "eltmc_intf_down_rsp_t", eltmc_intf_down_rsp_default_init, 0,
                                              intf_down_rsp_rows};
static_assert([] {
    using s = eltmc_intf_down_rsp;
    return codec_layout_is<s>(eltmc_intf_down_rsp_tbl, {offsetof(s, if_index), offsetof(s, tag15)});
}());

static constexpr tlvu_row intf_down_rsp_msg_rows[] = {
    codec_value(6, 4, 0), codec_list(8, 8, 4, eltmc_intf_down_rsp_msg_info_get_sz, &eltmc_intf_down_rsp_tbl),
    codec_closing};
constexpr tlvu_tbl eltmc_intf_down_rsp_msg_tbl = {
    4, "eltmc_intf_down_rsp_msg_t", eltmc_intf_down_rsp_msg_default_init, 0, intf_down_rsp_msg_rows};
static_assert(codec_members_are<eltmc_intf_down_rsp>(eltmc_intf_down_rsp_msg_tbl));

static constexpr tlvu_row intf_update_req_rows[] = {
    codec_value(2, 4, 0),    codec_value(56, 1, 4),
    codec_value(16, 4, 8),   codec_nested(33, 516, 12, &bmp4096_tbl),
    codec_value(76, 4, 528), codec_closing};
constexpr tlvu_tbl eltmc_intf_update_req_tbl = {532, "eltmc_intf_update_req_t",
                                                eltmc_intf_update_req_default_init, 0, intf_update_req_rows};
static_assert([] {
    using s = eltmc_intf_update_req;
    return codec_layout_is<s>(eltmc_intf_update_req_tbl,
                              {offsetof(s, if_index), offsetof(s, tag56), offsetof(s, tag16),
                               offsetof(s, tag33), offsetof(s, tag76)});
}());

static constexpr tlvu_row intf_update_req_msg_rows[] = {
    codec_value(6, 4, 0),
    codec_list(8, 532, 4, eltmc_intf_update_req_msg_info_get_sz, &eltmc_intf_update_req_tbl), codec_closing};
constexpr tlvu_tbl eltmc_intf_update_req_msg_tbl = {
    4, "eltmc_intf_update_req_msg_t", eltmc_intf_update_req_msg_default_init, 0, intf_update_req_msg_rows};
static_assert(codec_members_are<eltmc_intf_update_req>(eltmc_intf_update_req_msg_tbl));

static constexpr tlvu_row intf_update_rsp_rows[] = {codec_value(2, 4, 0), codec_value(15, 4, 4),
                                                    codec_closing};
constexpr tlvu_tbl eltmc_intf_update_rsp_tbl = {8, "eltmc_intf_update_rsp_t",
                                                eltmc_intf_update_rsp_default_init, 0, intf_update_rsp_rows};
static_assert([] {
    using s = eltmc_intf_update_rsp;
    return codec_layout_is<s>(eltmc_intf_update_rsp_tbl, {offsetof(s, if_index), offsetof(s, tag15)});
}());

static constexpr tlvu_row intf_update_rsp_msg_rows[] = {
    codec_value(6, 4, 0),
    codec_list(8, 8, 4, eltmc_intf_update_rsp_msg_info_get_sz, &eltmc_intf_update_rsp_tbl), codec_closing};
constexpr tlvu_tbl eltmc_intf_update_rsp_msg_tbl = {
    4, "eltmc_intf_update_rsp_msg_t", eltmc_intf_update_rsp_msg_default_init, 0, intf_update_rsp_msg_rows};
static_assert(codec_members_are<eltmc_intf_update_rsp>(eltmc_intf_update_rsp_msg_tbl));

static constexpr tlvu_row pc_mem_upd_req_rows[] = {codec_value(2, 4, 0),
                                                   codec_value(57, 4, 4),
                                                   codec_value(22, 4, 8),
                                                   codec_value(23, 4, 12),
                                                   codec_value(24, 4, 16),
                                                   codec_value(25, 4, 20),
                                                   codec_value(10, 4, 24),
                                                   codec_value(16, 1, 28),
                                                   codec_value(64, 1, 29),
                                                   codec_value(32, 2, 30),
                                                   codec_nested(33, 516, 32, &bmp4096_tbl),
                                                   codec_value(83, 1, 548),
                                                   codec_closing};
constexpr tlvu_tbl eltmc_pc_mem_upd_req_tbl = {552, "eltmc_pc_mem_upd_req_t",
                                               eltmc_pc_mem_upd_req_default_init, 0, pc_mem_upd_req_rows};
static_assert([] {
    using s = eltmc_pc_mem_upd_req;
    return codec_layout_is<s>(eltmc_pc_mem_upd_req_tbl,
                              {offsetof(s, if_index), offsetof(s, tag57), offsetof(s, tag22),
                               offsetof(s, tag23), offsetof(s, tag24), offsetof(s, tag25), offsetof(s, tag10),
                               offsetof(s, tag16), offsetof(s, tag64), offsetof(s, tag32), offsetof(s, tag33),
                               offsetof(s, tag83)});
}());

static constexpr tlvu_row pc_mem_upd_req_msg_rows[] = {
    codec_value(6, 4, 0),
    codec_list(8, 552, 4, eltmc_pc_mem_upd_req_msg_info_get_sz, &eltmc_pc_mem_upd_req_tbl), codec_closing};
constexpr tlvu_tbl eltmc_pc_mem_upd_req_msg_tbl = {
    4, "eltmc_pc_mem_upd_req_msg_t", eltmc_pc_mem_upd_req_msg_default_init, 0, pc_mem_upd_req_msg_rows};
static_assert(codec_members_are<eltmc_pc_mem_upd_req>(eltmc_pc_mem_upd_req_msg_tbl));

static constexpr tlvu_row pc_mem_upd_rsp_rows[] = {codec_value(2, 4, 0), codec_value(57, 4, 4),
                                                   codec_value(15, 4, 8), codec_closing};
constexpr tlvu_tbl eltmc_pc_mem_upd_rsp_tbl = {12, "eltmc_pc_mem_upd_rsp_t",
                                               eltmc_pc_mem_upd_rsp_default_init, 0, pc_mem_upd_rsp_rows};
static_assert([] {
    using s = eltmc_pc_mem_upd_rsp;
    return codec_layout_is<s>(eltmc_pc_mem_upd_rsp_tbl,
                              {offsetof(s, if_index), offsetof(s, tag57), offsetof(s, tag15)});
}());

static constexpr tlvu_row pc_mem_upd_rsp_msg_rows[] = {
    codec_value(6, 4, 0),
    codec_list(8, 12, 4, eltmc_pc_mem_upd_rsp_msg_info_get_sz, &eltmc_pc_mem_upd_rsp_tbl), codec_closing};
constexpr tlvu_tbl eltmc_pc_mem_upd_rsp_msg_tbl = {
    4, "eltmc_pc_mem_upd_rsp_msg_t", eltmc_pc_mem_upd_rsp_msg_default_init, 0, pc_mem_upd_rsp_msg_rows};
static_assert(codec_members_are<eltmc_pc_mem_upd_rsp>(eltmc_pc_mem_upd_rsp_msg_tbl));

static constexpr tlvu_row logi_intf_state_req_rows[] = {
    codec_value(2, 4, 0),    codec_value(56, 1, 4),  codec_value(24, 4, 9),
    codec_value(25, 4, 13),  codec_value(36, 4, 5),  codec_value(81, 1, 17),
    codec_value(104, 4, 18), codec_value(16, 4, 22), codec_closing};
constexpr tlvu_tbl eltmc_logi_intf_state_req_tbl = {
    26, "eltmc_logi_intf_state_req_t", eltmc_logi_intf_state_req_default_init, 0, logi_intf_state_req_rows};
static_assert([] {
    using s = eltmc_logi_intf_state_req;
    return codec_layout_is<s>(eltmc_logi_intf_state_req_tbl,
                              {offsetof(s, if_index), offsetof(s, tag56), offsetof(s, tag24),
                               offsetof(s, tag25), offsetof(s, tag36), offsetof(s, tag81),
                               offsetof(s, tag104), offsetof(s, tag16)});
}());

static constexpr tlvu_row logi_intf_state_req_msg_rows[] = {
    codec_value(6, 4, 0),
    codec_list(8, 26, 4, eltmc_logi_intf_state_req_msg_info_get_sz, &eltmc_logi_intf_state_req_tbl),
    codec_closing};
constexpr tlvu_tbl eltmc_logi_intf_state_req_msg_tbl = {4, "eltmc_logi_intf_state_req_msg_t",
                                                        eltmc_logi_intf_state_req_msg_default_init, 0,
                                                        logi_intf_state_req_msg_rows};
static_assert(codec_members_are<eltmc_logi_intf_state_req>(eltmc_logi_intf_state_req_msg_tbl));

static constexpr tlvu_row logi_intf_state_rsp_rows[] = {codec_value(2, 4, 0), codec_value(15, 4, 4),
                                                        codec_closing};
constexpr tlvu_tbl eltmc_logi_intf_state_rsp_tbl = {
    8, "eltmc_logi_intf_state_rsp_t", eltmc_logi_intf_state_rsp_default_init, 0, logi_intf_state_rsp_rows};
static_assert([] {
    using s = eltmc_logi_intf_state_rsp;
    return codec_layout_is<s>(eltmc_logi_intf_state_rsp_tbl, {offsetof(s, if_index), offsetof(s, tag15)});
}());

static constexpr tlvu_row logi_intf_state_rsp_msg_rows[] = {
    codec_value(6, 4, 0),
    codec_list(8, 8, 4, eltmc_logi_intf_state_rsp_msg_info_get_sz, &eltmc_logi_intf_state_rsp_tbl),
    codec_closing};
constexpr tlvu_tbl eltmc_logi_intf_state_rsp_msg_tbl = {4, "eltmc_logi_intf_state_rsp_msg_t",
                                                        eltmc_logi_intf_state_rsp_msg_default_init, 0,
                                                        logi_intf_state_rsp_msg_rows};
static_assert(codec_members_are<eltmc_logi_intf_state_rsp>(eltmc_logi_intf_state_rsp_msg_tbl));
