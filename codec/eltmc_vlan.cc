#include "codec/eltmc_vlan.h"

#include "codec/codec_entries.h"
#include "codec/codec_row.h"

static constexpr tlvu_row vlan_create_req_rows[] = {codec_value(10, 4, 0), codec_value(12, 2, 4),
                                                    codec_value(13, 4, 8), codec_value(90, 4, 12),
                                                    codec_closing};
constexpr tlvu_tbl eltmc_vlan_create_req_tbl = {16, "eltmc_vlan_create_req_t",
                                                eltmc_vlan_create_req_default_init, 0, vlan_create_req_rows};
static_assert([] {
    using s = eltmc_vlan_create_req;
    return codec_layout_is<s>(eltmc_vlan_create_req_tbl, {offsetof(s, tag10), offsetof(s, tag12),
                                                          offsetof(s, tag13), offsetof(s, tag90)});
}());

static constexpr tlvu_row vlan_create_req_msg_rows[] = {
    codec_value(14, 4, 0),
    codec_list(8, 16, 4, eltmc_vlan_create_req_msg_info_get_sz, &eltmc_vlan_create_req_tbl), codec_closing};
constexpr tlvu_tbl eltmc_vlan_create_req_msg_tbl = {
    4, "eltmc_vlan_create_req_msg_t", eltmc_vlan_create_req_msg_default_init, 0, vlan_create_req_msg_rows};
static_assert(codec_members_are<eltmc_vlan_create_req>(eltmc_vlan_create_req_msg_tbl));

static constexpr tlvu_row vlan_create_rsp_rows[] = {codec_value(10, 4, 0), codec_value(12, 2, 4),
                                                    codec_value(15, 4, 8), codec_closing};
constexpr tlvu_tbl eltmc_vlan_create_rsp_tbl = {12, "eltmc_vlan_create_rsp_t",
                                                eltmc_vlan_create_rsp_default_init, 0, vlan_create_rsp_rows};
static_assert([] {
    using s = eltmc_vlan_create_rsp;
    return codec_layout_is<s>(eltmc_vlan_create_rsp_tbl,
                              {offsetof(s, tag10), offsetof(s, tag12), offsetof(s, tag15)});
}());

static constexpr tlvu_row vlan_create_rsp_msg_rows[] = {
    codec_value(14, 4, 0),
    codec_list(8, 12, 4, eltmc_vlan_create_rsp_msg_info_get_sz, &eltmc_vlan_create_rsp_tbl), codec_closing};
constexpr tlvu_tbl eltmc_vlan_create_rsp_msg_tbl = {
    4, "eltmc_vlan_create_rsp_msg_t", eltmc_vlan_create_rsp_msg_default_init, 0, vlan_create_rsp_msg_rows};
static_assert(codec_members_are<eltmc_vlan_create_rsp>(eltmc_vlan_create_rsp_msg_tbl));

static constexpr tlvu_row vlan_delete_req_rows[] = {codec_value(10, 4, 0), codec_value(12, 2, 4),
                                                    codec_closing};
constexpr tlvu_tbl eltmc_vlan_delete_req_tbl = {8, "eltmc_vlan_delete_req_t",
                                                eltmc_vlan_delete_req_default_init, 0, vlan_delete_req_rows};
static_assert([] {
    using s = eltmc_vlan_delete_req;
    return codec_layout_is<s>(eltmc_vlan_delete_req_tbl, {offsetof(s, tag10), offsetof(s, tag12)});
}());

static constexpr tlvu_row vlan_delete_req_msg_rows[] = {
    codec_value(14, 4, 0),
    codec_list(8, 8, 4, eltmc_vlan_delete_req_msg_info_get_sz, &eltmc_vlan_delete_req_tbl), codec_closing};
constexpr tlvu_tbl eltmc_vlan_delete_req_msg_tbl = {
    4, "eltmc_vlan_delete_req_msg_t", eltmc_vlan_delete_req_msg_default_init, 0, vlan_delete_req_msg_rows};
static_assert(codec_members_are<eltmc_vlan_delete_req>(eltmc_vlan_delete_req_msg_tbl));

static constexpr tlvu_row vlan_delete_rsp_rows[] = {codec_value(10, 4, 0), codec_value(12, 2, 4),
                                                    codec_value(15, 4, 8), codec_closing};
constexpr tlvu_tbl eltmc_vlan_delete_rsp_tbl = {12, "eltmc_vlan_delete_rsp_t",
                                                eltmc_vlan_delete_rsp_default_init, 0, vlan_delete_rsp_rows};
static_assert([] {
    using s = eltmc_vlan_delete_rsp;
    return codec_layout_is<s>(eltmc_vlan_delete_rsp_tbl,
                              {offsetof(s, tag10), offsetof(s, tag12), offsetof(s, tag15)});
}());

static constexpr tlvu_row vlan_delete_rsp_msg_rows[] = {
    codec_value(14, 4, 0),
    codec_list(8, 12, 4, eltmc_vlan_delete_rsp_msg_info_get_sz, &eltmc_vlan_delete_rsp_tbl), codec_closing};
constexpr tlvu_tbl eltmc_vlan_delete_rsp_msg_tbl = {
    4, "eltmc_vlan_delete_rsp_msg_t", eltmc_vlan_delete_rsp_msg_default_init, 0, vlan_delete_rsp_msg_rows};
static_assert(codec_members_are<eltmc_vlan_delete_rsp>(eltmc_vlan_delete_rsp_msg_tbl));
