/* tools/lcfwdctl/wire_check.h: polls of statistics and reports of consistency checks, as they lie in messages. The
 * layouts are the process's own: one definition for both ends. */
#pragma once

#include "tools/lcfwdctl/next_hop.h"

#include "ufib/ufib_consistency_wire.h"
#include "ufib/ufib_stats_wire.h"

#include <span>
#include <vector>

constexpr uint32_t CTL_OPC_STATISTICS = 74753;
constexpr uint32_t CTL_STATISTICS_VERSION = 3;
constexpr uint32_t CTL_OPC_CHECK_V4 = 1119;
constexpr uint32_t CTL_OPC_CHECK_V6 = 1123;

/* ---- statistics ---- */

/* 'family' 4, 6, or 0 for both; 'address' (16 bytes) null: every next hop of the interface, which is 0 for all. */
[[nodiscard]] std::vector<uint8_t> ctl_stats_make(uint8_t type, uint8_t family, uint32_t if_index,
                                                  const uint8_t *address);
/* The answer that comes first. 0 or EBADMSG; '*started' false: there is nothing to wait for. */
[[nodiscard]] int ctl_stats_started(std::span<const uint8_t> answer, bool *started);
/* One of the others: its rows are appended. 0 or EBADMSG. '*last': no more come. */
[[nodiscard]] int ctl_stats_read(std::span<const uint8_t> answer, std::vector<ufib_stats_row> *rows,
                                 bool *last);

/* ---- consistency ---- */

struct ctl_check_row {
    uint8_t family;    /* 4 or 6 */
    uint32_t table;    /* of routes */
    uint32_t if_index; /* of adjacencies */
    uint8_t flags;     /* UFIB_CC_*; of adjacencies UFIB_CC_NOT_NAMED or UFIB_CC_NEXT_HOPS */
    uint8_t mask_len;  /* of routes */
    uint8_t address[16];
};

/* A report about routes of a family, or about adjacencies, whose family its size tells. 0 or EBADMSG. */
[[nodiscard]] int ctl_check_routes_read(std::span<const uint8_t> report, uint8_t family,
                                        std::vector<ctl_check_row> *rows, bool *last);
[[nodiscard]] int ctl_check_adjs_read(std::span<const uint8_t> report, std::vector<ctl_check_row> *rows,
                                      bool *last);

/* One row a route, in order: a route that was named and found wrong is reported as not named, too, since only what is
 * right counts as seen. */
void ctl_check_rows_join(std::vector<ctl_check_row> *rows);

/* A notice that names neighbours for a check; 'end' ends it for the families given as 4, 6, or 0 for both. */
[[nodiscard]] std::vector<uint8_t> ctl_check_neighbours_make(std::span<const ctl_next_hop> hops, bool end,
                                                             uint8_t family);
