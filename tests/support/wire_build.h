/* tests/support/wire_build.h: messages as a supervisor sends them, put together byte by byte and knowing
 * nothing of the product's own layouts: a wrong layout there cannot agree with itself here. Addresses are
 * given as text. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

using bytes = std::vector<uint8_t>;

bytes bytes_from_hex(const std::string &hex); /* blanks are ignored */
std::string hex_from_bytes(const bytes &data);

/* Writes numbers in network order at the end of a message. */
void put8(bytes *out, unsigned value);
void put16(bytes *out, unsigned value);
void put32(bytes *out, uint32_t value);
void put_bytes(bytes *out, const bytes &data);
void put_zeros(bytes *out, size_t count);
void set16(bytes *out, size_t offset, unsigned value);

/* 4 or 16 bytes of an address; throws for a text that is none. */
bytes address_bytes(const std::string &text);

struct wire_hop {
    std::string address;
    uint32_t if_index = 0;
    uint8_t flags = 0;
    uint32_t table_id = 1;
    std::vector<uint32_t> labels = {};
    bytes xri = {}; /* 24 bytes, or none */
    std::optional<uint32_t> segment = {};
};

struct wire_route {
    std::string prefix; /* "10.1.0.0/16" */
    std::vector<wire_hop> hops = {};
    bool remove = false;
    uint8_t flags = 0;
    uint32_t table_id = 1;
    std::optional<uint32_t> extended = {};
    std::optional<uint8_t> opcode = {}; /* another one than the family's add or delete */
};

struct wire_batch {
    std::vector<wire_route> routes;
    uint8_t epoch = 1;
    uint8_t flags = 0;
    uint32_t xid = 0x01020304;
    uint8_t client_id = 7;
    uint32_t table_id = 1;                   /* of the header, version 0 only */
    std::optional<uint32_t> batch_size = {}; /* another one than the bytes of the records */
    std::optional<uint16_t> count = {};      /* another one than the number of records */
};

bytes wire_route_v1(const wire_route &route);
bytes wire_route_v0(const wire_route &route);
bytes wire_batch_v1(const wire_batch &batch);
bytes wire_batch_v0(const wire_batch &batch);

bytes wire_download(uint8_t operation);      /* unicast: 1 start, 2 end */
bytes wire_mfdm_download(uint8_t operation); /* multicast */
bytes wire_up(uint8_t epoch);
bytes wire_stale_delete(uint8_t family, uint32_t table_id, uint8_t epoch);
bytes wire_vdc(uint16_t vdc_id); /* create and delete; in the machine's order */
bytes wire_line_card(uint16_t slot, uint16_t vdc_id, uint32_t module_type, uint32_t sw_card_id);

struct wire_neighbour {
    std::string address;
    uint32_t if_index;
    std::string mac = ""; /* 12 hex digits; empty: not resolved */
    uint8_t flags = 0;
};
bytes wire_am_notice(const std::vector<wire_neighbour> &neighbours, uint8_t flags = 0);

/* Opcodes. */
constexpr uint32_t OPC_VDC_CREATE = 485;
constexpr uint32_t OPC_VDC_DELETE = 488;
constexpr uint32_t OPC_V4_ROUTES = 74767;
constexpr uint32_t OPC_V6_ROUTES = 74768;
constexpr uint32_t OPC_AM_NOTICE = 74766;
constexpr uint32_t OPC_DOWNLOAD = 74762;
constexpr uint32_t OPC_UP = 74765;
constexpr uint32_t OPC_STALE_DELETE = 74755;
constexpr uint32_t OPC_STATUS_REQUEST = 575;
constexpr uint32_t OPC_MFDM_DOWNLOAD = 75787;
constexpr uint32_t OPC_MFDM_UP = 75783;
constexpr uint32_t OPC_LC_INSERTED = 62488;
constexpr uint32_t OPC_LC_REMOVED = 31747;
constexpr uint32_t OPC_FEATURE_SET = 8931;
constexpr uint32_t OPC_REPORT = 77826;
constexpr uint32_t OPC_COMMAND = 7679;
