#include "codec/eltmc_table.h"

#include "codec/codec_entries.h"
#include "codec/codec_row.h"

static constexpr tlvu_row tableid_vpnid_map_rows[] = {codec_value(16, 4, 0), codec_value(17, 4, 4),
                                                      codec_value(19, 4, 8), codec_value(18, 2, 12),
                                                      codec_closing};
constexpr tlvu_tbl eltmc_tableid_vpnid_map_tbl = {
    16, "eltmc_tableid_vpnid_map_t", eltmc_tableid_vpnid_map_default_init, 0, tableid_vpnid_map_rows};
static_assert([] {
    using s = eltmc_tableid_vpnid_map;
    return codec_layout_is<s>(eltmc_tableid_vpnid_map_tbl, {offsetof(s, tag16), offsetof(s, tag17),
                                                            offsetof(s, tag19), offsetof(s, tag18)});
}());

static constexpr tlvu_row tableid_vpnid_map_msg_rows[] = {
    codec_value(9, 4, 0),
    codec_list(8, 16, 4, eltmc_tableid_vpnid_map_msg_info_get_sz, &eltmc_tableid_vpnid_map_tbl),
    codec_closing};
constexpr tlvu_tbl eltmc_tableid_vpnid_map_msg_tbl = {4, "eltmc_tableid_vpnid_map_msg_t",
                                                      eltmc_tableid_vpnid_map_msg_default_init, 0,
                                                      tableid_vpnid_map_msg_rows};
static_assert(codec_members_are<eltmc_tableid_vpnid_map>(eltmc_tableid_vpnid_map_msg_tbl));

static constexpr tlvu_row intf_tableid_upd_rows[] = {
    codec_value(16, 4, 0),   codec_value(56, 4, 4),   codec_value(2, 4, 8),    codec_value(99, 4, 12),
    codec_value(100, 4, 16), codec_value(101, 4, 20), codec_value(102, 4, 24), codec_closing};
constexpr tlvu_tbl eltmc_intf_tableid_upd_tbl = {
    28, "eltmc_intf_tableid_upd_t", eltmc_intf_tableid_upd_default_init, 0, intf_tableid_upd_rows};
static_assert([] {
    using s = eltmc_intf_tableid_upd;
    return codec_layout_is<s>(eltmc_intf_tableid_upd_tbl,
                              {offsetof(s, tag16), offsetof(s, tag56), offsetof(s, if_index),
                               offsetof(s, tag99), offsetof(s, tag100), offsetof(s, tag101),
                               offsetof(s, tag102)});
}());

static constexpr tlvu_row intf_tableid_upd_msg_rows[] = {
    codec_value(9, 4, 0),
    codec_list(8, 28, 4, eltmc_intf_tableid_upd_msg_info_get_sz, &eltmc_intf_tableid_upd_tbl), codec_closing};
constexpr tlvu_tbl eltmc_intf_tableid_upd_msg_tbl = {
    4, "eltmc_intf_tableid_upd_msg_t", eltmc_intf_tableid_upd_msg_default_init, 0, intf_tableid_upd_msg_rows};
static_assert(codec_members_are<eltmc_intf_tableid_upd>(eltmc_intf_tableid_upd_msg_tbl));

static constexpr tlvu_row svi_info_req_rows[] = {codec_value(2, 4, 0), codec_value(16, 4, 4), codec_closing};
constexpr tlvu_tbl eltmc_svi_info_req_tbl = {8, "eltmc_svi_info_req_t", eltmc_svi_info_req_default_init, 0,
                                             svi_info_req_rows};
static_assert([] {
    using s = eltmc_svi_info_req;
    return codec_layout_is<s>(eltmc_svi_info_req_tbl, {offsetof(s, if_index), offsetof(s, tag16)});
}());

static constexpr tlvu_row svi_info_req_msg_rows[] = {
    codec_value(6, 4, 0), codec_list(8, 8, 4, eltmc_svi_info_req_msg_info_get_sz, &eltmc_svi_info_req_tbl),
    codec_closing};
constexpr tlvu_tbl eltmc_svi_info_req_msg_tbl = {
    4, "eltmc_svi_info_req_msg_t", eltmc_svi_info_req_msg_default_init, 0, svi_info_req_msg_rows};
static_assert(codec_members_are<eltmc_svi_info_req>(eltmc_svi_info_req_msg_tbl));

static constexpr tlvu_row svi_info_rsp_rows[] = {codec_value(2, 4, 0), codec_value(15, 4, 4), codec_closing};
constexpr tlvu_tbl eltmc_svi_info_rsp_tbl = {8, "eltmc_svi_info_rsp_t", eltmc_svi_info_rsp_default_init, 0,
                                             svi_info_rsp_rows};
static_assert([] {
    using s = eltmc_svi_info_rsp;
    return codec_layout_is<s>(eltmc_svi_info_rsp_tbl, {offsetof(s, if_index), offsetof(s, tag15)});
}());

static constexpr tlvu_row svi_info_rsp_msg_rows[] = {
    codec_value(6, 4, 0), codec_list(8, 8, 4, eltmc_svi_info_rsp_msg_info_get_sz, &eltmc_svi_info_rsp_tbl),
    codec_closing};
constexpr tlvu_tbl eltmc_svi_info_rsp_msg_tbl = {
    4, "eltmc_svi_info_rsp_msg_t", eltmc_svi_info_rsp_msg_default_init, 0, svi_info_rsp_msg_rows};
static_assert(codec_members_are<eltmc_svi_info_rsp>(eltmc_svi_info_rsp_msg_tbl));

static constexpr tlvu_row upgrade_msg_rows[] = {codec_value(15, 4, 0), codec_closing};
constexpr tlvu_tbl eltmc_upgrade_msg_tbl = {4, "eltmc_upgrade_msg_t", eltmc_upgrade_msg_default_init, 0,
                                            upgrade_msg_rows};
static_assert([] {
    using s = eltmc_upgrade_msg;
    return codec_layout_is<s>(eltmc_upgrade_msg_tbl, {offsetof(s, tag15)});
}());

static constexpr tlvu_row frr_bit_set_msg_rows[] = {
    codec_value(6, 4, 0), codec_value(11, 2, 4),
    codec_list(8, 4, 8, eltmc_frr_bit_set_msg_info_get_sz, nullptr), codec_closing};
constexpr tlvu_tbl eltmc_frr_bit_set_msg_tbl = {8, "eltmc_frr_bit_set_msg_t",
                                                eltmc_frr_bit_set_msg_default_init, 0, frr_bit_set_msg_rows};
static_assert(codec_members_are<uint32_t>(eltmc_frr_bit_set_msg_tbl));
static_assert([] {
    using s = eltmc_frr_bit_set_msg;
    return codec_layout_is<s>(eltmc_frr_bit_set_msg_tbl, {offsetof(s, count), offsetof(s, tag11)});
}());
