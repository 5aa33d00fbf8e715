/* ufib/ufib_record.h: layouts of the stored records of the unicast side: a file format, every byte stays. Integers
 * and IPv4 addresses in the machine's order, IPv6 addresses in network order; packed, so they are copied in and out
 * at these offsets and never read in place. Keys are hardware handles wherever an object has one. */
#pragma once

#include <cstddef>
#include <cstdint>

/* "prefix": key is the handle. Then a TLV array: type 1, the whole route flags. */
struct __attribute__((packed)) ufib_prefix_record {
    uint8_t route_flags; /* low byte */
    uint8_t holders;
    uint8_t epoch;
    uint32_t next_handle;
    uint8_t path_count; /* of the next object */
    uint8_t next_type;
};
static_assert(sizeof(ufib_prefix_record) == 9);
constexpr uint32_t UFIB_PREFIX_RECORD_SIZE = 9 + 4 + 8; /* with the array's head and its one element */
constexpr uint16_t UFIB_PREFIX_TLV_FLAGS = 1;

/* "prefix_rnh": a recursive next hop has no handle. Value: the part below, then a "prefix" value. */
struct __attribute__((packed)) ufib_rnh_record_key {
    uint32_t table_id;
    uint8_t address[16]; /* IPv4 in the first four */
    uint8_t mask_len;
    uint8_t zero[3];
};
static_assert(sizeof(ufib_rnh_record_key) == 24);
struct __attribute__((packed)) ufib_rnh_record {
    uint8_t flags; /* UFIB_HA_*: IPv4, pending, delete-marked */
    uint8_t zero[3];
    uint32_t next_handle;
    uint32_t adj_handles[64]; /* next handle + index, for as many as it has paths */
};
static_assert(sizeof(ufib_rnh_record) == 264);
constexpr uint32_t UFIB_RNH_RECORD_SIZE = 264 + UFIB_PREFIX_RECORD_SIZE;

/* "v4adj", "v6adj": key is the handle; the address has 4 or 16 bytes. */
struct __attribute__((packed)) ufib_adj_record {
    uint8_t holders;
    uint32_t if_index;
    uint8_t address[16];
};
static_assert(sizeof(ufib_adj_record) == 21);
constexpr uint32_t UFIB_V4ADJ_RECORD_SIZE = 9;
constexpr uint32_t UFIB_V6ADJ_RECORD_SIZE = 21;

/* "v4adj_tlv", "v6adj_tlv": a TLV array: type 1, PBR count and WCCP count. */
constexpr uint32_t ufib_pss_v4adj_tlv_vsize = 4 + 4 + 2;
constexpr uint32_t ufib_pss_v6adj_tlv_vsize = ufib_pss_v4adj_tlv_vsize;
constexpr uint16_t UFIB_ADJ_TLV_COUNTS = 1;

/* "v4ecmp", "v6ecmp": key is the handle. Value: holders (1 byte), 3 zero bytes, the group's key of 516 or 1284 bytes,
 * 4 zero bytes. */
constexpr uint32_t UFIB_ECMP_RECORD_KEY = 4;
constexpr uint32_t ufib_ecmp_record_size(uint32_t key_bytes) { return UFIB_ECMP_RECORD_KEY + key_bytes + 4; }
static_assert(ufib_ecmp_record_size(516) == 524 && ufib_ecmp_record_size(1284) == 1292);

/* "v4ecmp_tlv", "v6ecmp_tlv": a TLV array: type 1, the low half of the count of PBR references. */
constexpr uint32_t ufib_pss_v4ecmp_tlv_vsize = 4 + 4 + 2;
constexpr uint32_t ufib_pss_v6ecmp_tlv_vsize = ufib_pss_v4ecmp_tlv_vsize;
constexpr uint16_t UFIB_ECMP_TLV_PBR = 1;

/* "ufib_table": key is the table id. Value: family, then a TLV array. */
constexpr uint16_t UFIB_TABLE_TLV_FLAGS = 1;    /* 4 bytes */
constexpr uint16_t UFIB_TABLE_TLV_PLATFORM = 2; /* the platform's own bytes, if it has any */

struct __attribute__((packed)) ufib_rpf_record { /* key: if_index */
    uint8_t v4_mode;
    uint8_t v6_mode;
};
static_assert(sizeof(ufib_rpf_record) == 2);

/* "misc": key is the handle. */
struct ufib_misc_record {
    uint32_t kind;      /* number of the database of the object */
    uint32_t adj_flags; /* low 16 bits */
    uint32_t zero;
};
static_assert(sizeof(ufib_misc_record) == 12);
