/* codec/eltmc_vlan.h: VLANs that come and go. */
#pragma once

#include "host/tlv/tlvu.h"

#include <cstdint>

struct eltmc_vlan_create_req {
    uint32_t tag10;
    uint16_t tag12;
    uint32_t tag13;
    uint32_t tag90;
};
static_assert(sizeof(eltmc_vlan_create_req) == 16);
extern const tlvu_tbl eltmc_vlan_create_req_tbl;

/* Members: eltmc_vlan_create_req. */
struct eltmc_vlan_create_req_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_vlan_create_req_msg) == 4);
extern const tlvu_tbl eltmc_vlan_create_req_msg_tbl;

struct eltmc_vlan_create_rsp {
    uint32_t tag10;
    uint16_t tag12;
    uint32_t tag15;
};
static_assert(sizeof(eltmc_vlan_create_rsp) == 12);
extern const tlvu_tbl eltmc_vlan_create_rsp_tbl;

/* Members: eltmc_vlan_create_rsp. */
struct eltmc_vlan_create_rsp_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_vlan_create_rsp_msg) == 4);
extern const tlvu_tbl eltmc_vlan_create_rsp_msg_tbl;

struct eltmc_vlan_delete_req {
    uint32_t tag10;
    uint16_t tag12;
};
static_assert(sizeof(eltmc_vlan_delete_req) == 8);
extern const tlvu_tbl eltmc_vlan_delete_req_tbl;

/* Members: eltmc_vlan_delete_req. */
struct eltmc_vlan_delete_req_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_vlan_delete_req_msg) == 4);
extern const tlvu_tbl eltmc_vlan_delete_req_msg_tbl;

struct eltmc_vlan_delete_rsp {
    uint32_t tag10;
    uint16_t tag12;
    uint32_t tag15;
};
static_assert(sizeof(eltmc_vlan_delete_rsp) == 12);
extern const tlvu_tbl eltmc_vlan_delete_rsp_tbl;

/* Members: eltmc_vlan_delete_rsp. */
struct eltmc_vlan_delete_rsp_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_vlan_delete_rsp_msg) == 4);
extern const tlvu_tbl eltmc_vlan_delete_rsp_msg_tbl;
