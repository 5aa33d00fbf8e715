#include "softfwd/softfwd_prefix.h"

#include "softfwd/softfwd_commit.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_ecmp.h"
#include "softfwd/softfwd_engine.h"
#include "softfwd/softfwd_family.h"
#include "softfwd/softfwd_group.h"
#include "softfwd/softfwd_journal.h"
#include "softfwd/softfwd_pending.h"
#include "softfwd/softfwd_plan.h"
#include "softfwd/softfwd_pool.h"
#include "softfwd/softfwd_rpf.h"
#include "softfwd/softfwd_space.h"
#include "softfwd/softfwd_table.h"
#include "softfwd/softfwd_takeover.h"
#include "softfwd/softfwd_vobj.h"

#include <cerrno>

softfwd_prefix *softfwd_prefix_of(uint32_t handle, uint32_t family, bool pending) {
    softfwd_engine *engine = &softfwd_state;
    if (!engine->open || handle == 0 || handle >= engine->head->prefix_bump) return nullptr;
    softfwd_prefix *entry = &engine->prefix[handle];
    if (family != 0 && entry->family != family) return nullptr;
    const bool known = entry->state == SOFTFWD_LIVE || (pending && entry->state == SOFTFWD_PENDING);
    return known ? entry : nullptr;
}

/* --- tries --- */

bool softfwd_prefix_publish(uint32_t handle) {
    softfwd_engine *engine = &softfwd_state;
    softfwd_prefix *entry = &engine->prefix[handle];
    softfwd_table *table = &engine->table[entry->table];
    int status = lpm_add(&engine->arena, &table->trie, entry->key, entry->mask_len, handle, false, nullptr);
    if (status == ENOMEM) {
        softfwd_grace_run();
        status = lpm_add(&engine->arena, &table->trie, entry->key, entry->mask_len, handle, false, nullptr);
    }
    if (status != 0) return false;
    entry->state = SOFTFWD_LIVE;
    engine->head->prefix_count[entry->family - 1]++;
    return true;
}

/* A damaged entry is not where its address says: it is looked for by what the trie holds. */
static bool route_find(const softfwd_table *table, uint32_t handle, lpm_key *key) {
    const void *base = softfwd_state.arena.base;
    lpm_entry route;
    bool more = lpm_first(base, &table->trie, &route);
    while (more && route.value != handle) more = lpm_next(base, &table->trie, route.key, route.bits, &route);
    if (more) *key = route.key;
    return more;
}

bool softfwd_prefix_remove(uint32_t handle) {
    softfwd_engine *engine = &softfwd_state;
    softfwd_prefix *entry = &engine->prefix[handle];
    softfwd_table *table = &engine->table[entry->table];
    lpm_spot spot = {};
    lpm_key key = entry->key;
    if (lpm_find(&engine->arena, &table->trie, key, entry->mask_len, &spot) != handle &&
        !route_find(table, handle, &key))
        return false;
    int status = lpm_delete(&engine->arena, &table->trie, key, entry->mask_len, &spot);
    if (status == ENOMEM) {
        softfwd_grace_run();
        status = lpm_delete(&engine->arena, &table->trie, key, entry->mask_len, nullptr);
    }
    if (status != 0) return false;
    if ((softfwd_word_flags(entry->a_word) & SOFTFWD_PREFIX_DIRECT) != 0)
        softfwd_rpf_prefix_attach(handle, 0);
    entry->state = SOFTFWD_LEAVING;
    engine->head->prefix_count[entry->family - 1]--;
    softfwd_grace_retire(SOFTFWD_GARBAGE_PREFIX, handle, 0);
    softfwd_prefix_claim(handle);
    return true;
}

/* --- what the model says --- */

template <typename Af> static uint64_t word_of_model(const void *pfx) {
    unsigned flags = 0;
    uint16_t tag = 0;
    if (Af::is_local(pfx)) flags |= SOFTFWD_PREFIX_LOCAL;
    if (Af::is_direct(pfx)) flags |= SOFTFWD_PREFIX_DIRECT;
    if (Af::is_attached(pfx)) flags |= SOFTFWD_PREFIX_ATTACHED;
    if (Af::is_drop(pfx)) flags |= SOFTFWD_PREFIX_DROP;
    if (Af::is_ldb(pfx)) flags |= SOFTFWD_PREFIX_LDB;
    if (ufib_pi_prefix_get_sgt(pfx, &tag) == 0)
        flags |= SOFTFWD_PREFIX_TAGGED;
    else
        tag = 0;
    return softfwd_word(ufib_pi_prefix_get_adj_handle(pfx), static_cast<uint16_t>(flags), tag);
}

