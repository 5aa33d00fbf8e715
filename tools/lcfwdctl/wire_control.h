/* tools/lcfwdctl/wire_control.h: the small messages of the supervisor: contexts, the download bracket, stale routes,
 * neighbours, and the status report that comes back. Numbers are big-endian but where the struct has a plain one. */
#pragma once

#include "tools/lcfwdctl/next_hop.h"

#include "core/wire.h"

#include <span>
#include <vector>

constexpr uint32_t CTL_OPC_VDC_CREATE = 485;
constexpr uint32_t CTL_OPC_VDC_DELETE = 488;
constexpr uint32_t CTL_OPC_STATUS_REQUEST = 575;
constexpr uint32_t CTL_OPC_STALE_DELETE = 74755;
constexpr uint32_t CTL_OPC_DOWNLOAD = 74762;
constexpr uint32_t CTL_OPC_UP = 74765;
constexpr uint32_t CTL_OPC_NEIGHBOURS = 74766;
constexpr uint32_t CTL_OPC_REPORT = 77826;
constexpr uint32_t CTL_OPC_TABLE_NOTICE = 0x1300f;

constexpr uint8_t CTL_DOWNLOAD_START = 1;
constexpr uint8_t CTL_DOWNLOAD_END = 2;

/* The id in the byte order of the machine, which both ends share. */
[[nodiscard]] std::vector<uint8_t> ctl_vdc_make(uint16_t vdc_id);
[[nodiscard]] std::vector<uint8_t> ctl_download_make(uint8_t step);
[[nodiscard]] std::vector<uint8_t> ctl_up_make(uint8_t epoch);

struct ctl_stale {
    uint8_t reserved0[2];
    uint8_t family; /* 1 IPv4, 2 IPv6 */
    uint8_t reserved3;
    wire_be<uint32_t> table_id; /* 0: all of the family */
    uint8_t epoch;              /* routes of any other epoch go */
};
static_assert(sizeof(ctl_stale) == 9);
[[nodiscard]] std::vector<uint8_t> ctl_stale_make(uint8_t family, uint32_t table_id, uint8_t epoch);

struct ctl_neighbours { /* then the entries */
    uint8_t reserved0[2];
    wire_be<uint16_t> count;
    uint8_t flags;
    uint8_t reserved5[3];
};
static_assert(sizeof(ctl_neighbours) == 8);

struct ctl_neighbour {
    wire_be<uint16_t> length; /* the step to the next entry */
    uint8_t family;           /* 1 IPv4, 2 IPv6 */
    uint8_t flags;
    wire_be<uint32_t> if_index;
    uint8_t address[16];
    uint8_t mac[6]; /* all zero: unresolved */
    uint8_t reserved30[2];
};
static_assert(sizeof(ctl_neighbour) == 32);
constexpr uint8_t CTL_NEIGHBOUR_INTERFACE_DOWN = 0x80;
constexpr uint8_t CTL_NEIGHBOUR_INTERFACE_GONE = 0x10;

/* A notice of up to 65535 neighbours; 'resolved' false sends no MAC. */
[[nodiscard]] std::vector<uint8_t> ctl_neighbours_make(std::span<const ctl_next_hop> hops, bool resolved,
                                                       uint8_t flags);

struct ctl_report {
    uint8_t reserved0[2];
    uint8_t slot;
    uint8_t ufib_state;
    uint8_t mfib_state;
    uint8_t flags;
    uint8_t reserved6[2];
};
static_assert(sizeof(ctl_report) == 8);
[[nodiscard]] const char *ctl_state_name(uint32_t state); /* "UNKNOWN" for other numbers */

/* The context that a message to the supervisor's node is about. */
[[nodiscard]] constexpr uint32_t ctl_node_vdc(uint32_t node) { return (node >> 16 & 255) + 1; }
