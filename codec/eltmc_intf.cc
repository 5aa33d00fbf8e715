#include "codec/eltmc_intf.h"

#include "codec/codec_entries.h"
#include "codec/codec_row.h"

static constexpr tlvu_row intf_type_rows[] = {codec_value(94, 1, 0), codec_value(95, 1, 1), codec_closing};
constexpr tlvu_tbl eltmc_intf_type_tbl = {2, "eltmc_intf_type_t", eltmc_intf_type_default_init, 0,
                                          intf_type_rows};
static_assert([] {
    using s = eltmc_intf_type;
    return codec_layout_is<s>(eltmc_intf_type_tbl, {offsetof(s, tag94), offsetof(s, tag95)});
}());

static constexpr tlvu_row intf_create_req_rows[] = {
    codec_value(2, 4, 0),   codec_value(3, 4, 4),   codec_value(12, 2, 8),
    codec_value(4, 1, 10),  codec_value(81, 1, 11), codec_nested(93, 2, 12, &eltmc_intf_type_tbl),
    codec_value(24, 4, 16), codec_value(97, 2, 20), codec_closing};
constexpr tlvu_tbl eltmc_intf_create_req_tbl = {24, "eltmc_intf_create_req_t",
                                                eltmc_intf_create_req_default_init, 0, intf_create_req_rows};
static_assert([] {
    using s = eltmc_intf_create_req;
    return codec_layout_is<s>(eltmc_intf_create_req_tbl,
                              {offsetof(s, if_index), offsetof(s, tag3), offsetof(s, tag12),
                               offsetof(s, tag4), offsetof(s, tag81), offsetof(s, tag93), offsetof(s, tag24),
                               offsetof(s, tag97)});
}());

static constexpr tlvu_row intf_create_req_msg_rows[] = {
    codec_value(6, 4, 0),
    codec_list(8, 24, 4, eltmc_intf_create_req_msg_info_get_sz, &eltmc_intf_create_req_tbl), codec_closing};
constexpr tlvu_tbl eltmc_intf_create_req_msg_tbl = {
    4, "eltmc_intf_create_req_msg_t", eltmc_intf_create_req_msg_default_init, 0, intf_create_req_msg_rows};
static_assert(codec_members_are<eltmc_intf_create_req>(eltmc_intf_create_req_msg_tbl));

static constexpr tlvu_row intf_create_rsp_rows[] = {codec_value(2, 4, 0), codec_value(3, 4, 4),
                                                    codec_value(15, 4, 8), codec_closing};
constexpr tlvu_tbl eltmc_intf_create_rsp_tbl = {12, "eltmc_intf_create_rsp_t",
                                                eltmc_intf_create_rsp_default_init, 0, intf_create_rsp_rows};
static_assert([] {
    using s = eltmc_intf_create_rsp;
    return codec_layout_is<s>(eltmc_intf_create_rsp_tbl,
                              {offsetof(s, if_index), offsetof(s, tag3), offsetof(s, tag15)});
}());

static constexpr tlvu_row intf_create_rsp_msg_rows[] = {
    codec_value(6, 4, 0),
    codec_list(8, 12, 4, eltmc_intf_create_rsp_msg_info_get_sz, &eltmc_intf_create_rsp_tbl), codec_closing};
constexpr tlvu_tbl eltmc_intf_create_rsp_msg_tbl = {
    4, "eltmc_intf_create_rsp_msg_t", eltmc_intf_create_rsp_msg_default_init, 0, intf_create_rsp_msg_rows};
static_assert(codec_members_are<eltmc_intf_create_rsp>(eltmc_intf_create_rsp_msg_tbl));

static constexpr tlvu_row intf_delete_req_rows[] = {
    codec_value(2, 4, 0),   codec_value(3, 4, 4),
    codec_value(5, 1, 8),   codec_nested(93, 2, 9, &eltmc_intf_type_tbl),
    codec_value(76, 4, 12), codec_closing};
constexpr tlvu_tbl eltmc_intf_delete_req_tbl = {16, "eltmc_intf_delete_req_t",
                                                eltmc_intf_delete_req_default_init, 0, intf_delete_req_rows};
static_assert([] {
    using s = eltmc_intf_delete_req;
    return codec_layout_is<s>(eltmc_intf_delete_req_tbl,
                              {offsetof(s, if_index), offsetof(s, tag3), offsetof(s, tag5),
                               offsetof(s, tag93), offsetof(s, tag76)});
}());

static constexpr tlvu_row intf_delete_req_msg_rows[] = {
    codec_value(6, 4, 0),
    codec_list(8, 16, 4, eltmc_intf_delete_req_msg_info_get_sz, &eltmc_intf_delete_req_tbl), codec_closing};
constexpr tlvu_tbl eltmc_intf_delete_req_msg_tbl = {
    4, "eltmc_intf_delete_req_msg_t", eltmc_intf_delete_req_msg_default_init, 0, intf_delete_req_msg_rows};
static_assert(codec_members_are<eltmc_intf_delete_req>(eltmc_intf_delete_req_msg_tbl));

static constexpr tlvu_row intf_delete_rsp_rows[] = {codec_value(2, 4, 0), codec_value(3, 4, 4),
                                                    codec_value(15, 4, 8), codec_closing};
constexpr tlvu_tbl eltmc_intf_delete_rsp_tbl = {12, "eltmc_intf_delete_rsp_t",
                                                eltmc_intf_delete_rsp_default_init, 0, intf_delete_rsp_rows};
static_assert([] {
    using s = eltmc_intf_delete_rsp;
    return codec_layout_is<s>(eltmc_intf_delete_rsp_tbl,
                              {offsetof(s, if_index), offsetof(s, tag3), offsetof(s, tag15)});
}());

static constexpr tlvu_row intf_delete_rsp_msg_rows[] = {
    codec_value(6, 4, 0),
    codec_list(8, 12, 4, eltmc_intf_delete_rsp_msg_info_get_sz, &eltmc_intf_delete_rsp_tbl), codec_closing};
constexpr tlvu_tbl eltmc_intf_delete_rsp_msg_tbl = {
    4, "eltmc_intf_delete_rsp_msg_t", eltmc_intf_delete_rsp_msg_default_init, 0, intf_delete_rsp_msg_rows};
static_assert(codec_members_are<eltmc_intf_delete_rsp>(eltmc_intf_delete_rsp_msg_tbl));
