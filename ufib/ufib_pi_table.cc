/* Accessors: tables, interfaces, the rest. */
#include "core/lcfwd_mts.h"
#include "platform/ufib_pi.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_idb.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_vdc.h"

#include <cstddef>

static const ufib_table *table_of(const void *table) { return static_cast<const ufib_table *>(table); }

/* Searches the VDCs from 'first' on. */
static void *search_from(uint32_t first, uint32_t table_id, uint32_t *vdc_id) {
    for (uint32_t id = first; id <= LCFWD_VDC_MAX; id++) {
        if (lcfwd_vdc_active_row(id) == nullptr) continue;
        ufib_vdc *vdc = ufib_vdc_get(id);
        ravl_node *node = vdc == nullptr ? nullptr : ravl_lookup(&vdc->tables, &table_id);
        if (node == nullptr) continue;
        *vdc_id = id;
        return ravl_object<ufib_table>(node, offsetof(ufib_table, by_id));
    }
    return nullptr;
}

static void link_local_visit(ufib_pfx *pfx, void *argument) {
    if (!ufib_pi_v6_is_addr_link_local(ufib_pfx_address(pfx))) return;
    ufib_platform_update_link_local_route(pfx->table->vdc_id, ufib_pi_v6prefix_get_if_index(pfx),
                                          *static_cast<const bool *>(argument));
}

extern "C" {

bool ufib_pi_table_is_wildcard(uint32_t table_id) { return ufib_table_is_wildcard(table_id); }
bool ufib_pi_route_is_wildcard(const void *pfx) {
    return pfx != nullptr && ufib_pi_route_flags_is_wildcard(static_cast<const ufib_pfx *>(pfx)->route_flags);
}
bool ufib_pi_route_flags_is_wildcard(uint32_t route_flags) { return (route_flags & ROUTE_WILDCARD) != 0; }
uint32_t ufib_pi_table_get_default_id() { return UFIB_DEFAULT_V4; }
uint32_t ufib_pi_table_get_default_v6_id() { return UFIB_DEFAULT_V6; }
bool ufib_pi_table_is_v4(const void *table) {
    return table != nullptr && table_of(table)->type == UFIB_TABLE_TYPE_V4;
}
bool ufib_pi_table_is_v6(const void *table) {
    return table != nullptr && table_of(table)->type == UFIB_TABLE_TYPE_V6;
}
uint32_t ufib_pi_get_table_id(const void *table) { return table == nullptr ? 0 : table_of(table)->table_id; }
void *ufib_pi_table_get_platform_space(void *table) {
    return table == nullptr ? nullptr : ufib_table_platform_space(static_cast<ufib_table *>(table));
}

void *ufib_pi_table_get_first(uint32_t vdc_id) {
    ravl_iterator iterator;
    return ufib_table_get_first(vdc_id, &iterator);
}
void *ufib_pi_table_get_next(const void *table) {
    if (table == nullptr) return nullptr;
    return ravl_object<ufib_table>(ravl_next(&table_of(table)->by_id), offsetof(ufib_table, by_id));
}
void *ufib_pi_table_search(uint32_t vdc_id, uint32_t table_id) {
    return ufib_table_search(ufib_vdc_get(vdc_id), table_id);
}
void *ufib_pi_table_search_first_vdc(uint32_t table_id, uint32_t *vdc_id) {
    return search_from(LCFWD_VDC_MIN, table_id, vdc_id);
}
void *ufib_pi_table_search_next_vdc(uint32_t table_id, uint32_t *vdc_id) {
    return search_from(*vdc_id + 1, table_id, vdc_id);
}
void *ufib_pi_get_table_ptr(const void *pfx) {
    return pfx == nullptr ? nullptr : static_cast<const ufib_pfx *>(pfx)->table;
}

int ufib_pi_table_notify_add_bmap(uint32_t vdc_id, uint32_t afi, uint32_t table_id, uint32_t bitmap) {
    ufib_vdc *vdc = ufib_vdc_get(vdc_id);
    return vdc == nullptr ? -1 : ufib_notify_table_add(vdc, afi, table_id, bitmap, false);
}
int ufib_pi_table_notify_del_bmap(uint32_t vdc_id, uint32_t afi, uint32_t table_id, uint32_t bitmap) {
    ufib_vdc *vdc = ufib_vdc_get(vdc_id);
    return vdc == nullptr ? -1 : ufib_notify_table_del(vdc, afi, table_id, bitmap);
}

void ufib_pi_table_destroy(uint32_t vdc_id, uint32_t table_id) {
    ufib_table *table = ufib_table_search(ufib_vdc_get(vdc_id), table_id);
    if (table == nullptr) return;
    ufib_destroy_table_prefixes(table);
    (void)ufib_table_destroy(table);
}
void ufib_pi_pss_insert_table(void *table) {
    if (table != nullptr) ufib_pss_insert_table(static_cast<ufib_table *>(table));
}
void ufib_pi_update_link_local_routes(uint32_t vdc_id, bool add) {
    ravl_iterator iterator;
    for (ufib_table *table = ufib_table_get_first(vdc_id, &iterator); table != nullptr;
         table = ufib_table_get_next(vdc_id, &iterator))
        if (table->type == UFIB_TABLE_TYPE_V6) ufib_pt_walk(&table->main, link_local_visit, &add);
}

uint32_t ufib_pi_idb_get_ifindex(const void *idb) {
    return idb == nullptr ? 0 : static_cast<const ufib_idb *>(idb)->if_index;
}
void *ufib_pi_idb_get_first(uint32_t vdc_id) {
    ufib_vdc *vdc = ufib_vdc_get(vdc_id);
    return vdc == nullptr ? nullptr : ufib_idb_get_first(vdc);
}
void *ufib_pi_idb_get_next(const void *idb) {
    return idb == nullptr ? nullptr : ufib_idb_get_next(static_cast<const ufib_idb *>(idb));
}

uint32_t ufib_pi_get_pd_queue() { return fib_q_mts_pd; }
}
