/* codec/eltmc_intf.h: interfaces that come and go. */
#pragma once

#include "host/tlv/tlvu.h"

#include <cstdint>

struct eltmc_intf_type {
    uint8_t tag94;
    uint8_t tag95;
};
static_assert(sizeof(eltmc_intf_type) == 2);
extern const tlvu_tbl eltmc_intf_type_tbl;

struct eltmc_intf_create_req {
    uint32_t if_index;
    uint32_t tag3;
    uint16_t tag12;
    uint8_t tag4;
    uint8_t tag81;
    eltmc_intf_type tag93;
    uint32_t tag24;
    uint16_t tag97;
};
static_assert(sizeof(eltmc_intf_create_req) == 24);
extern const tlvu_tbl eltmc_intf_create_req_tbl;

/* Members: eltmc_intf_create_req. */
struct eltmc_intf_create_req_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_intf_create_req_msg) == 4);
extern const tlvu_tbl eltmc_intf_create_req_msg_tbl;

struct eltmc_intf_create_rsp {
    uint32_t if_index;
    uint32_t tag3;
    uint32_t tag15;
};
static_assert(sizeof(eltmc_intf_create_rsp) == 12);
extern const tlvu_tbl eltmc_intf_create_rsp_tbl;

/* Members: eltmc_intf_create_rsp. */
struct eltmc_intf_create_rsp_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_intf_create_rsp_msg) == 4);
extern const tlvu_tbl eltmc_intf_create_rsp_msg_tbl;

struct eltmc_intf_delete_req {
    uint32_t if_index;
    uint32_t tag3;
    uint8_t tag5;
    eltmc_intf_type tag93;
    uint32_t tag76;
};
static_assert(sizeof(eltmc_intf_delete_req) == 16);
extern const tlvu_tbl eltmc_intf_delete_req_tbl;

/* Members: eltmc_intf_delete_req. */
struct eltmc_intf_delete_req_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_intf_delete_req_msg) == 4);
extern const tlvu_tbl eltmc_intf_delete_req_msg_tbl;

struct eltmc_intf_delete_rsp {
    uint32_t if_index;
    uint32_t tag3;
    uint32_t tag15;
};
static_assert(sizeof(eltmc_intf_delete_rsp) == 12);
extern const tlvu_tbl eltmc_intf_delete_rsp_tbl;

/* Members: eltmc_intf_delete_rsp. */
struct eltmc_intf_delete_rsp_msg {
    uint32_t count;
};
static_assert(sizeof(eltmc_intf_delete_rsp_msg) == 4);
extern const tlvu_tbl eltmc_intf_delete_rsp_msg_tbl;