static bool key_equal(const lpm_key &a, const lpm_key &b) { return a.hi == b.hi && a.lo == b.lo; }

/* The drop mark follows the adjacency, which may change without a write of the prefix: it is not compared. */
static constexpr uint64_t WORD_COMPARED = ~(uint64_t{SOFTFWD_PREFIX_DROP} << 16);

template <typename Af>
static uint8_t difference_of(const softfwd_prefix *entry, uint32_t table_handle, const void *pfx) {
    unsigned difference = 0;
    if (!key_equal(entry->key, Af::key(pfx)) || entry->mask_len != Af::bits(pfx) ||
        entry->table != table_handle)
        difference |= SOFTFWD_DIFFERS_KEY;
    if (((entry->a_word ^ word_of_model<Af>(pfx)) & WORD_COMPARED) != 0)
        difference |= SOFTFWD_DIFFERS_CONTENT;
    return static_cast<uint8_t>(difference);
}

template <typename Af> static softfwd_space space_of(void *pfx) {
    const uint32_t length = Af::space_len(softfwd_config_get()->caps);
    return length == 0 ? softfwd_space{nullptr, 0} : softfwd_space{Af::space(pfx), length};
}

/* --- inserts --- */

template <typename Af> static uint32_t refuse(uint32_t handle) {
    softfwd_note(Af::insert_prefix, SOFTFWD_EFFECT_FAILURE, handle);
    return 0;
}

/* It left in a batch that the store does not know. */
template <typename Af> static uint32_t prefix_bring_back(uint32_t table_handle, void *pfx, uint32_t ha) {
    const softfwd_prefix *entry = softfwd_revivable_prefix(ha);
    if (entry == nullptr || entry->family != Af::family || entry->table != table_handle)
        return refuse<Af>(ha);
    softfwd_space_fill(space_of<Af>(pfx));
    if (!softfwd_prefix_revive(ha, word_of_model<Af>(pfx))) return refuse<Af>(ha);
    softfwd_prefix_claim(ha);
    softfwd_note(Af::insert_prefix, SOFTFWD_EFFECT_INSTALL, ha);
    return ha;
}

template <typename Af> static uint32_t prefix_adopt(uint32_t table_handle, void *pfx, uint32_t ha) {
    const softfwd_prefix *entry = softfwd_prefix_of(ha, Af::family, false);
    if (entry == nullptr) return prefix_bring_back<Af>(table_handle, pfx, ha);
    softfwd_prefix_claim(ha);
    softfwd_space_fill(space_of<Af>(pfx));
    softfwd_note_reattach(Af::insert_prefix, ha, difference_of<Af>(entry, table_handle, pfx));
    return ha;
}

template <typename Af> static uint32_t prefix_rewrite(uint32_t handle, void *pfx) {
    softfwd_space_check(space_of<Af>(pfx));
    const uint64_t word = word_of_model<Af>(pfx);
    uint64_t *waiting = softfwd_pending_word(handle);
    if (waiting != nullptr) {
        *waiting = word;
        softfwd_note(Af::insert_prefix, SOFTFWD_EFFECT_PENDING, handle);
        return handle;
    }
    if (softfwd_config_get()->async && softfwd_pending_add(Af::family, pfx, handle, word)) return handle;
    softfwd_store(&softfwd_state.prefix[handle].a_word, word);
    softfwd_prefix_claim(handle);
    softfwd_note(Af::insert_prefix, SOFTFWD_EFFECT_UPDATE, handle);
    return handle;
}

template <typename Af> static uint32_t entry_new(uint32_t table_handle, const void *pfx, uint64_t word) {
    const softfwd_header *head = softfwd_state.head;
    const uint32_t bits = Af::bits(pfx);
    if (head->prefix_count[0] + head->prefix_count[1] + softfwd_pending_new_count() >=
            softfwd_config_get()->max_prefixes ||
        bits > Af::bits_max)
        return 0;
    const uint32_t handle = softfwd_prefix_take();
    if (handle == 0) return 0;
    softfwd_state.prefix[handle] = {
        Af::key(pfx), word, table_handle, static_cast<uint8_t>(bits), Af::family, SOFTFWD_PENDING, 1};
    return handle;
}

