#include "codec/eltmc_mtu.h"

#include "codec/codec_entries.h"
#include "codec/codec_row.h"

static constexpr tlvu_row mtu_write_req_rows[] = {codec_value(2, 4, 0), codec_closing};
constexpr tlvu_tbl eltmc_mtu_write_req_tbl = {4, "eltmc_mtu_write_req_t", eltmc_mtu_write_req_default_init, 0,
                                              mtu_write_req_rows};
static_assert([] {
    using s = eltmc_mtu_write_req;
    return codec_layout_is<s>(eltmc_mtu_write_req_tbl, {offsetof(s, if_index)});
}());

static constexpr tlvu_row mtu_write_req_msg_rows[] = {
    codec_value(6, 4, 0), codec_value(62, 4, 4),
    codec_list(58, 4, 8, eltmc_mtu_write_req_msg_info_get_sz, &eltmc_mtu_write_req_tbl), codec_closing};
constexpr tlvu_tbl eltmc_mtu_write_req_msg_tbl = {
    8, "eltmc_mtu_write_req_msg_t", eltmc_mtu_write_req_msg_default_init, 0, mtu_write_req_msg_rows};
static_assert(codec_members_are<eltmc_mtu_write_req>(eltmc_mtu_write_req_msg_tbl));
static_assert([] {
    using s = eltmc_mtu_write_req_msg;
    return codec_layout_is<s>(eltmc_mtu_write_req_msg_tbl, {offsetof(s, count), offsetof(s, tag62)});
}());

static constexpr tlvu_row mtu_write_rsp_rows[] = {codec_value(2, 4, 0), codec_value(15, 4, 4), codec_closing};
constexpr tlvu_tbl eltmc_mtu_write_rsp_tbl = {8, "eltmc_mtu_write_rsp_t", eltmc_mtu_write_rsp_default_init, 0,
                                              mtu_write_rsp_rows};
static_assert([] {
    using s = eltmc_mtu_write_rsp;
    return codec_layout_is<s>(eltmc_mtu_write_rsp_tbl, {offsetof(s, if_index), offsetof(s, tag15)});
}());

static constexpr tlvu_row mtu_write_rsp_msg_rows[] = {
    codec_value(6, 4, 0), codec_value(15, 4, 4),
    codec_list(59, 8, 8, eltmc_mtu_write_rsp_msg_info_get_sz, &eltmc_mtu_write_rsp_tbl), codec_closing};
constexpr tlvu_tbl eltmc_mtu_write_rsp_msg_tbl = {
    8, "eltmc_mtu_write_rsp_msg_t", eltmc_mtu_write_rsp_msg_default_init, 0, mtu_write_rsp_msg_rows};
static_assert(codec_members_are<eltmc_mtu_write_rsp>(eltmc_mtu_write_rsp_msg_tbl));
static_assert([] {
    using s = eltmc_mtu_write_rsp_msg;
    return codec_layout_is<s>(eltmc_mtu_write_rsp_msg_tbl, {offsetof(s, count), offsetof(s, tag15)});
}());

static constexpr tlvu_row mtu_free_req_rows[] = {codec_value(2, 4, 0), codec_closing};
constexpr tlvu_tbl eltmc_mtu_free_req_tbl = {4, "eltmc_mtu_free_req_t", eltmc_mtu_free_req_default_init, 0,
                                             mtu_free_req_rows};
static_assert([] {
    using s = eltmc_mtu_free_req;
    return codec_layout_is<s>(eltmc_mtu_free_req_tbl, {offsetof(s, if_index)});
}());

static constexpr tlvu_row mtu_free_req_msg_rows[] = {
    codec_value(6, 4, 0), codec_value(62, 4, 4),
    codec_list(60, 4, 8, eltmc_mtu_free_req_msg_info_get_sz, &eltmc_mtu_free_req_tbl), codec_closing};
constexpr tlvu_tbl eltmc_mtu_free_req_msg_tbl = {
    8, "eltmc_mtu_free_req_msg_t", eltmc_mtu_free_req_msg_default_init, 0, mtu_free_req_msg_rows};
static_assert(codec_members_are<eltmc_mtu_free_req>(eltmc_mtu_free_req_msg_tbl));
static_assert([] {
    using s = eltmc_mtu_free_req_msg;
    return codec_layout_is<s>(eltmc_mtu_free_req_msg_tbl, {offsetof(s, count), offsetof(s, tag62)});
}());

static constexpr tlvu_row mtu_free_rsp_rows[] = {codec_value(2, 4, 0), codec_value(15, 4, 4), codec_closing};
constexpr tlvu_tbl eltmc_mtu_free_rsp_tbl = {8, "eltmc_mtu_free_rsp_t", eltmc_mtu_free_rsp_default_init, 0,
                                             mtu_free_rsp_rows};
static_assert([] {
    using s = eltmc_mtu_free_rsp;
    return codec_layout_is<s>(eltmc_mtu_free_rsp_tbl, {offsetof(s, if_index), offsetof(s, tag15)});
}());

static constexpr tlvu_row mtu_free_rsp_msg_rows[] = {
    codec_value(6, 4, 0), codec_value(15, 4, 4),
    codec_list(61, 8, 8, eltmc_mtu_free_rsp_msg_info_get_sz, &eltmc_mtu_free_rsp_tbl), codec_closing};
constexpr tlvu_tbl eltmc_mtu_free_rsp_msg_tbl = {
    8, "eltmc_mtu_free_rsp_msg_t", eltmc_mtu_free_rsp_msg_default_init, 0, mtu_free_rsp_msg_rows};
static_assert(codec_members_are<eltmc_mtu_free_rsp>(eltmc_mtu_free_rsp_msg_tbl));
static_assert([] {
    using s = eltmc_mtu_free_rsp_msg;
    return codec_layout_is<s>(eltmc_mtu_free_rsp_msg_tbl, {offsetof(s, count), offsetof(s, tag15)});
}());
