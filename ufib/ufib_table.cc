#include "ufib/ufib_table.h"

#include "core/lcfwd_log.h"
#include "core/lcfwd_timer.h"
#include "host/containers/heap.h"
#include "host/containers/slab.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_dpl.h"
#include "ufib/ufib_journal.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_vdc.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

constexpr uint32_t TABLE_PER_SLAB = 128;

static slab *table_slab;
static ufib_dpl table_delete_pending_list;

/* 0 on equal, 2 if less, 1 if greater: what the trees expect. */
static int ufib_table_compare(const void *a, const void *b) {
    uint32_t left, right;
    std::memcpy(&left, a, sizeof left);
    std::memcpy(&right, b, sizeof right);
    return left == right ? 0 : left > right ? 1 : 2;
}

static ufib_table *table_of(ravl_node *node) {
    return ravl_object<ufib_table>(node, offsetof(ufib_table, by_id));
}

void ufib_table_db_init(ufib_vdc *vdc) {
    (void)ravl_init(&vdc->tables, sizeof(uint32_t),
                    offsetof(ufib_table, table_id) - offsetof(ufib_table, by_id), ufib_table_compare);
}

void *ufib_table_platform_space(ufib_table *table) {
    if (ufib_platform_table_space_len() == 0) return nullptr;
    return reinterpret_cast<uint8_t *>(table) + ufib_obj_get_size(UFIB_OBJ_TABLE) -
           ufib_platform_table_space_len();
}

static ufib_table *ufib_table_alloc() {
    if (table_slab == nullptr)
        table_slab = slab_create("ufib table", ufib_obj_get_size(UFIB_OBJ_TABLE), TABLE_PER_SLAB);
    return table_slab == nullptr ? nullptr : static_cast<ufib_table *>(slab_calloc(table_slab));
}

static void ufib_table_free(ufib_table *table) {
    std::free(table->main.per_length);
    std::free(table->rnh.per_length);
    if (table->attr != nullptr) pt_attr_destroy(table->attr);
    ufib_journal_forget(&table->obj);
    slab_free(table_slab, table);
}

/* 0, or -1 with ufib_errno. */
static int ufib_table_init(ufib_table *table, uint32_t vdc_id, uint32_t table_id, const ufib_family &family) {
    table->obj.type_refs = UFIB_OBJ_TABLE;
    table->table_id = table_id;
    table->vdc_id = static_cast<uint16_t>(vdc_id);
    table->type = static_cast<uint8_t>(family.table_type);
    for (ufib_table_side *side : {&table->main, &table->rnh}) {
        side->per_length = static_cast<uint32_t *>(heap_calloc(family.max_len + 1, sizeof(uint32_t)));
        if (side->per_length == nullptr) {
            ufib_err_raise(UFIB_ERR_ITEM, E_TABLE_NOMEM);
            return -1;
        }
    }
    table->attr = pt_attr_create(0, 1, family.addr_bytes);
    if (table->attr == nullptr) {
        ufib_err_raise(UFIB_ERR_ITEM, E_PT_NOMEM);
        return -1;
    }
    return 0;
}

/* Into a VDC's tree and count, and out of them. */
static void ufib_table_insert(ufib_vdc *vdc, ufib_table *table) {
    vdc->table_count++;
    (void)ravl_insert(&vdc->tables, &table->by_id);
}

static void ufib_table_delete(ufib_vdc *vdc, ufib_table *table) {
    vdc->table_count--;
    if (vdc->last_table == table) vdc->last_table = nullptr;
    (void)ravl_delete(&vdc->tables, &table->by_id);
}

static ufib_table *ufib_table_make(ufib_vdc *vdc, uint32_t table_id, const ufib_family &family) {
    ufib_table *table = ufib_table_alloc();
    if (table == nullptr) {
        ufib_err_raise(UFIB_ERR_ITEM, E_TABLE_NOMEM);
        return nullptr;
    }
    if (ufib_table_init(table, vdc->desc->vdc_id, table_id, family) != 0) {
        ufib_table_free(table);
        return nullptr;
    }
    ufib_table_insert(vdc, table);
    return table;
}

