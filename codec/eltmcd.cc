#include "codec/eltmcd.h"

#include "codec/codec_entries.h"
#include "codec/codec_row.h"

static constexpr tlvu_row intf_create_req_rows[] = {codec_value(2, 4, 0),
                                                    codec_value(3, 4, 4),
                                                    codec_value(4, 1, 8),
                                                    codec_value(56, 1, 9),
                                                    codec_value(36, 4, 12),
                                                    codec_value(39, 1, 16),
                                                    codec_value(40, 1, 17),
                                                    codec_value(41, 2, 18),
                                                    codec_value(24, 4, 20),
                                                    codec_value(31, 1, 24),
                                                    codec_value(42, 1, 25),
                                                    codec_value(43, 1, 26),
                                                    codec_value(44, 2, 28),
                                                    codec_value(25, 4, 32),
                                                    codec_value(26, 1, 36),
                                                    codec_value(27, 1, 37),
                                                    codec_value(28, 1, 38),
                                                    codec_value(29, 1, 39),
                                                    codec_value(30, 1, 40),
                                                    codec_value(45, 1, 41),
                                                    codec_value(62, 4, 44),
                                                    codec_value(12, 2, 48),
                                                    codec_value(66, 1, 50),
                                                    codec_value(68, 1, 52),
                                                    codec_value(67, 1, 51),
                                                    codec_value(84, 1, 53),
                                                    codec_value(81, 1, 54),
                                                    codec_value(92, 2, 56),
                                                    codec_nested(93, 2, 58, &eltmc_intf_type_tbl),
                                                    codec_value(96, 4, 192),
                                                    codec_value(97, 1, 202),
                                                    codec_value(104, 4, 196),
                                                    codec_value(105, 2, 200),
                                                    codec_closing};
constexpr tlvu_tbl eltmcd_intf_create_req_tbl = {
    204, "eltmcd_intf_create_req_t", eltmcd_intf_create_req_default_init, 0, intf_create_req_rows};
static_assert([] {
    using s = eltmcd_intf_create_req;
    return codec_layout_is<s>(
        eltmcd_intf_create_req_tbl,
        {offsetof(s, if_index), offsetof(s, tag3),  offsetof(s, tag4),  offsetof(s, tag56),
         offsetof(s, tag36),    offsetof(s, tag39), offsetof(s, tag40), offsetof(s, tag41),
         offsetof(s, tag24),    offsetof(s, tag31), offsetof(s, tag42), offsetof(s, tag43),
         offsetof(s, tag44),    offsetof(s, tag25), offsetof(s, tag26), offsetof(s, tag27),
         offsetof(s, tag28),    offsetof(s, tag29), offsetof(s, tag30), offsetof(s, tag45),
         offsetof(s, tag62),    offsetof(s, tag12), offsetof(s, tag66), offsetof(s, tag68),
         offsetof(s, tag67),    offsetof(s, tag84), offsetof(s, tag81), offsetof(s, tag92),
         offsetof(s, tag93),    offsetof(s, tag96), offsetof(s, tag97), offsetof(s, tag104),
         offsetof(s, tag105)});
}());

static constexpr tlvu_row intf_create_req_msg_rows[] = {
    codec_value(6, 4, 0),
    codec_list(8, 204, 4, eltmcd_intf_create_req_msg_info_get_sz, &eltmcd_intf_create_req_tbl),
    codec_closing};
constexpr tlvu_tbl eltmcd_intf_create_req_msg_tbl = {
    4, "eltmcd_intf_create_req_msg_t", eltmcd_intf_create_req_msg_default_init, 0, intf_create_req_msg_rows};
static_assert(codec_members_are<eltmcd_intf_create_req>(eltmcd_intf_create_req_msg_tbl));

static constexpr tlvu_row vlan_create_req_rows[] = {codec_value(10, 4, 0),
                                                    codec_value(12, 2, 4),
                                                    codec_value(4, 1, 6),
                                                    codec_value(13, 4, 8),
                                                    codec_value(47, 4, 12),
                                                    codec_value(48, 4, 16),
                                                    codec_value(49, 1, 20),
                                                    codec_value(50, 1, 21),
                                                    codec_value(51, 1, 22),
                                                    codec_value(52, 1, 23),
                                                    codec_value(53, 1, 24),
                                                    codec_value(54, 1, 25),
                                                    codec_value(55, 1, 26),
                                                    codec_value(24, 4, 28),
                                                    codec_value(25, 4, 32),
                                                    codec_nested(35, 204, 36, &eltmcd_intf_create_req_tbl),
                                                    codec_value(69, 4, 240),
                                                    codec_value(70, 1, 244),
                                                    codec_value(71, 1, 245),
                                                    codec_value(72, 2, 246),
                                                    codec_value(73, 1, 248),
                                                    codec_array(74, 2, 250, 32),
                                                    codec_value(75, 1, 282),
                                                    codec_value(82, 1, 283),
                                                    codec_value(65, 1, 284),
                                                    codec_value(90, 4, 288),
                                                    codec_value(85, 1, 292),
                                                    codec_value(103, 1, 293),
                                                    codec_closing};
