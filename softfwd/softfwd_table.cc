#include "softfwd/softfwd_table.h"

#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_engine.h"
#include "softfwd/softfwd_family.h"
#include "softfwd/softfwd_journal.h"
#include "softfwd/softfwd_pending.h"
#include "softfwd/softfwd_plan.h"
#include "softfwd/softfwd_pool.h"
#include "softfwd/softfwd_takeover.h"

#include <cstring>

static constexpr uint8_t PSS_PATTERN = 0xb5;

softfwd_table *softfwd_table_of(uint32_t handle, uint32_t family) {
    softfwd_engine *engine = &softfwd_state;
    if (handle == 0 || handle >= engine->head->table_bump) return nullptr;
    softfwd_table *table = &engine->table[handle];
    return table->state == SOFTFWD_LIVE && table->family == family ? table : nullptr;
}

/* Shared wildcard tables stand under no VDC's name. */
static uint32_t table_vdc(uint32_t vdc_id, uint32_t table_id) {
    return softfwd_config_get()->shared_wildcard_tables && ufib_pi_table_is_wildcard(table_id) ? 0 : vdc_id;
}

static uint32_t table_find(uint32_t vdc_id, uint32_t table_id, uint32_t family) {
    const softfwd_engine *engine = &softfwd_state;
    uint32_t index = engine->buckets[softfwd_bucket(vdc_id, table_id, family)];
    for (; index != 0; index = engine->table[index].a_chain) {
        const softfwd_table *table = &engine->table[index];
        if (table->vdc_id == vdc_id && table->table_id == table_id && table->family == family) break;
    }
    return index;
}

static uint32_t table_new(uint32_t vdc_id, uint32_t table_id, uint32_t family) {
    softfwd_engine *engine = &softfwd_state;
    if (engine->head->table_count >= softfwd_config_get()->max_tables) return 0;
    const uint32_t index = softfwd_table_take();
    if (index == 0) return 0;
    uint32_t *bucket = &engine->buckets[softfwd_bucket(vdc_id, table_id, family)];
    engine->table[index] = {*bucket, vdc_id, table_id, family, {0, 0}, SOFTFWD_LIVE, 0};
    softfwd_store(bucket, index);
    softfwd_table_claim(index);
    engine->head->table_count++;
    return index;
}

template <typename Af> static uint32_t table_insert(uint32_t vdc_id, uint32_t table_id, uint32_t ha) {
    if (!softfwd_state.open) return 0;
    softfwd_state.head->counters.calls[Af::insert_table]++;
    const uint32_t vdc = table_vdc(vdc_id, table_id);
    if (vdc != vdc_id) softfwd_store(&softfwd_state.head->a_shared_wildcard, uint32_t{1});
    uint32_t handle = table_find(vdc, table_id, Af::family);
    if (!softfwd_plan_empty() && softfwd_plan_refuses(Af::insert_table, handle != 0 ? handle : ha)) {
        softfwd_note(Af::insert_table, SOFTFWD_EFFECT_FAILURE, 0);
        return 0;
    }
    if (handle != 0) {
        softfwd_table_claim(handle);
        softfwd_note_reattach(Af::insert_table, handle, ha != 0 && ha != handle ? SOFTFWD_DIFFERS_KEY : 0);
        return handle;
    }
    if (ha == 0) handle = table_new(vdc, table_id, Af::family);
    softfwd_note(Af::insert_table, handle != 0 ? SOFTFWD_EFFECT_INSTALL : SOFTFWD_EFFECT_FAILURE, handle);
    return handle;
}

/* One store takes a table from the readers; those that are inside keep its routes until the grace period ends. */
static void table_unlink(uint32_t handle) {
    softfwd_engine *engine = &softfwd_state;
    const softfwd_table *table = &engine->table[handle];
    uint32_t *link = &engine->buckets[softfwd_bucket(table->vdc_id, table->table_id, table->family)];
    while (*link != handle) link = &engine->table[*link].a_chain;
    softfwd_store(link, table->a_chain);
}

static void table_routes_retire(softfwd_table *table) {
    softfwd_engine *engine = &softfwd_state;
    lpm_entry route;
    for (bool more = lpm_first(engine->arena.base, &table->trie, &route); more;
         more = lpm_next(engine->arena.base, &table->trie, route.key, route.bits, &route)) {
        engine->prefix[route.value].state = SOFTFWD_LEAVING;
        engine->head->prefix_count[table->family - 1]--;
        softfwd_prefix_claim(route.value);
        softfwd_grace_retire(SOFTFWD_GARBAGE_PREFIX, route.value, 0);
    }
    lpm_clear(&engine->arena, &table->trie);
}

template <typename Af> static void table_remove(uint32_t handle) {
    softfwd_table *table = &softfwd_state.table[handle];
    table_unlink(handle);
    table_routes_retire(table);
    table->state = SOFTFWD_LEAVING;
    softfwd_state.head->table_count--;
    softfwd_note(Af::delete_table, SOFTFWD_EFFECT_REMOVE, handle);
    softfwd_grace_retire(SOFTFWD_GARBAGE_TABLE, handle, 0);
}

template <typename Af> static void table_delete(uint32_t handle) {
    if (!softfwd_state.open) return;
    softfwd_state.head->counters.calls[Af::delete_table]++;
    const softfwd_table *table = softfwd_table_of(handle, Af::family);
    const bool refused = !softfwd_plan_empty() && softfwd_plan_refuses(Af::delete_table, handle);
    if (table == nullptr || refused) {
        softfwd_note(Af::delete_table, SOFTFWD_EFFECT_FAILURE, handle);
        return;
    }
    softfwd_pending_drop_table(handle);
    table_remove<Af>(handle);
}

void softfwd_tables_sweep() {
    for (uint32_t i = softfwd_unclaimed_table_next(0); i != 0; i = softfwd_unclaimed_table_next(i)) {
        const softfwd_table *table = &softfwd_state.table[i];
        if (table->trie.route_count != 0) continue;
        table->family == ADDRESS_FAMILY_V4 ? table_remove<softfwd_v4>(i) : table_remove<softfwd_v6>(i);
    }
}

int softfwd_get_table_pss_info(uint32_t handle, void *out) {
    const uint32_t length = softfwd_config_get()->caps.table_pss_space_len;
    if (out == nullptr || length < sizeof handle) return -1;
    memset(out, PSS_PATTERN, length);
    memcpy(out, &handle, sizeof handle);
    return 0;
}

uint32_t softfwd_get_table_ha_handle(const void *pd) {
    uint32_t handle;
    if (pd == nullptr || !softfwd_state.open) return 0;
    if (softfwd_config_get()->caps.table_pss_space_len < sizeof handle) return 0;
    memcpy(&handle, pd, sizeof handle);
    const bool known = softfwd_table_of(handle, ADDRESS_FAMILY_V4) != nullptr ||
                       softfwd_table_of(handle, ADDRESS_FAMILY_V6) != nullptr;
    return known ? handle : 0;
}

uint32_t softfwd_insert_v4_table(uint32_t vdc_id, uint32_t table_id, const void *, uint32_t ha) {
    return table_insert<softfwd_v4>(vdc_id, table_id, ha);
}
uint32_t softfwd_insert_v6_table(uint32_t vdc_id, uint32_t table_id, const void *, uint32_t ha) {
    return table_insert<softfwd_v6>(vdc_id, table_id, ha);
}
void softfwd_delete_v4_table(uint32_t handle) { table_delete<softfwd_v4>(handle); }
void softfwd_delete_v6_table(uint32_t handle) { table_delete<softfwd_v6>(handle); }