/* The entry of the same key that stands although the model has no handle for it, or 0. */
template <typename Af> static uint32_t standing_twin(uint32_t table_handle, const void *pfx) {
    const softfwd_engine *engine = &softfwd_state;
    return lpm_exact(engine->arena.base, &engine->table[table_handle].trie, Af::key(pfx), Af::bits(pfx));
}

template <typename Af> static uint32_t prefix_install(uint32_t table_handle, void *pfx) {
    softfwd_space_fill(space_of<Af>(pfx));
    const bool async = softfwd_config_get()->async;
    if (async && standing_twin<Af>(table_handle, pfx) != 0)
        return prefix_rewrite<Af>(standing_twin<Af>(table_handle, pfx), pfx);
    const uint64_t word = word_of_model<Af>(pfx);
    const uint32_t handle = entry_new<Af>(table_handle, pfx, word);
    if (handle == 0) {
        const uint32_t twin = standing_twin<Af>(table_handle, pfx);
        return twin != 0 ? prefix_rewrite<Af>(twin, pfx) : refuse<Af>(0);
    }
    if (async && softfwd_pending_add(Af::family, pfx, handle, word)) return handle;
    if (softfwd_prefix_publish(handle)) {
        softfwd_prefix_claim(handle);
        softfwd_note(Af::insert_prefix, SOFTFWD_EFFECT_INSTALL, handle);
        return handle;
    }
    softfwd_prefix_release(handle); /* no reader ever saw it */
    const uint32_t twin = standing_twin<Af>(table_handle, pfx);
    return twin != 0 ? prefix_rewrite<Af>(twin, pfx) : refuse<Af>(0);
}

template <typename Af> static uint32_t prefix_insert(uint32_t table_handle, void *pfx, uint32_t ha) {
    if (!softfwd_state.open || pfx == nullptr) return 0;
    softfwd_state.head->counters.calls[Af::insert_prefix]++;
    const uint32_t standing = Af::handle(pfx);
    const softfwd_prefix *entry = softfwd_prefix_of(standing, Af::family, true);
    if (!softfwd_plan_empty() && softfwd_plan_refuses(Af::insert_prefix, ha != 0 ? ha : standing)) {
        softfwd_pending_drop(pfx, standing);
        if (entry != nullptr && entry->state == SOFTFWD_LIVE && ha == 0)
            (void)softfwd_prefix_remove(standing);
        return refuse<Af>(ha != 0 ? ha : standing);
    }
    if (softfwd_table_of(table_handle, Af::family) == nullptr) return refuse<Af>(standing);
    if (ha != 0) return prefix_adopt<Af>(table_handle, pfx, ha);
    if (entry != nullptr && entry->table == table_handle) return prefix_rewrite<Af>(standing, pfx);
    return prefix_install<Af>(table_handle, pfx);
}

template <typename Af> static int prefix_delete(uint32_t table_handle, void *pfx) {
    if (!softfwd_state.open || pfx == nullptr) return -1;
    softfwd_state.head->counters.calls[Af::delete_prefix]++;
    const uint32_t handle = Af::handle(pfx);
    const softfwd_prefix *entry = softfwd_prefix_of(handle, Af::family, true);
    const bool refused = !softfwd_plan_empty() && softfwd_plan_refuses(Af::delete_prefix, handle);
    bool removed = false;
    if (entry != nullptr && entry->table == table_handle && !refused) {
        softfwd_space_check(space_of<Af>(pfx));
        const bool live = entry->state == SOFTFWD_LIVE;
        if (softfwd_pending_drop(pfx, handle)) Af::cookie_forget(pfx);
        removed = !live || softfwd_prefix_remove(handle);
    }
    softfwd_note(Af::delete_prefix, removed ? SOFTFWD_EFFECT_REMOVE : SOFTFWD_EFFECT_FAILURE, handle);
    return removed ? 0 : -1;
}

template <typename Af> static int prefix_search(uint32_t table_handle, void *pfx) {
    const softfwd_prefix *entry = softfwd_prefix_of(Af::handle(pfx), Af::family, false);
    return entry != nullptr && entry->table == table_handle ? 0 : -1;
}

