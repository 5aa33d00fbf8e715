/* ufib/ufib_family.h: what differs between IPv4 and IPv6. Every algorithm of the unicast model is written once, over
 * one row of this table; a difference is a member here, never a branch on the family.
 * Addresses inside the model are network-order bytes: 4 for IPv4, 16 for IPv6. */
#pragma once

#include "core/lcfwd_stats.h"
#include "core/ufib_err.h"
#include "persist/lcfwd_pss_kind.h"
#include "ufib/ufib_object.h"

#include <cstdint>

constexpr uint32_t UFIB_TABLE_TYPE_V4 = 1;
constexpr uint32_t UFIB_TABLE_TYPE_V6 = 2;
constexpr uint32_t UFIB_WILDCARD_V4 = 65534; /* table ids */
constexpr uint32_t UFIB_WILDCARD_V6 = 65535;
constexpr uint32_t UFIB_DEFAULT_V4 = 1;
constexpr uint32_t UFIB_DEFAULT_V6 = 0x80000001;

struct ufib_family {
    const char *name; /* "v4", "v6" in log lines */
    uint32_t index;   /* 0, 1: row of per-family arrays */
    uint32_t afi;     /* 1, 2 on the wire */
    uint32_t addr_bytes;
    uint32_t max_len; /* bits */
    uint32_t table_type;
    uint32_t wildcard_table;
    uint32_t prefix_type; /* object types */
    uint32_t adj_type;
    uint8_t opcode_add; /* of a route record */
    uint8_t opcode_delete;
    uint32_t err_opcode;    /* class of E_ROUTE_INV_OPCODE */
    uint32_t err_zero_hops; /* class of E_ZERO_HOP_COUNT */
    ufib_err_code err_mask_len;
    ufib_err_code err_null_payload;
    ufib_err_code err_no_vdc;
    ufib_err_code err_inactive;
    ufib_err_code err_send;
    lcfwd_pss_kind pss_adj;
    lcfwd_pss_kind pss_adj_tlv;
    lcfwd_pss_kind pss_ecmp;
    lcfwd_pss_kind pss_ecmp_tlv;
    uint32_t global_drop; /* kinds of the global adjacencies */
    uint32_t global_punt;
    uint32_t global_glean;
    uint32_t global_mcast_src;
    uint8_t pfx_flags; /* a new prefix's flags */
};

constexpr uint8_t UFIB_PFX_FLAG_V4 = 0x01;
constexpr uint8_t UFIB_PFX_FLAG_PENDING = 0x02; /* on the list of pending recursive next hops */
constexpr uint8_t UFIB_PFX_FLAG_RNH_DELETE_MARKED = 0x04;
constexpr uint8_t UFIB_PFX_FLAG_RNH = 0x08;

inline constexpr ufib_family ufib_families[2] = {
    {
        .name = "v4",
        .index = UFIB_STATS_V4,
        .afi = 1,
        .addr_bytes = 4,
        .max_len = 32,
        .table_type = UFIB_TABLE_TYPE_V4,
        .wildcard_table = UFIB_WILDCARD_V4,
        .prefix_type = UFIB_OBJ_V4PREFIX,
        .adj_type = UFIB_OBJ_V4ADJ,
        .opcode_add = 1,
        .opcode_delete = 2,
        .err_opcode = UFIB_ERR_ITEM,
        .err_zero_hops = UFIB_ERR_ITEM,
        .err_mask_len = E_IPV4_MASK_LEN,
        .err_null_payload = E_V4RTUP_NULL_PAYLOAD,
        .err_no_vdc = E_V4RTUP_NO_VDC_CTXT,
        .err_inactive = E_V4RTUP_VDC_INACTIVE,
        .err_send = E_V4RTUP_MTS_SEND,
        .pss_adj = LCFWD_PSS_V4ADJ,
        .pss_adj_tlv = LCFWD_PSS_V4ADJ_TLV,
        .pss_ecmp = LCFWD_PSS_V4ECMP,
        .pss_ecmp_tlv = LCFWD_PSS_V4ECMP_TLV,
        .global_drop = 1,
        .global_punt = 2,
        .global_glean = 3,
        .global_mcast_src = 9,
        .pfx_flags = UFIB_PFX_FLAG_V4,
    },
    {
        .name = "v6",
        .index = UFIB_STATS_V6,
        .afi = 2,
        .addr_bytes = 16,
        .max_len = 128,
        .table_type = UFIB_TABLE_TYPE_V6,
        .wildcard_table = UFIB_WILDCARD_V6,
        .prefix_type = UFIB_OBJ_V6PREFIX,
        .adj_type = UFIB_OBJ_V6ADJ,
        .opcode_add = 3,
        .opcode_delete = 4,
        .err_opcode = UFIB_ERR_REQUEST,
        .err_zero_hops = UFIB_ERR_REQUEST,
        .err_mask_len = E_IPV6_MASK_LEN,
        .err_null_payload = E_V6RTUP_NULL_PAYLOAD,
        .err_no_vdc = E_V6RTUP_NO_VDC_CTXT,
        .err_inactive = E_V6RTUP_VDC_INACTIVE,
        .err_send = E_V6RTUP_MTS_SEND,
        .pss_adj = LCFWD_PSS_V6ADJ,
        .pss_adj_tlv = LCFWD_PSS_V6ADJ_TLV,
        .pss_ecmp = LCFWD_PSS_V6ECMP,
        .pss_ecmp_tlv = LCFWD_PSS_V6ECMP_TLV,
        .global_drop = 4,
        .global_punt = 5,
        .global_glean = 6,
        .global_mcast_src = 10,
        .pfx_flags = 0,
    },
};

inline constexpr const ufib_family &ufib_v4 = ufib_families[0];
inline constexpr const ufib_family &ufib_v6 = ufib_families[1];

/* The family of a table type (1 or 2); null for any other. */
[[nodiscard]] constexpr const ufib_family *ufib_family_of_table_type(uint32_t type) {
    return type == UFIB_TABLE_TYPE_V4 ? &ufib_v4 : type == UFIB_TABLE_TYPE_V6 ? &ufib_v6 : nullptr;
}

/* An address as text, in a static buffer that stays good for several calls. */
[[nodiscard]] const char *ufib_addr_str(const ufib_family &family, const uint8_t *address);
[[nodiscard]] const char *ufib_prefix_str(const ufib_family &family, const uint8_t *address,
                                          uint32_t mask_len);
[[nodiscard]] uint32_t ufib_v4_addr(const uint8_t *address); /* network bytes to host order */