static ufib_table *ufib_table_create(ufib_vdc *vdc, ufib_table *existing, uint32_t table_id, uint32_t type,
                                     bool incomplete, uint32_t ha_handle) {
    ufib_table *table = existing;
    if (table == nullptr) {
        const ufib_family *family = ufib_family_of_table_type(type);
        table = family == nullptr ? nullptr : ufib_table_make(vdc, table_id, *family);
        if (table == nullptr) return nullptr;
    }
    if (incomplete) return table;
    ufib_platform_insert_table(table, ha_handle);
    if (table->obj.handle == 0) ufib_err_raise(UFIB_ERR_ITEM, E_TABLE_HW_INSTALL);
    return table;
}

ufib_table *ufib_get_create_table(ufib_vdc *vdc, uint32_t table_id, uint32_t type, bool incomplete,
                                  const ufib_ha_route *record) {
    ufib_errno = 0;
    if (table_id == 0) {
        ufib_err_raise(UFIB_ERR_ITEM, E_INV_TABLE_ID);
        return nullptr;
    }
    ufib_table *table = ufib_table_search(vdc, table_id);
    if (table != nullptr && table->obj.handle != 0) return table;
    return ufib_table_create(vdc, table, table_id, type, incomplete, ufib_ha_route_table_handle(record));
}

ufib_table *ufib_wc_table_search(uint32_t table_id) {
    if (!ufib_table_is_wildcard(table_id) || !ufib_platform_optimize_wildcard_table()) return nullptr;
    return ufib_table_search_first_vdc(table_id, nullptr);
}

/* Routes come in runs of one table, so the last table found is tried first. */
static ufib_table *table_search_own(ufib_vdc *vdc, uint32_t table_id) {
    if (vdc->last_table != nullptr && vdc->last_table->table_id == table_id) return vdc->last_table;
    ufib_table *table = table_of(ravl_lookup(&vdc->tables, &table_id));
    if (table != nullptr) vdc->last_table = table;
    return table;
}

ufib_table *ufib_table_search(ufib_vdc *vdc, uint32_t table_id) {
    if (vdc == nullptr) return nullptr;
    if (ufib_table_is_wildcard(table_id) && ufib_platform_optimize_wildcard_table())
        return ufib_wc_table_search(table_id);
    return table_search_own(vdc, table_id);
}

ufib_table *ufib_table_search_first_vdc(uint32_t table_id, ufib_vdc **vdc_out) {
    for (uint32_t id = LCFWD_VDC_MIN; id <= LCFWD_VDC_MAX; id++) {
        if (lcfwd_vdc_active_row(id) == nullptr) continue;
        ufib_vdc *vdc = ufib_vdc_get(id);
        ufib_table *table = vdc == nullptr ? nullptr : table_search_own(vdc, table_id);
        if (table == nullptr) continue;
        if (vdc_out != nullptr) *vdc_out = vdc;
        return table;
    }
    return nullptr;
}

ufib_table *ufib_table_get_default(uint32_t vdc_id) {
    return ufib_table_search(ufib_vdc_get(vdc_id), UFIB_DEFAULT_V4);
}

ufib_table *ufib_table_get_first(uint32_t vdc_id, ravl_iterator *iterator) {
    const ufib_vdc *vdc = ufib_vdc_get(vdc_id);
    return vdc == nullptr ? nullptr : table_of(ravl_iterator_first(iterator, &vdc->tables));
}

ufib_table *ufib_table_get_next(uint32_t vdc_id, ravl_iterator *iterator) {
    return ufib_vdc_get(vdc_id) == nullptr ? nullptr : table_of(ravl_iterator_next(iterator));
}

ufib_table *ufib_table_get_next_good(uint32_t vdc_id, ravl_iterator *iterator) {
    ufib_table *table = ufib_table_get_next(vdc_id, iterator);
    while (table != nullptr && (table->flags & UFIB_TABLE_DELETE_PENDING) != 0)
        table = ufib_table_get_next(vdc_id, iterator);
    return table;
}