template <typename Af> static int next_update(void *pfx) {
    if (!softfwd_state.open || pfx == nullptr) return -1;
    softfwd_state.head->counters.calls[Af::update_nh]++;
    const uint32_t handle = Af::handle(pfx);
    softfwd_prefix *entry = softfwd_prefix_of(handle, Af::family, true);
    const bool refused = !softfwd_plan_empty() && softfwd_plan_refuses(Af::update_nh, handle);
    if (entry == nullptr || refused) {
        softfwd_note(Af::update_nh, SOFTFWD_EFFECT_FAILURE, handle);
        return -1;
    }
    const uint32_t next = ufib_pi_prefix_get_adj_handle(pfx);
    uint64_t *waiting = softfwd_pending_word(handle);
    uint64_t *word = waiting != nullptr ? waiting : &entry->a_word;
    softfwd_store(word, softfwd_word(next, softfwd_word_flags(*word), softfwd_word_tag(*word)));
    softfwd_prefix_claim(handle);
    softfwd_note(Af::update_nh, SOFTFWD_EFFECT_UPDATE, handle);
    return 0;
}

template <typename Af> static bool route_aged(void *pfx) {
    const uint32_t handle = Af::handle(pfx);
    if (softfwd_prefix_of(handle, Af::family, false) == nullptr || softfwd_hit_take(handle)) return false;
    const uint32_t limit = softfwd_config_get()->aged_limit;
    if (limit != 0 && softfwd_state.aged >= limit) return false;
    softfwd_state.aged++;
    return true;
}

/* --- recovery --- */

static constexpr uint8_t XPI_TAG = 0x08; /* the restart record's tag is valid */

void softfwd_ha_get_route(uint32_t handle, ufib_ha_route *record) {
    const softfwd_prefix *entry = softfwd_prefix_of(handle, 0, false);
    if (entry == nullptr) entry = softfwd_revivable_prefix(handle);
    if (entry == nullptr || record == nullptr) return;
    const bool v4 = entry->family == ADDRESS_FAMILY_V4;
    record->family_flags =
        static_cast<uint8_t>(v4 ? record->family_flags | UFIB_HA_IPV4 : record->family_flags & ~UFIB_HA_IPV4);
    record->table_id = softfwd_state.table[entry->table].table_id;
    record->table_handle = entry->table;
    lpm_key_store(entry->key, record->address, v4 ? 4 : 16);
    record->mask_len = entry->mask_len;
    record->tag = softfwd_word_tag(entry->a_word);
    if ((softfwd_word_flags(entry->a_word) & SOFTFWD_PREFIX_TAGGED) != 0) record->xpi_flags |= XPI_TAG;
}

template <typename Af> static void route_clean(uint32_t handle) {
    if (!softfwd_state.open) return;
    softfwd_state.head->counters.calls[Af::clean_prefix]++;
    const bool removed =
        softfwd_prefix_of(handle, Af::family, false) != nullptr && softfwd_prefix_remove(handle);
    softfwd_note(Af::clean_prefix, removed ? SOFTFWD_EFFECT_REMOVE : SOFTFWD_EFFECT_FAILURE, handle);
}

uint32_t softfwd_get_prefix_ha_handle(void *pfx) {
    const bool v4 = ufib_pi_is_v4_prefix(pfx);
    const uint32_t handle = v4 ? softfwd_v4::handle(pfx) : softfwd_v6::handle(pfx);
    return softfwd_prefix_of(handle, 0, false) != nullptr ? handle : 0;
}

/* The handle decides: what stands in the entry may be the very thing that is wrong. */
void softfwd_ha_clean_v4_pfx(uint32_t handle, uint8_t, uint32_t) { route_clean<softfwd_v4>(handle); }
void softfwd_ha_clean_v6_pfx(uint32_t handle, uint8_t, const uint8_t *) { route_clean<softfwd_v6>(handle); }

/* --- consistency --- */

