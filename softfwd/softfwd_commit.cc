#include "softfwd/softfwd_commit.h"

#include "softfwd/softfwd_adj.h"
#include "softfwd/softfwd_check.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_group.h"
#include "softfwd/softfwd_journal.h"
#include "softfwd/softfwd_pool.h"
#include "softfwd/softfwd_prefix.h"
#include "softfwd/softfwd_takeover.h"

#include <algorithm>
#include <initializer_list>
#include <new>

static struct {
    uint64_t epoch;     /* what left before it is beyond recall; 0: no commit was told in this life */
    bool recovering;    /* from the take-over to the end of the recovery */
    uint32_t *doubtful; /* owned: next objects that had left, ascending */
    uint32_t doubtful_count;
    uint32_t from_log; /* operations from here on were not committed when the last process died */
} commit;

void softfwd_committed() {
    if (!softfwd_state.open || commit.recovering) return;
    /* With something in the queue the run below ends the epoch, so all of it is covered. */
    commit.epoch = softfwd_state.places->a_epoch + (softfwd_state.grace.count != 0 ? 1 : 0);
    softfwd_header *head = softfwd_state.head;
    softfwd_store(&head->a_committed_log, head->a_log_sequence != 0 ? head->a_log_sequence : 1u);
    softfwd_grace_run();
}

bool softfwd_commit_covers(uint64_t epoch) {
    if (commit.recovering) return false;
    return commit.epoch == 0 || epoch < commit.epoch;
}

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

void softfwd_revive_next_objects() {
    const uint32_t bump = softfwd_state.head->adj_bump;
    commit.recovering = true;
    commit.from_log = softfwd_state.head->a_committed_log + 1;
    uint32_t leaving = 0;
    const auto leaves = [](uint32_t place) {
        const softfwd_kind kind = softfwd_place_kind(place);
        return kind == SOFTFWD_KIND_ADJ_LEAVING || kind == SOFTFWD_KIND_GROUP_LEAVING;
    };
    for (uint32_t handle = 1; handle < bump; handle++) leaving += leaves(softfwd_state.directory[handle]);
    commit.doubtful = new (std::nothrow) uint32_t[leaving + 1];
    if (commit.doubtful == nullptr) return;
    for (uint32_t handle = 1; handle < bump; handle++) {
        const uint32_t place = softfwd_state.directory[handle];
        if (!leaves(place)) continue;
        const uint32_t index = softfwd_place_index(place);
        const bool adj = softfwd_place_kind(place) == SOFTFWD_KIND_ADJ_LEAVING;
        if (adj ? adj_revive(handle, index) : group_revive(handle, index))
            commit.doubtful[commit.doubtful_count++] = handle;
    }
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

/* Handles that the log says were installed after the last commit, by kind of operation. */
static size_t uncommitted(std::initializer_list<softfwd_op> ops, uint32_t *handles, size_t max) {
    auto *log = new (std::nothrow) softfwd_log_entry[SOFTFWD_LOG_ENTRIES];
    if (log == nullptr) return 0;
    const size_t count = softfwd_log_read(commit.from_log, log, SOFTFWD_LOG_ENTRIES);
    size_t found = 0;
    for (size_t i = 0; i < count && found < max; i++)
        if (log[i].effect == SOFTFWD_EFFECT_INSTALL &&
            std::find(ops.begin(), ops.end(), log[i].op) != ops.end())
            handles[found++] = log[i].handle;
    delete[] log;
    std::sort(handles, handles + found);
    return found;
}

/* What nobody took over, and is doubtful. An entry is logged after it stands: one more may be missing in the log. */
template <typename Doubtful, typename Remove>
static size_t sweep(size_t (*unclaimed)(uint32_t *, size_t), std::initializer_list<softfwd_op> ops,
                    Doubtful is_doubtful, Remove remove) {
    auto *handles = new (std::nothrow) uint32_t[2 * SOFTFWD_LOG_ENTRIES];
    if (handles == nullptr) return 0;
    uint32_t *fresh = handles + SOFTFWD_LOG_ENTRIES;
    const size_t left = std::min<size_t>(unclaimed(handles, SOFTFWD_LOG_ENTRIES), SOFTFWD_LOG_ENTRIES);
    const size_t logged = uncommitted(ops, fresh, SOFTFWD_LOG_ENTRIES);
    uint32_t *end = std::partition(handles, handles + left, [&](uint32_t handle) {
        return std::binary_search(fresh, fresh + logged, handle) || is_doubtful(handle);
    });
    if (handles + left - end == 1) end++;
    for (const uint32_t *handle = handles; handle != end; handle++) remove(*handle);
    const auto removed = static_cast<size_t>(end - handles);
    delete[] handles;
    return removed;
}

static bool next_is_doubtful(uint32_t handle) {
    return std::binary_search(commit.doubtful, commit.doubtful + commit.doubtful_count, handle);
}

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

static softfwd_op clean_op(uint32_t handle) {
    return softfwd_state.prefix[handle].family == ADDRESS_FAMILY_V4 ? SOFTFWD_OP_CLEAN_V4_PREFIX
                                                                    : SOFTFWD_OP_CLEAN_V6_PREFIX;
}

void softfwd_recovery_finish() {
    if (!softfwd_state.open || !commit.recovering) return;
    const auto never = [](uint32_t) { return false; };
    size_t removed =
        sweep(softfwd_unclaimed_prefixes, {SOFTFWD_OP_INSERT_V4_PREFIX, SOFTFWD_OP_INSERT_V6_PREFIX}, never,
              [](uint32_t handle) {
                  (void)softfwd_prefix_remove(handle);
                  softfwd_note(clean_op(handle), SOFTFWD_EFFECT_REMOVE, handle);
              });
    sweep(softfwd_unclaimed_groups, {SOFTFWD_OP_INSERT_ECMP, SOFTFWD_OP_INSERT_VOBJ}, next_is_doubtful,
          [](uint32_t handle) { (void)softfwd_group_remove(handle); });
    sweep(softfwd_unclaimed_adjacencies, {SOFTFWD_OP_INSERT_ADJ}, next_is_doubtful, adj_remove);
    leaving_prefixes_release();
    if (removed != 0) softfwd_say("%zu prefixes of a batch that nobody was answered are gone again", removed);
    commit.recovering = false;
    softfwd_committed();
}

void softfwd_commit_reset() {
    delete[] commit.doubtful;
    commit = {};
}
