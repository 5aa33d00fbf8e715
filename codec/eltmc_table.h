/* codec/eltmc_table.h: tables of interfaces and VPNs, SVIs, the upgrade and the fast-reroute bits. */
#pragma once

#include "host/tlv/tlvu.h"

#include <cstdint>

struct eltmc_tableid_vpnid_map {
    uint32_t tag16;
    uint32_t tag17;
    uint32_t tag19;
    uint16_t tag18;
};
static_assert(sizeof(eltmc_tableid_vpnid_map) == 16);
extern const tlvu_tbl eltmc_tableid_vpnid_map_tbl;

/* Members: eltmc_tableid_vpnid_map. */
struct eltmc_tableid_vpnid_map_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_tableid_vpnid_map_msg) == 4);
extern const tlvu_tbl eltmc_tableid_vpnid_map_msg_tbl;

struct eltmc_intf_tableid_upd {
    uint32_t tag16;
    uint32_t tag56;
    uint32_t if_index;
    uint32_t tag99;
    uint32_t tag100;
    uint32_t tag101;
    uint32_t tag102;
};
static_assert(sizeof(eltmc_intf_tableid_upd) == 28);
extern const tlvu_tbl eltmc_intf_tableid_upd_tbl;

/* Members: eltmc_intf_tableid_upd. */
struct eltmc_intf_tableid_upd_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_intf_tableid_upd_msg) == 4);
extern const tlvu_tbl eltmc_intf_tableid_upd_msg_tbl;

struct eltmc_svi_info_req {
    uint32_t if_index;
    uint32_t tag16;
};
static_assert(sizeof(eltmc_svi_info_req) == 8);
extern const tlvu_tbl eltmc_svi_info_req_tbl;

/* Members: eltmc_svi_info_req. */
struct eltmc_svi_info_req_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_svi_info_req_msg) == 4);
extern const tlvu_tbl eltmc_svi_info_req_msg_tbl;

struct eltmc_svi_info_rsp {
    uint32_t if_index;
    uint32_t tag15;
};
static_assert(sizeof(eltmc_svi_info_rsp) == 8);
extern const tlvu_tbl eltmc_svi_info_rsp_tbl;

/* Members: eltmc_svi_info_rsp. */
struct eltmc_svi_info_rsp_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_svi_info_rsp_msg) == 4);
extern const tlvu_tbl eltmc_svi_info_rsp_msg_tbl;

struct eltmc_upgrade_msg {
    uint32_t tag15;
};
static_assert(sizeof(eltmc_upgrade_msg) == 4);
extern const tlvu_tbl eltmc_upgrade_msg_tbl;

/* Members: uint32_t. */
struct eltmc_frr_bit_set_msg {
    uint32_t count;
    uint16_t tag11;
};
static_assert(sizeof(eltmc_frr_bit_set_msg) == 8);
extern const tlvu_tbl eltmc_frr_bit_set_msg_tbl;
