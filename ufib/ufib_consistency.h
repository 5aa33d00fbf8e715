/* ufib/ufib_consistency.h: consistency checks: what the supervisor believes, against the model and hardware. The route
 * sender names its routes in ordinary batches on an opcode of their own; each is compared and marked as seen, and after
 * the last batch of a table the routes without a mark are those that it does not have. Adjacencies are checked in the
 * same way by notices of the adjacency manager. Reports go back as answers to the message that filled them; those of a
 * check wait over its batches in one buffer for each VDC and family. A check changes nothing but marks; those of one
 * that was never ended stay until the next. One thread. */
#pragma once

#include "ufib/ufib_am.h"
#include "ufib/ufib_consistency_wire.h"
#include "ufib/ufib_family.h"
#include "ufib/ufib_next_hop.h"

#include <cstdint>

struct mts_msg;
struct ufib_pfx;
struct ufib_vobj;

/* ---- reports ---- */

struct ufib_cc_response {
    const ufib_family *family;
    uint32_t table_id; /* 0: none yet */
    uint32_t inconsistent;
    uint32_t missing;
    uint32_t sender_node, sender_sap, sender_peer; /* of whom the rows are */
    uint8_t rows[v6_inconsistent_route_count * sizeof(ufib_cc_row)];
};

/* The buffer of a VDC and family for routes or for adjacencies; what another sender left in it is gone. */
[[nodiscard]] ufib_cc_response *ufib_cc_response_of(const ufib_vdc *vdc, const ufib_family &family,
                                                    bool routes, const mts_msg *message);
/* Names the table of the rows to come; a report about another one is sent first. */
void ufib_cc_table(const mts_msg *message, ufib_cc_response *response, uint32_t table_id);
/* Appends a row, and sends when that was the last one that fits. */
void ufib_cc_row_add(const mts_msg *message, ufib_cc_response *response, const void *row, bool missing);
/* Sends and begins anew, for the same table. */
void ufib_cc_send(const mts_msg *message, ufib_cc_response *response, uint8_t flags);
void ufib_consistency_forget(const ufib_vdc *vdc); /* the VDC goes, and what would have been told of it */
void ufib_consistency_reset();                     /* process teardown in tests */

/* ---- routes ---- */

/* A whole batch: the message's payload, header included. False: it is shorter than a header. */
[[nodiscard]] bool ufib_route_consistency_check(const ufib_family &family, const mts_msg *message,
                                                ufib_vdc *vdc, ufib_cc_response *response);
/* Whether a route is looked at: no delete, and of a table that this card needs. 'table_id' is the batch's or the record's
 * own, here and below. */
[[nodiscard]] bool ufib_route_is_compared(const ufib_family &family, const ufib_vdc *vdc, uint8_t opcode,
                                          uint32_t table_id, uint8_t flags);
/* One route of a batch. */
void ufib_route_consistency_check_be(const ufib_family &family, const mts_msg *message,
                                     const route_rec *route, uint32_t table_id, ufib_vdc *vdc,
                                     ufib_cc_response *response);
/* A batch that ends a check: reports what has no mark, takes the marks away, sends. */
void ufib_route_consistency_end(const ufib_family &family, const mts_msg *message, uint32_t table_id,
                                ufib_vdc *vdc, ufib_cc_response *response);
/* Whether the engine has a route as the model does: its own entry, which one without a handle does not have, and where
 * that leads; of what is in the model only, as recursive next hops are, a library has nothing to say. */
[[nodiscard]] bool ufib_prefix_in_hardware(const ufib_pfx *pfx);
[[nodiscard]] bool ufib_hardware_has_prefix(ufib_pfx *pfx);
[[nodiscard]] bool ufib_hardware_has_next(ufib_pfx *pfx);
[[nodiscard]] bool ufib_hardware_has_adj(ufib_adj *adj);
/* Takes the marks off all adjacencies and virtual objects of a VDC. */
void ufib_clear_cc_state(ufib_vdc *vdc, const ufib_family &family);

/* Whether a prefix leads where the route says; '*flags' gets UFIB_CC_NEXT_HOPS if not. 'count' is the effective number
 * of next hops. */
void ufib_consistency_check_nh_and_interfaces(ufib_vdc *vdc, const ufib_pfx *pfx, const ufib_nh_list *hops,
                                              uint32_t count, uint32_t route_flags, uint8_t *flags);
bool ufib_is_vobj_nh_inconsistent(const ufib_family &family, const route_rec *route, const ufib_nh_list *hops,
                                  const ufib_vobj *vobj, uint8_t *flags);
/* Marks a virtual object as found right ('is_active') or wrong, or the adjacencies of another object as led to. */
void ufib_nh_set_consis_flags(ufib_obj *object, bool is_active, bool value);

/* ---- adjacencies ---- */

/* An entry of the manager against the adjacency that it names. */
void ufib_adj_consistency_check(ufib_vdc *vdc, const ufib_family &family, const ufib_am_entry &entry,
                                const mts_msg *message);
/* The end of a check: reports adjacencies without a mark, takes the marks away, sends. */
void ufib_adj_consistency_walk(ufib_vdc *vdc, const ufib_family &family, const mts_msg *message);
