#include "codec/eltm.h"

#include "codec/codec_entries.h"
#include "codec/codec_row.h"

static constexpr tlvu_row lc_port_param_chg_req_rows[] = {codec_value(2, 4, 0), codec_value(97, 1, 4),
                                                          codec_closing};
constexpr tlvu_tbl eltm_lc_port_param_chg_req_tbl = {8, "eltm_lc_port_param_chg_req_t",
                                                     eltm_lc_port_param_chg_req_default_init, 0,
                                                     lc_port_param_chg_req_rows};
static_assert([] {
    using s = eltm_lc_port_param_chg_req;
    return codec_layout_is<s>(eltm_lc_port_param_chg_req_tbl, {offsetof(s, if_index), offsetof(s, tag97)});
}());

static constexpr tlvu_row lc_port_param_chg_req_msg_rows[] = {
    codec_value(7, 4, 0),
    codec_list(8, 8, 4, eltm_lc_port_param_chg_req_msg_info_get_sz, &eltm_lc_port_param_chg_req_tbl),
    codec_closing};
constexpr tlvu_tbl eltm_lc_port_param_chg_req_msg_tbl = {4, "eltm_lc_port_param_chg_req_msg_t",
                                                         eltm_lc_port_param_chg_req_msg_default_init, 0,
                                                         lc_port_param_chg_req_msg_rows};
static_assert(codec_members_are<eltm_lc_port_param_chg_req>(eltm_lc_port_param_chg_req_msg_tbl));

static constexpr tlvu_row lc_port_param_chg_rsp_rows[] = {codec_value(2, 4, 0), codec_value(15, 4, 4),
                                                          codec_closing};
constexpr tlvu_tbl eltm_lc_port_param_chg_rsp_tbl = {8, "eltm_lc_port_param_chg_rsp_t",
                                                     eltm_lc_port_param_chg_rsp_default_init, 0,
                                                     lc_port_param_chg_rsp_rows};
static_assert([] {
    using s = eltm_lc_port_param_chg_rsp;
    return codec_layout_is<s>(eltm_lc_port_param_chg_rsp_tbl, {offsetof(s, if_index), offsetof(s, tag15)});
}());

static constexpr tlvu_row lc_port_param_chg_rsp_msg_rows[] = {
    codec_value(7, 4, 0),
    codec_list(8, 8, 4, eltm_lc_port_param_chg_rsp_msg_info_get_sz, &eltm_lc_port_param_chg_rsp_tbl),
    codec_closing};
constexpr tlvu_tbl eltm_lc_port_param_chg_rsp_msg_tbl = {4, "eltm_lc_port_param_chg_rsp_msg_t",
                                                         eltm_lc_port_param_chg_rsp_msg_default_init, 0,
                                                         lc_port_param_chg_rsp_msg_rows};
static_assert(codec_members_are<eltm_lc_port_param_chg_rsp>(eltm_lc_port_param_chg_rsp_msg_tbl));

static constexpr tlvu_row otv_feature_info_rows[] = {
    codec_value(2, 4, 0),   codec_value(15, 4, 4),  codec_value(18, 4, 8),
    codec_value(11, 4, 12), codec_value(79, 1, 16), codec_value(80, 1, 17),
    codec_value(3, 4, 20),  codec_value(12, 2, 24), codec_closing};
constexpr tlvu_tbl eltm_otv_feature_info_tbl = {28, "eltm_otv_feature_info_t",
                                                eltm_otv_feature_info_default_init, 0, otv_feature_info_rows};
static_assert([] {
    using s = eltm_otv_feature_info;
    return codec_layout_is<s>(eltm_otv_feature_info_tbl,
                              {offsetof(s, if_index), offsetof(s, tag15), offsetof(s, tag18),
                               offsetof(s, tag11), offsetof(s, tag79), offsetof(s, tag80), offsetof(s, tag3),
                               offsetof(s, tag12)});
}());

static constexpr tlvu_row vdc_feature_rows[] = {codec_value(86, 1, 0), codec_value(87, 1, 1),
                                                codec_value(88, 2, 2), codec_value(89, 4, 4),
                                                codec_value(98, 4, 8), codec_closing};
constexpr tlvu_tbl eltm_vdc_feature_tbl = {12, "eltm_vdc_feature_t", eltm_vdc_feature_default_init, 0,
                                           vdc_feature_rows};
static_assert([] {
    using s = eltm_vdc_feature;
    return codec_layout_is<s>(
        eltm_vdc_feature_tbl,
        {offsetof(s, tag86), offsetof(s, tag87), offsetof(s, tag88), offsetof(s, tag89), offsetof(s, tag98)});
}());
