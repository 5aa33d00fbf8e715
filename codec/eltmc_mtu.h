/* codec/eltmc_mtu.h: writing and freeing of MTU values. */
#pragma once

#include "host/tlv/tlvu.h"

#include <cstdint>

struct eltmc_mtu_write_req {
    uint32_t if_index;
};
static_assert(sizeof(eltmc_mtu_write_req) == 4);
extern const tlvu_tbl eltmc_mtu_write_req_tbl;

/* Members: eltmc_mtu_write_req. */
struct eltmc_mtu_write_req_msg {
    uint32_t count;
    uint32_t tag62;
};
static_assert(sizeof(eltmc_mtu_write_req_msg) == 8);
extern const tlvu_tbl eltmc_mtu_write_req_msg_tbl;

struct eltmc_mtu_write_rsp {
    uint32_t if_index;
    uint32_t tag15;
};
static_assert(sizeof(eltmc_mtu_write_rsp) == 8);
extern const tlvu_tbl eltmc_mtu_write_rsp_tbl;

/* Members: eltmc_mtu_write_rsp. */
struct eltmc_mtu_write_rsp_msg {
    uint32_t count;
    uint32_t tag15;
};
static_assert(sizeof(eltmc_mtu_write_rsp_msg) == 8);
extern const tlvu_tbl eltmc_mtu_write_rsp_msg_tbl;

struct eltmc_mtu_free_req {
    uint32_t if_index;
};
static_assert(sizeof(eltmc_mtu_free_req) == 4);
extern const tlvu_tbl eltmc_mtu_free_req_tbl;

/* Members: eltmc_mtu_free_req. */
struct eltmc_mtu_free_req_msg {
    uint32_t count;
    uint32_t tag62;
};
static_assert(sizeof(eltmc_mtu_free_req_msg) == 8);
extern const tlvu_tbl eltmc_mtu_free_req_msg_tbl;

struct eltmc_mtu_free_rsp {
    uint32_t if_index;
    uint32_t tag15;
};
static_assert(sizeof(eltmc_mtu_free_rsp) == 8);
extern const tlvu_tbl eltmc_mtu_free_rsp_tbl;

/* Members: eltmc_mtu_free_rsp. */
struct eltmc_mtu_free_rsp_msg {
    uint32_t count;
    uint32_t tag15;
};
static_assert(sizeof(eltmc_mtu_free_rsp_msg) == 8);
extern const tlvu_tbl eltmc_mtu_free_rsp_msg_tbl;
