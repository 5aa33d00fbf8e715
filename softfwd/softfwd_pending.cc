#include "softfwd/softfwd_pending.h"

#include "softfwd/softfwd_check.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_engine.h"
#include "softfwd/softfwd_family.h"
#include "softfwd/softfwd_journal.h"
#include "softfwd/softfwd_plan.h"
#include "softfwd/softfwd_pool.h"
#include "softfwd/softfwd_prefix.h"
#include "softfwd/softfwd_takeover.h"

/* Thirty of each family fit a cookie. */
static constexpr uint32_t PENDING_MAX = 64;

struct pending_write {
    void *pfx;
    uint64_t word;
    uint32_t handle;
    uint32_t index; /* in the cookie */
    address_family family;
    bool is_new; /* not in the trie yet */
};

static struct {
    pending_write writes[PENDING_MAX];
    uint32_t count;
    uint32_t new_count;
} pending;

static int pending_find(uint32_t handle) {
    for (uint32_t i = 0; i < pending.count; i++)
        if (pending.writes[i].handle == handle) return static_cast<int>(i);
    return -1;
}

static void pending_unlist(uint32_t at) {
    if (pending.writes[at].is_new) pending.new_count--;
    for (uint32_t i = at + 1; i < pending.count; i++) pending.writes[i - 1] = pending.writes[i];
    pending.count--;
}

bool softfwd_pending_add(address_family family, void *pfx, uint32_t handle, uint64_t word) {
    if (pending.count == PENDING_MAX) return false;
    const bool v4 = family == ADDRESS_FAMILY_V4;
    const int index = v4 ? softfwd_v4::cookie_add(pfx) : softfwd_v6::cookie_add(pfx);
    if (index < 0) return false;
    const bool is_new = softfwd_state.prefix[handle].state == SOFTFWD_PENDING;
    pending.writes[pending.count++] = {pfx, word, handle, static_cast<uint32_t>(index), family, is_new};
    if (is_new) pending.new_count++;
    softfwd_note(v4 ? softfwd_v4::insert_prefix : softfwd_v6::insert_prefix, SOFTFWD_EFFECT_PENDING, handle);
    return true;
}

uint64_t *softfwd_pending_word(uint32_t handle) {
    const int at = pending.count == 0 ? -1 : pending_find(handle);
    return at < 0 ? nullptr : &pending.writes[at].word;
}

static void pending_give_up(uint32_t at) {
    const pending_write write = pending.writes[at];
    pending_unlist(at);
    if (write.is_new) softfwd_prefix_release(write.handle); /* no reader ever saw it */
}

bool softfwd_pending_drop(const void *pfx, uint32_t handle) {
    for (uint32_t i = 0; i < pending.count; i++) {
        if (pending.writes[i].handle != handle || pending.writes[i].pfx != pfx) continue;
        pending_give_up(i);
        return true;
    }
    return false;
}

void softfwd_pending_drop_table(uint32_t table_handle) {
    for (uint32_t i = pending.count; i-- != 0;)
        if (softfwd_state.prefix[pending.writes[i].handle].table == table_handle) pending_give_up(i);
}

uint32_t softfwd_pending_new_count() { return pending.new_count; }

void softfwd_pending_reset() { pending.count = pending.new_count = 0; }

/* --- completion --- */

/* The model makes no removal for a prefix whose write failed: the entry goes here. */
static void write_failed(const pending_write *write) {
    if (write->is_new)
        softfwd_prefix_release(write->handle);
    else
        (void)softfwd_prefix_remove(write->handle);
    softfwd_state.head->counters.late_failures++;
}

template <typename Af> static void write_complete(const pending_write *write) {
    softfwd_prefix *entry = &softfwd_state.prefix[write->handle];
    bool good = softfwd_plan_empty() || !softfwd_plan_fails_late(entry);
    if (good) softfwd_store(&entry->a_word, write->word);
    if (good && write->is_new) good = softfwd_prefix_publish(write->handle);
    if (!good) write_failed(write);
    const softfwd_effect effect = !good           ? SOFTFWD_EFFECT_FAILURE
                                  : write->is_new ? SOFTFWD_EFFECT_INSTALL
                                                  : SOFTFWD_EFFECT_UPDATE;
    softfwd_prefix_claim(write->handle);
    softfwd_note(Af::insert_prefix, effect, write->handle);
    /* A cookie that was cleared in between may list another prefix at this place. */
    if (Af::cookie_get(write->index) == write->pfx) Af::cookie_result(write->index, good ? 0 : -1);
}

static void complete_all() {
    bool v4 = false, v6 = false;
    for (uint32_t i = 0; i < pending.count; i++) {
        const pending_write *write = &pending.writes[i];
        if (write->family == ADDRESS_FAMILY_V4) {
            write_complete<softfwd_v4>(write);
            v4 = true;
        } else {
            write_complete<softfwd_v6>(write);
            v6 = true;
        }
    }
    if (v4) softfwd_v4::cookie_done();
    if (v6) softfwd_v6::cookie_done();
    if (v4 || v6) softfwd_state.completed = true;
    softfwd_state.ready_calls = 0;
    softfwd_pending_reset();
}

/* --- brackets --- */

static void bracket_end() {
    softfwd_header *head = softfwd_state.head;
    softfwd_state.writes_in_bracket = 0;
    softfwd_state.completed = false;
    head->counters.brackets++;
    softfwd_store(&head->a_bracket, head->a_bracket + 1);
    softfwd_grace_run();
}

int softfwd_one_write_ready() {
    softfwd_engine *engine = &softfwd_state;
    if (!engine->open) return 0;
    const softfwd_config *config = softfwd_config_get();
    if (pending.count != 0 && ++engine->ready_calls >= config->async_every) complete_all();
    const bool full = config->write_batch != 0 && engine->writes_in_bracket >= config->write_batch;
    if (!engine->completed && !full) return 0;
    bracket_end();
    return config->never_ready ? 0 : 1;
}

int softfwd_all_writes_ready() {
    if (!softfwd_state.open) return 0;
    const softfwd_config *config = softfwd_config_get();
    if (pending.count != 0) complete_all();
    bracket_end();
    if (config->check_integrity)
        softfwd_state.head->counters.violations += softfwd_integrity_check(nullptr, 0);
    return config->never_ready ? 0 : 1;
}
