/* diag/ufib_show_route.h: back-ends that show routes: as the model has them, as the store has them, and what the
 * services hang on them. They walk tables in pieces of at most 100 prefixes (and 2000 looked at) with a cookie
 * (diag/show_params.h). Nothing in the model changes. A VDC id outside 1 to 5 gets no answer. One thread. */
#pragma once

#include "ufib/ufib_family.h"
#include "ufib/ufib_object.h"

#include <cstdint>

struct cmd_handle;
struct ufib_adj;
struct ufib_pfx;
struct ufib_route_show;

/* Routes of one table, or with CMD_ATTR_ALL_VRFS of all tables of the family. Refusals: 3 "table does not exist", 4 "no
 * routes in the table", 0 "no exact match in table ...". List "routes". */
void ufib_show_v4_routes_be(cmd_handle *handle, uint32_t vdc_id);
void ufib_show_v6_routes_be(cmd_handle *handle, uint32_t vdc_id);

/* The same choice of routes, each with its record in the store: list "stored_routes". */
void ufib_show_v4_pss_routes_be(cmd_handle *handle, uint32_t vdc_id);
void ufib_show_v6_pss_routes_be(cmd_handle *handle, uint32_t vdc_id);

/* IPv4 routes that are bound to a MAC by the source guard (list "security_macs"), or carry a security-group tag (list
 * "security_tags"). */
void ufib_show_v4_security_mac_be(cmd_handle *handle, uint32_t vdc_id);
void ufib_show_v4_security_sgt_be(cmd_handle *handle, uint32_t vdc_id);

/* Tables of the VDC, both families, with their counts: list "tables". */
void lcfwd_show_tables(cmd_handle *handle, uint32_t vdc_id);

/* ---- next objects ---- */

/* One way out of a next object. */
struct ufib_show_path {
    const ufib_obj *obj; /* null: it should be there and is not */
    uint32_t label;      /* 0: none */
};

/* How a type of next object is shown; the owner of the type registers it, and a type without a row is shown by name
 * and handle. */
struct ufib_show_next_type {
    uint32_t (*path_count)(const ufib_obj *next);
    ufib_show_path (*path)(const ufib_obj *next, uint32_t index);
    /* All that is said behind the prefix; null: the paths, each by name and handle. */
    void (*show)(const ufib_route_show *show, const ufib_pfx *pfx);
};
void ufib_show_next_register(uint32_t type, const ufib_show_next_type &functions);
[[nodiscard]] const ufib_show_next_type *ufib_show_next_of(uint32_t type); /* null: none */

/* The MAC of a prefix's source-guard object, network order; null while no source guard is there. */
using ufib_show_ipsg_mac_fn = const uint8_t *(*)(const ufib_pfx *pfx);
void ufib_show_ipsg_register(ufib_show_ipsg_mac_fn mac);
