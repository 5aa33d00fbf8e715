/* ufib/ufib_vdc.h: the unicast model of one VDC, and the unicast domain as the core sees it. One thread. */
#pragma once

#include "core/lcfwd_domain.h"
#include "core/lcfwd_vdc.h"
#include "host/containers/ravl.h"

#include <cstdint>

struct ufib_adj;
struct ufib_idb;
struct ufib_table;

constexpr uint32_t UFIB_GLOBAL_ADJ_KINDS = 10;

struct ufib_vdc {
    lcfwd_vdc_desc *desc;
    ravl_tree tables; /* by table id */
    ravl_tree idbs;   /* by interface index */
    ravl_tree ecmps;  /* buckets of groups, by the hash of their keys */
    ravl_tree vobjs;  /* buckets of virtual objects, likewise */
    uint32_t table_count;
    uint32_t prefix_count;
    uint32_t adj_count[2]; /* by family */
    uint32_t ecmp_count;
    uint32_t stale_count;                            /* prefixes that stale walks removed */
    ufib_table *last_table;                          /* the last one found: routes come table by table */
    ufib_idb *dummy_idb;                             /* what global adjacencies point at; in no tree */
    ufib_adj *global_adj[UFIB_GLOBAL_ADJ_KINDS + 1]; /* by kind; null until made */
};

/* The domain's functions, for lcfwd_domain_bind(). */
[[nodiscard]] const lcfwd_domain *ufib_domain();

/* Domain start-up: binds the platform table, sizes the objects, registers object types and timers. */
void ufib_init(bool restart);

/* Birth: databases, wildcard tables, stored files, global adjacencies ('restart': under the handles that the store
 * remembers). Failures are logged; what could not be made stays missing. */
void ufib_vdc_create(lcfwd_vdc_desc *vdc, bool restart);

/* Death: everything of the VDC, from hardware, store and memory. */
void ufib_vdc_delete(lcfwd_vdc_desc *vdc);

/* The model of a VDC id; null outside 1 to 5 and for a VDC that has none. */
[[nodiscard]] ufib_vdc *ufib_vdc_get(uint32_t vdc_id);

/* Whether all of a VDC is going: then nothing waits for hardware that refuses a removal. */
[[nodiscard]] bool ufib_vdc_is_dying(uint32_t vdc_id);

/* Long walks: a heartbeat, and a yield where the system asks for one, each time 'budget' objects are done. */
struct ufib_walk_budget {
    uint32_t left;
    uint32_t size;
};
constexpr uint32_t UFIB_WALK_OBJECTS = 512;
void ufib_walk_step(ufib_walk_budget *budget);