int ufib_table_destroy(ufib_table *table) {
    if (table->main.prefix_count != 0 || table->rnh.prefix_count != 0) {
        UFIB_ERR("deleting table %#x ", table->table_id);
        table->flags |= UFIB_TABLE_DELETE_PENDING;
        return 0;
    }
    ufib_pss_delete_table(table);
    ufib_platform_delete_table(table);
    ufib_table_delete(ufib_vdc_get(table->vdc_id), table);
    ufib_table_free(table);
    return 1;
}

void ufib_create_wildcard_tables(ufib_vdc *vdc) {
    for (const ufib_family &family : ufib_families)
        if (ufib_get_create_table(vdc, family.wildcard_table, family.table_type, false, nullptr) == nullptr)
            UFIB_ERR("failed to create wildcard table %#x", family.wildcard_table);
}

static ufib_vdc *other_active_vdc(const ufib_vdc *vdc) {
    for (uint32_t id = LCFWD_VDC_MIN; id <= LCFWD_VDC_MAX; id++) {
        if (id == vdc->desc->vdc_id || lcfwd_vdc_active_row(id) == nullptr) continue;
        if (ufib_vdc *other = ufib_vdc_get(id); other != nullptr) return other;
    }
    return nullptr;
}

ufib_vdc *ufib_table_move(ufib_vdc *vdc, ufib_table *table) {
    ufib_vdc *target = other_active_vdc(vdc);
    if (target == nullptr) {
        UFIB_ERR("couldn't find a VDC to move wc table %#x cur_vdc %d", table->table_id, vdc->desc->vdc_id);
        return nullptr;
    }
    ufib_pss_delete_table(table); /* as long as it names the VDC that wrote it */
    ufib_table_delete(vdc, table);
    ufib_cur_vdc_id = target->desc->vdc_id;
    if (ufib_family_of_table_type(table->type) == nullptr)
        UFIB_ERR("moving prefixes in table(%#x), invalid table_type %d ", table->table_id, table->type);
    else
        ufib_prefixes_move_vdc(table, target);
    if (table->stored) ufib_pss_insert_table(table);
    ufib_table_insert(target, table);
    return target;
}

/* A table may refuse to go; the walk by key passes it then. */
void ufib_table_db_destroy(ufib_vdc *vdc) {
    ravl_iterator iterator;
    const uint32_t vdc_id = vdc->desc->vdc_id;
    for (ufib_table *table = ufib_table_get_first(vdc_id, &iterator); table != nullptr;
         table = ufib_table_get_next(vdc_id, &iterator)) {
        if (ufib_table_is_wildcard(table->table_id) && ufib_platform_optimize_wildcard_table() &&
            ufib_table_move(vdc, table) != nullptr)
            continue;
        ufib_destroy_table_prefixes_unlocked(table);
        (void)ufib_table_destroy(table);
    }
}

void ufib_table_dpl_init() {
    (void)lcfwd_timer_make(LCFWD_TIMER_TABLE_DPL, ufib_table_dpl_timer_expired, nullptr);
}

int ufib_table_dpl_queue(const ufib_table *table) {
    if (ufib_dpl_queue(&table_delete_pending_list, table->vdc_id, table->table_id) == 0) return 0;
    if (!ufib_table_dpl_timer_running()) (void)ufib_table_dpl_timer_start();
    return 1;
}

bool ufib_table_dpl_dequeue(ufib_table **out) {
    uint32_t vdc_id, table_id;
    if (!ufib_dpl_dequeue(&table_delete_pending_list, &vdc_id, &table_id)) return false;
    ufib_cur_vdc_id = vdc_id;
    ufib_vdc *vdc = ufib_vdc_get(vdc_id);
    *out = vdc == nullptr ? nullptr : table_search_own(vdc, table_id);
    return true;
}

void ufib_table_dpl_clear() {
    ufib_table *table;
    while (ufib_table_dpl_dequeue(&table)) {
        if (table == nullptr || !ufib_table_is_empty(table)) continue;
        if (lcfwd_vdc_active_row(table->vdc_id) != nullptr) (void)ufib_table_destroy(table);
    }
    (void)ufib_platform_all_writes_ready();
}

void ufib_table_dpl_timer_expired(void *) { ufib_table_dpl_clear(); }

void ufib_table_dpl_reset() {
    ufib_dpl_reset(&table_delete_pending_list);
    table_slab = nullptr;
}
