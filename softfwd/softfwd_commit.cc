#include "softfwd/softfwd_commit.h"

#include "softfwd/softfwd_adj.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_group.h"
#include "softfwd/softfwd_journal.h"
#include "softfwd/softfwd_pool.h"
#include "softfwd/softfwd_prefix.h"
#include "softfwd/softfwd_rpf.h"
#include "softfwd/softfwd_table.h"
#include "softfwd/softfwd_takeover.h"

#include <new>

static struct {
    uint64_t epoch;  /* what left before it is beyond recall; 0: no commit was told in this life */
    bool recovering; /* from the take-over to the end of the recovery */
} commit;

void softfwd_committed() {
    if (!softfwd_state.open || commit.recovering) return;
    /* With something in the queue the run below ends the epoch, so all of it is covered. */
    commit.epoch = softfwd_state.places->a_epoch + (softfwd_state.grace.count != 0 ? 1 : 0);
    softfwd_header *head = softfwd_state.head;
    softfwd_store(&head->a_committed_log, head->a_log_sequence != 0 ? head->a_log_sequence : 1u);
    softfwd_rpf_committed();
    softfwd_grace_run();
}

bool softfwd_commit_covers(uint64_t epoch) {
    if (commit.recovering) return false;
    return commit.epoch == 0 || epoch < commit.epoch;
}

bool softfwd_recovering() { return commit.recovering; }

bool softfwd_commit_told() { return softfwd_state.head->a_committed_log != 0; }

/* --- what left comes back --- */

static bool adj_revive(uint32_t handle, uint32_t index) {
    if (index == 0 || index >= softfwd_state.head->record_bump ||
        softfwd_state.record[index].handle != handle)
        return false;
    softfwd_store(&softfwd_state.directory[handle], softfwd_place(SOFTFWD_KIND_ADJ, index));
    return true;
}

static bool group_revive(uint32_t handle, uint32_t unit) {
    const softfwd_header *head = softfwd_state.head;
    if (unit == 0 || unit >= head->group_bump) return false;
    const softfwd_group *group = softfwd_group_record(unit);
    if (group->handle != handle || group->count == 0 || group->count > group->size ||
        group->size > SOFTFWD_MEMBERS_MAX || group->size > head->adj_bump - handle ||
        softfwd_group_units(group->size) > head->group_bump - unit)
        return false;
    for (uint32_t i = 1; i < group->size; i++) {
        const uint32_t place = softfwd_state.directory[handle + i];
        if (place != softfwd_place(SOFTFWD_KIND_MEMBER, handle)) return false;
    }
    softfwd_store(&softfwd_state.directory[handle], softfwd_place(SOFTFWD_KIND_GROUP, unit));
    return true;
}

/* The mark of the next object that a handle names; null when none stands there. The tables may not be checked yet. */
static uint8_t *next_mark(uint32_t handle) {
    const softfwd_header *head = softfwd_state.head;
    if (handle == 0 || handle >= head->adj_bump) return nullptr;
    const uint32_t place = softfwd_state.directory[handle];
    const softfwd_kind kind = softfwd_place_kind(place);
    const uint32_t index = softfwd_place_index(place);
    if (kind == SOFTFWD_KIND_ADJ && index < head->record_bump) return &softfwd_state.record[index].doubtful;
    if (kind == SOFTFWD_KIND_GROUP && index < head->group_bump) return &softfwd_group_record(index)->doubtful;
    return nullptr;
}

void softfwd_doubt(uint32_t op, uint32_t handle, bool doubtful) {
    const softfwd_engine *engine = &softfwd_state;
    uint8_t *mark = nullptr;
    if (op == SOFTFWD_OP_INSERT_ADJ || op == SOFTFWD_OP_INSERT_ECMP || op == SOFTFWD_OP_INSERT_VOBJ)
        mark = next_mark(handle);
    else if (op == SOFTFWD_OP_INSERT_V4_PREFIX || op == SOFTFWD_OP_INSERT_V6_PREFIX)
        mark = handle < engine->head->prefix_bump ? &engine->prefix[handle].doubtful : nullptr;
    if (mark != nullptr) *mark = doubtful ? 1 : 0;
}

/* What the log says was installed after the last commit. */
static void logged_mark() {
    auto *log = new (std::nothrow) softfwd_log_entry[SOFTFWD_LOG_ENTRIES];
    if (log == nullptr) return;
    const softfwd_header *head = softfwd_state.head;
    const size_t count = softfwd_log_copy(softfwd_state.log, head->a_log_sequence, head->a_committed_log + 1,
                                          log, SOFTFWD_LOG_ENTRIES);
    for (size_t i = 0; i < count; i++)
        if (log[i].effect == SOFTFWD_EFFECT_INSTALL) softfwd_doubt(log[i].op, log[i].handle, true);
    delete[] log;
}

