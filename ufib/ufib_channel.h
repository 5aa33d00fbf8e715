/* ufib/ufib_channel.h: the unicast update channel inside ufib/: how a batch is taken apart. The handlers themselves
 * are declared in core/lcfwd_handlers.h. One thread; the receive buffer is read in place. */
#pragma once

#include "core/lcfwd_mts.h"
#include "core/lcfwd_vdc.h"
#include "core/wire.h"
#include "ufib/ufib_family.h"
#include "ufib/ufib_route_wire.h"

#include <cstdint>

/* Re-entries for a reload that the process drives itself: called with an event that carries the opcode. */
constexpr uint32_t UFIB_OPC_V4_ROUTE_DOWNLOAD = 77827;
constexpr uint32_t UFIB_OPC_V6_ROUTE_DOWNLOAD = 77828;
int ufib_v4_route_download(fu_event *event, fu_event_node **out);
int ufib_v6_route_download(fu_event *event, fu_event_node **out);

/* Message of the platform queue about an interrupt; only logged. */
int ufib_fu_l3_msg_handler(fu_event *event, fu_event_node **out);

/* Asks the route sender for the table id of a context: waits for the answer. 0 on failure. */
uint32_t ufib_ufdm_get_tableid(uint32_t name_key);

/* Result of a batch. */
struct ufib_batch_result {
    uint32_t ack;    /* routes worked well, or taken without work */
    uint32_t nack;   /* routes refused */
    uint32_t status; /* 0, or E_PARTIAL in the class of routes */
};

/* Bulk workers. 'body' is what follows the header. The walk ends at a record that cannot be: one failure; version 0
 * counts the records behind it as refused. */
void ufib_bulk_v1_route_update(const ufib_family &family, lcfwd_vdc_desc *vdc, const route_update_v1_hdr &hdr,
                               wire_cursor body, ufib_batch_result *result);
void ufib_bulk_route_update(const ufib_family &family, lcfwd_vdc_desc *vdc, const route_update_hdr &hdr,
                            wire_cursor body, ufib_batch_result *result);

/* Checks of the headers: every rule runs and counts, the last that fails stands in ufib_errno. True: bad. Without
 * 'check_counts' only the table is looked at. */
bool ufib_route_update_v1_hdr_errors(const route_update_v1_hdr &hdr);
bool ufib_route_update_hdr_errors(const route_update_hdr &hdr, bool check_counts);

/* Turns the version 0 record at the cursor, which is 'route_len' bytes long and within the cursor, into a route
 * record in a static scratch area. Null when its next hops pass its end, have an extra block that is too short, or do
 * not fit: E_ROUTE_NHINFO_INVALID. */
[[nodiscard]] const route_rec *ufib_route_convert(const ufib_family &family, const uint8_t *record,
                                                  uint32_t route_len, uint32_t table_id);

/* Length of the fixed part of a version 0 record, and its own length, opcode and flags. */
[[nodiscard]] uint32_t ufib_route_v0_fixed(const ufib_family &family);
[[nodiscard]] uint32_t ufib_route_v0_len(const ufib_family &family, const uint8_t *record);

/* Measuring of the performance of loads: the running count of routes, shown at each 10000. */
extern uint32_t ufib_perf_route_count;
extern bool display_results;
