/* ufib/ufib_ha.h: restart recovery: hardware is forwarding, this process knows nothing. Each stored prefix is replayed
 * as an ordinary route add with a restart record beside it, so that the same code as for live traffic runs, but every
 * object reattaches to the hardware entry that it left, and nothing is written. What cannot be rebuilt is deleted from
 * the store and cleaned out of hardware; where hardware and store differ, the store is right. One thread; a heartbeat
 * and a yield each 500 records. */
#pragma once

#include "host/store/store.h"
#include "platform/ufib_ha_route.h"
#include "ufib/ufib_family.h"
#include "ufib/ufib_route_wire.h"
#include "ufib/ufib_xpi.h"

#include <cstdint>

struct ufib_pfx;
struct ufib_vdc;

extern uint32_t ufib_pi_ha_recovery_done; /* 1 once all VDCs are rebuilt */

/* True when the rest of the process may rely on the model: after the recovery, or when there is none to come. */
[[nodiscard]] bool ufib_ha_is_recovery_done();

/* Rebuilds all active VDCs from their stores. Never fails: bad records are logged and deleted. */
void ufib_ha_restart_recovery();

/* The steps for one VDC, in the order in which they run. */
void ufib_ha_restore_rpf_info(ufib_vdc *vdc);
void ufib_ha_restore_table_info(ufib_vdc *vdc);
void ufib_ha_replay_prefixes(ufib_vdc *vdc);                  /* recursive next hops first, then routes */
void ufib_ha_recover_non_prefix_assoc_entries(ufib_vdc *vdc); /* what a client other than a prefix holds */
void ufib_ha_recover_non_prefix_assoc_groups(ufib_vdc *vdc);  /* groups that nothing above reached */
void ufib_ha_recover_non_prefix_assoc_adj(ufib_vdc *vdc);     /* adjacencies that nothing above reached */
void ufib_ha_complete_groups(ufib_vdc *vdc); /* that lacked a neighbour when they came back */
void ufib_ha_drop_orphans(ufib_vdc *vdc);    /* records beside a record that is gone */
void ufib_ha_sweep_unused(ufib_vdc *vdc);    /* and what nobody turned out to need */

/* Takes flags, holders and next object out of a "prefix" value; 'key' is the hardware handle, 0 for a recursive next
 * hop. False: too short, or too many paths. */
[[nodiscard]] bool ufib_ha_save_pi_prefix_info(ufib_ha_route *record, const pss2_datum &value, uint32_t key);

/* Builds the route as its sender sent it, as far as the model keeps it, and completes the record with the handles and
 * holders of the paths. Null when the next object is not in the store or not in hardware; the result is static. */
[[nodiscard]] const route_rec *ufib_ha_form_route(const ufib_family &family, ufib_vdc *vdc,
                                                  ufib_ha_route *record);
inline const route_rec *ufib_ha_form_v4route(ufib_vdc *vdc, ufib_ha_route *record) {
    return ufib_ha_form_route(ufib_v4, vdc, record);
}
inline const route_rec *ufib_ha_form_v6route(ufib_vdc *vdc, ufib_ha_route *record) {
    return ufib_ha_form_route(ufib_v6, vdc, record);
}

/* One next hop of a route that is being rebuilt: for the label side, from ufib_hooks::ha_form_labelled. False: no room,
 * or more labels than a next hop has. */
struct ufib_ha_form;
struct ufib_ha_hop {
    uint32_t if_index;
    const uint8_t *address; /* 16 bytes, network order; null: all zero */
    uint32_t table_id;
    uint8_t mask_len;
    uint8_t flags = 0; /* NH_* */
    uint32_t label_count = 0;
    uint32_t labels[5] = {}; /* or the segment id */
};
[[nodiscard]] bool ufib_ha_form_hop(ufib_ha_form *form, const ufib_ha_hop &hop);

/* Tag and source binding as hardware knows them. False: the prefix has none. */
[[nodiscard]] bool ufib_ha_form_xpi(const ufib_ha_route &record, ufib_xpi *out);

/* A replayed prefix has its next object and handle: makes record and hardware agree with the model where they do not.
 * False: hardware refuses, and the entry is gone. */
[[nodiscard]] bool ufib_ha_prefix_stands(ufib_pfx *pfx, const ufib_ha_route &record);

void ufib_ha_reset();