void softfwd_revive_next_objects() {
    commit.recovering = true;
    for (uint32_t handle = 1; handle < softfwd_state.head->adj_bump; handle++) {
        const uint32_t place = softfwd_state.directory[handle];
        const softfwd_kind kind = softfwd_place_kind(place);
        const bool adj = kind == SOFTFWD_KIND_ADJ_LEAVING;
        if (!adj && kind != SOFTFWD_KIND_GROUP_LEAVING) continue;
        const uint32_t index = softfwd_place_index(place);
        if (adj ? adj_revive(handle, index) : group_revive(handle, index)) *next_mark(handle) = 1;
    }
    logged_mark();
}

softfwd_prefix *softfwd_revivable_prefix(uint32_t handle) {
    softfwd_engine *engine = &softfwd_state;
    if (!engine->open || !commit.recovering || handle == 0 || handle >= engine->head->prefix_bump)
        return nullptr;
    softfwd_prefix *entry = &engine->prefix[handle];
    if (entry->state != SOFTFWD_LEAVING || entry->table == 0 || entry->table >= engine->head->table_bump)
        return nullptr;
    const softfwd_table *table = &engine->table[entry->table];
    return table->state == SOFTFWD_LIVE && table->family == entry->family ? entry : nullptr;
}

/* Another entry of the same batch may stand in its place: the one that the store knows replaces it at once. */
bool softfwd_prefix_revive(uint32_t handle, uint64_t word) {
    softfwd_engine *engine = &softfwd_state;
    softfwd_prefix *entry = &engine->prefix[handle];
    softfwd_table *table = &engine->table[entry->table];
    const uint32_t other = lpm_exact(engine->arena.base, &table->trie, entry->key, entry->mask_len);
    softfwd_store(&entry->a_word, word);
    if (lpm_add(&engine->arena, &table->trie, entry->key, entry->mask_len, handle, true, nullptr) != 0)
        return false;
    entry->state = SOFTFWD_LIVE;
    if (other == 0) {
        engine->head->prefix_count[entry->family - 1]++;
        return true;
    }
    engine->prefix[other].state = SOFTFWD_LEAVING;
    softfwd_grace_retire(SOFTFWD_GARBAGE_PREFIX, other, 0);
    softfwd_prefix_claim(other);
    return true;
}

/* --- the end of the recovery --- */

static void adj_remove(uint32_t handle) {
    const uint32_t index = softfwd_place_index(softfwd_state.directory[handle]);
    softfwd_store(&softfwd_state.directory[handle], softfwd_place(SOFTFWD_KIND_ADJ_LEAVING, index));
    softfwd_grace_retire(SOFTFWD_GARBAGE_ADJ, handle, 0);
    softfwd_state.head->adj_count--;
    softfwd_adj_claim(handle);
}

static void leaving_prefixes_release() {
    softfwd_engine *engine = &softfwd_state;
    for (uint32_t i = 1; i < engine->prefix_claims.limit; i++)
        if (engine->prefix[i].state == SOFTFWD_LEAVING && !softfwd_prefix_is_claimed(i))
            softfwd_grace_retire(SOFTFWD_GARBAGE_PREFIX, i, 0);
}

static void prefix_clean(uint32_t handle) {
    (void)softfwd_prefix_remove(handle);
    const bool v4 = softfwd_state.prefix[handle].family == ADDRESS_FAMILY_V4;
    softfwd_note(v4 ? SOFTFWD_OP_CLEAN_V4_PREFIX : SOFTFWD_OP_CLEAN_V6_PREFIX, SOFTFWD_EFFECT_REMOVE, handle);
}

/* What nobody took over, and is doubtful, goes; the rest is beyond doubt now. */
static size_t prefixes_sweep() {
    const softfwd_engine *engine = &softfwd_state;
    size_t removed = 0;
    for (uint32_t i = 1; i < engine->prefix_claims.limit; i++) {
        softfwd_prefix *entry = &engine->prefix[i];
        if (entry->doubtful == 0) continue;
        if (entry->state == SOFTFWD_LIVE && !softfwd_prefix_is_claimed(i)) {
            prefix_clean(i);
            removed++;
        }
        entry->doubtful = 0;
    }
    return removed;
}

/* Groups before the adjacencies that they lead to. */
static void next_objects_sweep(softfwd_kind kind) {
    for (uint32_t i = 1; i < softfwd_state.adj_claims.limit; i++) {
        if (softfwd_place_kind(softfwd_state.directory[i]) != kind) continue;
        uint8_t *mark = next_mark(i);
        if (mark == nullptr || *mark == 0) continue;
        *mark = 0;
        if (softfwd_adj_is_claimed(i)) continue;
        if (kind == SOFTFWD_KIND_ADJ)
            adj_remove(i);
        else
            (void)softfwd_group_remove(i);
    }
}

void softfwd_recovery_finish() {
    if (!softfwd_state.open || !commit.recovering) return;
    const size_t removed = prefixes_sweep();
    next_objects_sweep(SOFTFWD_KIND_GROUP);
    next_objects_sweep(SOFTFWD_KIND_ADJ);
    leaving_prefixes_release();
    softfwd_tables_sweep();
    softfwd_rpf_recovered();
    if (removed != 0) softfwd_say("%zu prefixes of a batch that nobody was answered are gone again", removed);
    commit.recovering = false;
    softfwd_committed();
}

void softfwd_commit_reset() { commit = {}; }
