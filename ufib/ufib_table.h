/* ufib/ufib_table.h: VRF tables: one VRF of one address family, with two tries: the routes, and the recursive next
 * hops that routes resolve through. A table lives as long as it has prefixes; an empty one waits on the
 * delete-pending list for five seconds, so that a reload does not tear it down. One thread. */
#pragma once

#include "host/containers/pt.h"
#include "host/containers/ravl.h"
#include "platform/ufib_ha_route.h"
#include "ufib/ufib_family.h"
#include "ufib/ufib_object.h"

#include <cstdint>

struct lcfwd_vdc_desc;
struct ufib_vdc;

constexpr uint8_t UFIB_TABLE_DELETE_PENDING = 0x80; /* its deletion was asked while prefixes remained */

/* One trie of a table and its counters. */
struct ufib_table_side {
    pt_root trie;
    uint32_t prefix_count;
    uint32_t *per_length; /* max_len + 1 counters */
    int32_t nh_count;     /* sum of the prefixes' next-hop counts */
};

struct ufib_table {
    ufib_obj obj;
    ravl_node by_id; /* in the VDC's tree */
    uint32_t table_id;
    uint16_t vdc_id;
    uint8_t type; /* UFIB_TABLE_TYPE_* */
    uint8_t flags;
    bool stored; /* the store has a record of it */
    pt_attr *attr;
    ufib_table_side main;
    ufib_table_side rnh;
    /* platform tail */
};

[[nodiscard]] inline const ufib_family &ufib_table_family(const ufib_table *table) {
    return ufib_families[table->type == UFIB_TABLE_TYPE_V6 ? 1 : 0];
}
[[nodiscard]] inline bool ufib_table_is_empty(const ufib_table *table) {
    return pt_is_empty(&table->main.trie) && pt_is_empty(&table->rnh.trie);
}
[[nodiscard]] inline bool ufib_table_is_wildcard(uint32_t table_id) {
    return table_id == UFIB_WILDCARD_V4 || table_id == UFIB_WILDCARD_V6;
}
[[nodiscard]] void *ufib_table_platform_space(ufib_table *table); /* null when the platform asked for none */

/* The entry for all who need a table: finds it, or makes it; completes one that is not in hardware yet, unless
 * 'incomplete': then software only (somebody names the table before a route arrived). 'record' gives the handle of
 * the time before a restart, or is null. Null with ufib_errno: E_INV_TABLE_ID for id 0, E_TABLE_NOMEM, E_PT_NOMEM.
 * E_TABLE_HW_INSTALL with the table: it stays in software. */
[[nodiscard]] ufib_table *ufib_get_create_table(ufib_vdc *vdc, uint32_t table_id, uint32_t type,
                                                bool incomplete, const ufib_ha_route *record);

/* By id; a wildcard table of a platform that shares them is found from any VDC. A null VDC gives null. */
[[nodiscard]] ufib_table *ufib_table_search(ufib_vdc *vdc, uint32_t table_id);
/* In the first active VDC that holds the id; '*vdc_out' (may be null) gets it. */
[[nodiscard]] ufib_table *ufib_table_search_first_vdc(uint32_t table_id, ufib_vdc **vdc_out);
[[nodiscard]] ufib_table *ufib_wc_table_search(uint32_t table_id); /* a shared wildcard table; else null */
[[nodiscard]] ufib_table *ufib_table_get_default(uint32_t vdc_id);

[[nodiscard]] inline uint32_t ufib_table_get_default_id() { return UFIB_DEFAULT_V4; }
[[nodiscard]] inline uint32_t ufib_v6_table_get_default_id() { return UFIB_DEFAULT_V6; }

/* Walks by ascending id; the iterator survives the deletion of what it stands on. The good form skips tables whose
 * deletion is pending. Null at the end, and for an id outside 1 to 5. */
[[nodiscard]] ufib_table *ufib_table_get_first(uint32_t vdc_id, ravl_iterator *iterator);
[[nodiscard]] ufib_table *ufib_table_get_next(uint32_t vdc_id, ravl_iterator *iterator);
[[nodiscard]] ufib_table *ufib_table_get_next_good(uint32_t vdc_id, ravl_iterator *iterator);

/* Removes an empty table from hardware and memory: 1. With prefixes left: logged, marked delete-pending, 0. */
int ufib_table_destroy(ufib_table *table);

void ufib_table_db_init(ufib_vdc *vdc);
void ufib_table_db_destroy(ufib_vdc *vdc); /* with whatever prefixes remain, locked ones too */
void ufib_create_wildcard_tables(ufib_vdc *vdc);

/* Gives a shared wildcard table to another active VDC. The new owner, or null (logged) when there is none. */
ufib_vdc *ufib_table_move(ufib_vdc *vdc, ufib_table *table);

/* Delete-pending list: holds (VDC, id), never a pointer. queue: 1, or 0 without memory (the table then stays). */
void ufib_table_dpl_init();
int ufib_table_dpl_queue(const ufib_table *table);
bool ufib_table_dpl_dequeue(ufib_table **out); /* false: the list is empty; '*out' null: that table is gone */
void ufib_table_dpl_clear();
void ufib_table_dpl_timer_expired(void *unused);
void ufib_table_dpl_reset();

/* The table ids that are configured in a VDC, present here or not, from the system's contexts; 0 at the end. */
[[nodiscard]] uint32_t ufib_table_vdc_get_first_table_id(uint32_t vdc_id, bool is_v4);
[[nodiscard]] uint32_t ufib_table_vdc_get_next_table_id(uint32_t vdc_id, bool is_v4, uint32_t table_id);

/* Table notices to the route sender (opcode 0x1300f). 0, or -1: no memory, or not sent. 'all_tables': one row for
 * each table of the family but the wildcard one, with the platform's instance bitmap. */
int ufib_notify_table_add(ufib_vdc *vdc, uint32_t afi, uint32_t table_id, uint32_t instance_bitmap,
                          bool all_tables);
int ufib_notify_table_del(ufib_vdc *vdc, uint32_t afi, uint32_t table_id, uint32_t instance_bitmap);