template <typename Af> static bool prefix_agrees(void *pfx) {
    if (softfwd_config_get()->consistency_always_good) return true;
    const softfwd_prefix *entry = softfwd_prefix_of(Af::handle(pfx), Af::family, true);
    if (entry == nullptr) return false;
    const uint64_t compared = WORD_COMPARED & 0xffffffffu; /* not the next object */
    return (difference_of<Af>(entry, ufib_pi_prefix_get_table_handle(pfx), pfx) & SOFTFWD_DIFFERS_KEY) == 0 &&
           ((entry->a_word ^ word_of_model<Af>(pfx)) & compared) == 0;
}

/* Whether the members of a group that a prefix leads to are those of the model. */
static bool group_agrees(void *pfx, uint32_t handle) {
    const softfwd_group *group = softfwd_group_of(handle);
    const void *next = ufib_pi_prefix_get_next_obj(pfx);
    if (group == nullptr || next == nullptr) return true;
    const softfwd_group_plan plan =
        ufib_pi_is_nh_obj_vobj(pfx) ? softfwd_vobj_plan(next) : softfwd_ecmp_plan(next, group->holder);
    return softfwd_group_difference(group, &plan) == 0;
}

/* A recursive next hop has no entry that could lead elsewhere. */
template <typename Af> static bool next_agrees(void *pfx) {
    if (softfwd_config_get()->consistency_always_good || Af::handle(pfx) == 0) return true;
    const softfwd_prefix *entry = softfwd_prefix_of(Af::handle(pfx), Af::family, true);
    if (entry == nullptr) return false;
    const uint32_t next = softfwd_word_next(entry->a_word);
    return next == ufib_pi_prefix_get_adj_handle(pfx) && group_agrees(pfx, next);
}

/* --- slots --- */

/* Where a direct prefix is attached is not in its entry. */
template <typename Af> static uint32_t prefix_insert_attached(uint32_t table_handle, void *pfx, uint32_t ha) {
    const uint32_t before = pfx == nullptr ? 0 : Af::handle(pfx);
    const bool was_direct =
        softfwd_prefix_of(before, Af::family, true) != nullptr &&
        (softfwd_word_flags(softfwd_state.prefix[before].a_word) & SOFTFWD_PREFIX_DIRECT) != 0;
    const uint32_t handle = prefix_insert<Af>(table_handle, pfx, ha);
    if (handle != 0 && Af::is_direct(pfx))
        softfwd_rpf_prefix_attach(handle, Af::rpf_interface(pfx));
    else if (handle != 0 && was_direct)
        softfwd_rpf_prefix_attach(handle, 0);
    return handle;
}

uint32_t softfwd_insert_v4_prefix(uint32_t table_handle, void *pfx, uint32_t ha, bool) {
    return prefix_insert_attached<softfwd_v4>(table_handle, pfx, ha);
}
uint32_t softfwd_insert_v6_prefix(uint32_t table_handle, void *pfx, uint32_t ha, bool) {
    return prefix_insert_attached<softfwd_v6>(table_handle, pfx, ha);
}
int softfwd_delete_v4_prefix(uint32_t table_handle, void *pfx) {
    return prefix_delete<softfwd_v4>(table_handle, pfx);
}
int softfwd_delete_v6_prefix(uint32_t table_handle, void *pfx) {
    return prefix_delete<softfwd_v6>(table_handle, pfx);
}
int softfwd_search_v4_prefix(uint32_t table_handle, void *pfx) {
    return prefix_search<softfwd_v4>(table_handle, pfx);
}
int softfwd_search_v6_prefix(uint32_t table_handle, void *pfx) {
    return prefix_search<softfwd_v6>(table_handle, pfx);
}
int softfwd_update_v4prefix_nh(void *pfx) { return next_update<softfwd_v4>(pfx); }
int softfwd_update_v6prefix_nh(void *pfx) { return next_update<softfwd_v6>(pfx); }
bool softfwd_is_v4route_aged(void *pfx) { return route_aged<softfwd_v4>(pfx); }
bool softfwd_is_v6route_aged(void *pfx) { return route_aged<softfwd_v6>(pfx); }
bool softfwd_prefix_check(void *pfx) { return prefix_agrees<softfwd_v4>(pfx); }
bool softfwd_v6prefix_check(void *pfx) { return prefix_agrees<softfwd_v6>(pfx); }
bool softfwd_consistency_check_nh(void *pfx) { return next_agrees<softfwd_v4>(pfx); }
bool softfwd_v6_consistency_check_nh(void *pfx) { return next_agrees<softfwd_v6>(pfx); }
