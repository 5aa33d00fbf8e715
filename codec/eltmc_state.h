/* codec/eltmc_state.h: interfaces going up, going down and changing, members of port channels, logical
 * interfaces. */
#pragma once

#include "codec/bmp4096.h"
#include "codec/eltmc_intf.h"
#include "host/tlv/tlvu.h"

#include <cstdint>

struct eltmc_intf_up_req {
    uint32_t if_index;
    uint32_t tag22;
    uint32_t tag23;
    uint32_t tag24;
    uint32_t tag25;
    uint16_t tag32;
    bmp4096 tag33;
    uint8_t tag37;
    uint32_t tag38[8];
    uint32_t tag76;
    uint8_t tag16;
    uint8_t tag64;
    uint8_t tag83;
    uint16_t tag92;
    eltmc_intf_type tag93;
};
static_assert(sizeof(eltmc_intf_up_req) == 588);
extern const tlvu_tbl eltmc_intf_up_req_tbl;

/* Members: eltmc_intf_up_req. */
struct eltmc_intf_up_req_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_intf_up_req_msg) == 4);
extern const tlvu_tbl eltmc_intf_up_req_msg_tbl;

struct eltmc_intf_up_rsp {
    uint32_t if_index;
    uint32_t tag15;
};
static_assert(sizeof(eltmc_intf_up_rsp) == 8);
extern const tlvu_tbl eltmc_intf_up_rsp_tbl;

/* Members: eltmc_intf_up_rsp. */
struct eltmc_intf_up_rsp_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_intf_up_rsp_msg) == 4);
extern const tlvu_tbl eltmc_intf_up_rsp_msg_tbl;

struct eltmc_intf_down_req {
    uint32_t if_index;
    uint8_t tag63;
    bmp4096 tag33;
    uint32_t tag76;
    uint8_t tag16;
    uint8_t tag64;
    uint8_t tag83;
    uint16_t tag92;
    eltmc_intf_type tag93;
};
static_assert(sizeof(eltmc_intf_down_req) == 536);
extern const tlvu_tbl eltmc_intf_down_req_tbl;

/* Members: eltmc_intf_down_req. */
struct eltmc_intf_down_req_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_intf_down_req_msg) == 4);
extern const tlvu_tbl eltmc_intf_down_req_msg_tbl;

struct eltmc_intf_down_rsp {
    uint32_t if_index;
    uint32_t tag15;
};
static_assert(sizeof(eltmc_intf_down_rsp) == 8);
extern const tlvu_tbl eltmc_intf_down_rsp_tbl;

/* Members: eltmc_intf_down_rsp. */
struct eltmc_intf_down_rsp_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_intf_down_rsp_msg) == 4);
extern const tlvu_tbl eltmc_intf_down_rsp_msg_tbl;

struct eltmc_intf_update_req {
    uint32_t if_index;
    uint8_t tag56;
    uint32_t tag16;
    bmp4096 tag33;
    uint32_t tag76;
};
static_assert(sizeof(eltmc_intf_update_req) == 532);
extern const tlvu_tbl eltmc_intf_update_req_tbl;

/* Members: eltmc_intf_update_req. */
struct eltmc_intf_update_req_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_intf_update_req_msg) == 4);
extern const tlvu_tbl eltmc_intf_update_req_msg_tbl;

struct eltmc_intf_update_rsp {
    uint32_t if_index;
    uint32_t tag15;
};
static_assert(sizeof(eltmc_intf_update_rsp) == 8);
extern const tlvu_tbl eltmc_intf_update_rsp_tbl;

/* Members: eltmc_intf_update_rsp. */
struct eltmc_intf_update_rsp_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_intf_update_rsp_msg) == 4);
extern const tlvu_tbl eltmc_intf_update_rsp_msg_tbl;

struct eltmc_pc_mem_upd_req {
    uint32_t if_index;
    uint32_t tag57;
    uint32_t tag22;
    uint32_t tag23;
    uint32_t tag24;
    uint32_t tag25;
    uint32_t tag10;
    uint8_t tag16;
    uint8_t tag64;
    uint16_t tag32;
    bmp4096 tag33;
    uint8_t tag83;
};
static_assert(sizeof(eltmc_pc_mem_upd_req) == 552);
extern const tlvu_tbl eltmc_pc_mem_upd_req_tbl;

/* Members: eltmc_pc_mem_upd_req. */
struct eltmc_pc_mem_upd_req_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_pc_mem_upd_req_msg) == 4);
extern const tlvu_tbl eltmc_pc_mem_upd_req_msg_tbl;

struct eltmc_pc_mem_upd_rsp {
    uint32_t if_index;
    uint32_t tag57;
    uint32_t tag15;
};
static_assert(sizeof(eltmc_pc_mem_upd_rsp) == 12);
extern const tlvu_tbl eltmc_pc_mem_upd_rsp_tbl;

/* Members: eltmc_pc_mem_upd_rsp. */
struct eltmc_pc_mem_upd_rsp_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_pc_mem_upd_rsp_msg) == 4);
extern const tlvu_tbl eltmc_pc_mem_upd_rsp_msg_tbl;

/* Packed: words follow single bytes. */
#pragma pack(push, 1)
struct eltmc_logi_intf_state_req {
    uint32_t if_index;
    uint8_t tag56;
    uint32_t tag36;
    uint32_t tag24;
    uint32_t tag25;
    uint8_t tag81;
    uint32_t tag104;
    uint32_t tag16;
};
#pragma pack(pop)
static_assert(sizeof(eltmc_logi_intf_state_req) == 26);
extern const tlvu_tbl eltmc_logi_intf_state_req_tbl;

/* Members: eltmc_logi_intf_state_req. */
struct eltmc_logi_intf_state_req_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_logi_intf_state_req_msg) == 4);
extern const tlvu_tbl eltmc_logi_intf_state_req_msg_tbl;

struct eltmc_logi_intf_state_rsp {
    uint32_t if_index;
    uint32_t tag15;
};
static_assert(sizeof(eltmc_logi_intf_state_rsp) == 8);
extern const tlvu_tbl eltmc_logi_intf_state_rsp_tbl;

/* Members: eltmc_logi_intf_state_rsp. */
struct eltmc_logi_intf_state_rsp_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_logi_intf_state_rsp_msg) == 4);
extern const tlvu_tbl eltmc_logi_intf_state_rsp_msg_tbl;
