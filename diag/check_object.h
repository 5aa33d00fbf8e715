/* diag/check_object.h: one object of the model against its records and the engine, or one record against the model;
 * every difference is a row. Nothing is changed. One thread. */
#pragma once

#include "diag/check_report.h"
#include "host/store/store.h"
#include "persist/lcfwd_pss_kind.h"

struct ufib_adj;
struct ufib_ecmp;
struct ufib_pfx;
struct ufib_vdc;
struct ufib_vobj;

void check_prefix(check_report *report, ufib_pfx *pfx); /* a route, or a recursive next hop */
void check_next_objects(check_report *report, ufib_vdc *vdc, ufib_pfx *pfx); /* all that a prefix leads to */
void check_adj(check_report *report, ufib_adj *adj);
void check_global_adj(check_report *report, ufib_vdc *vdc, uint32_t kind); /* none of that kind: nothing */
void check_group(check_report *report, const ufib_ecmp *group);
void check_vobj(check_report *report, const ufib_vobj *vobj);

/* A record's object must be there, under the record's handle. Kinds: prefix, prefix_rnh, v4adj, v6adj, v4ecmp, v6ecmp. */
void check_record(check_report *report, ufib_vdc *vdc, lcfwd_pss_kind kind, const pss2_datum &key);