constexpr tlvu_tbl eltmcd_vlan_create_req_tbl = {
    296, "eltmcd_vlan_create_req_t", eltmcd_vlan_create_req_default_init, 0, vlan_create_req_rows};
static_assert([] {
    using s = eltmcd_vlan_create_req;
    return codec_layout_is<s>(
        eltmcd_vlan_create_req_tbl,
        {offsetof(s, tag10), offsetof(s, tag12), offsetof(s, tag4),  offsetof(s, tag13), offsetof(s, tag47),
         offsetof(s, tag48), offsetof(s, tag49), offsetof(s, tag50), offsetof(s, tag51), offsetof(s, tag52),
         offsetof(s, tag53), offsetof(s, tag54), offsetof(s, tag55), offsetof(s, tag24), offsetof(s, tag25),
         offsetof(s, tag35), offsetof(s, tag69), offsetof(s, tag70), offsetof(s, tag71), offsetof(s, tag72),
         offsetof(s, tag73), offsetof(s, tag74), offsetof(s, tag75), offsetof(s, tag82), offsetof(s, tag65),
         offsetof(s, tag90), offsetof(s, tag85), offsetof(s, tag103)});
}());

static constexpr tlvu_row vlan_create_req_msg_rows[] = {
    codec_value(14, 4, 0),
    codec_list(8, 296, 4, eltmcd_vlan_create_req_msg_info_get_sz, &eltmcd_vlan_create_req_tbl),
    codec_closing};
constexpr tlvu_tbl eltmcd_vlan_create_req_msg_tbl = {
    4, "eltmcd_vlan_create_req_msg_t", eltmcd_vlan_create_req_msg_default_init, 0, vlan_create_req_msg_rows};
static_assert(codec_members_are<eltmcd_vlan_create_req>(eltmcd_vlan_create_req_msg_tbl));

/* Tag 22 stands twice and so goes out twice; the receiver keeps the last. */
static constexpr tlvu_row port_create_req_rows[] = {codec_value(2, 4, 0),
                                                    codec_value(22, 4, 4),
                                                    codec_value(23, 4, 8),
                                                    codec_value(32, 2, 12),
                                                    codec_nested(33, 516, 16, &bmp4096_tbl),
                                                    codec_value(22, 4, 4),
                                                    codec_value(37, 1, 532),
                                                    codec_array(38, 4, 536, 32),
                                                    codec_nested(34, 204, 668, &eltmcd_intf_create_req_tbl),
                                                    codec_value(77, 1, 600),
                                                    codec_array(78, 4, 604, 64),
                                                    codec_array(91, 4, 568, 32),
                                                    codec_closing};
constexpr tlvu_tbl eltmcd_port_create_req_tbl = {
    872, "eltmcd_port_create_req_t", eltmcd_port_create_req_default_init, 0, port_create_req_rows};
static_assert([] {
    using s = eltmcd_port_create_req;
    return codec_layout_is<s>(eltmcd_port_create_req_tbl,
                              {offsetof(s, if_index), offsetof(s, tag22), offsetof(s, tag23),
                               offsetof(s, tag32), offsetof(s, tag33), offsetof(s, tag22), offsetof(s, tag37),
                               offsetof(s, tag38), offsetof(s, tag34), offsetof(s, tag77), offsetof(s, tag78),
                               offsetof(s, tag91)});
}());

static constexpr tlvu_row port_create_req_msg_rows[] = {
    codec_value(7, 4, 0),
    codec_list(8, 872, 4, eltmcd_port_create_req_msg_info_get_sz, &eltmcd_port_create_req_tbl),
    codec_closing};
constexpr tlvu_tbl eltmcd_port_create_req_msg_tbl = {
    4, "eltmcd_port_create_req_msg_t", eltmcd_port_create_req_msg_default_init, 0, port_create_req_msg_rows};
static_assert(codec_members_are<eltmcd_port_create_req>(eltmcd_port_create_req_msg_tbl));

static constexpr tlvu_row svi_create_req_rows[] = {
    codec_value(2, 4, 0), codec_value(56, 1, 4), codec_value(39, 1, 5), codec_value(42, 1, 6), codec_closing};
constexpr tlvu_tbl eltmcd_svi_create_req_tbl = {8, "eltmcd_svi_create_req_t",
                                                eltmcd_svi_create_req_default_init, 0, svi_create_req_rows};
static_assert([] {
    using s = eltmcd_svi_create_req;
    return codec_layout_is<s>(eltmcd_svi_create_req_tbl, {offsetof(s, if_index), offsetof(s, tag56),
                                                          offsetof(s, tag39), offsetof(s, tag42)});
}());

static constexpr tlvu_row svi_create_req_msg_rows[] = {
    codec_value(6, 4, 0),
    codec_list(8, 8, 4, eltmcd_svi_create_req_msg_info_get_sz, &eltmcd_svi_create_req_tbl), codec_closing};
constexpr tlvu_tbl eltmcd_svi_create_req_msg_tbl = {
    4, "eltmcd_svi_create_req_msg_t", eltmcd_svi_create_req_msg_default_init, 0, svi_create_req_msg_rows};
static_assert(codec_members_are<eltmcd_svi_create_req>(eltmcd_svi_create_req_msg_tbl));
