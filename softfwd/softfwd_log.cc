#include "softfwd/softfwd_journal.h"

#include "softfwd/softfwd_commit.h"
#include "softfwd/softfwd_engine.h"

static void count(softfwd_counters *counters, softfwd_effect effect) {
    switch (effect) {
    case SOFTFWD_EFFECT_INSTALL: counters->installs++; break;
    case SOFTFWD_EFFECT_UPDATE: counters->updates++; break;
    case SOFTFWD_EFFECT_REMOVE: counters->removals++; break;
    case SOFTFWD_EFFECT_REATTACH: counters->reattaches++; return;
    case SOFTFWD_EFFECT_FAILURE: counters->failures++; return;
    case SOFTFWD_EFFECT_PENDING: return;
    }
    counters->writes++;
    softfwd_state.writes_in_bracket++;
}

void softfwd_note(softfwd_op op, softfwd_effect effect, uint32_t handle, uint8_t difference) {
    softfwd_header *head = softfwd_state.head;
    count(&head->counters, effect);
    const uint32_t sequence = head->a_log_sequence + 1;
    softfwd_state.log[sequence % SOFTFWD_LOG_ENTRIES] = {sequence, head->a_bracket, handle, op,
                                                         effect,   difference,      0};
    softfwd_store(&head->a_log_sequence, sequence);
    if (effect == SOFTFWD_EFFECT_INSTALL) softfwd_doubt(op, handle, false); /* now the log knows it */
}

void softfwd_note_reattach(softfwd_op op, uint32_t handle, uint8_t difference) {
    softfwd_counters *counters = &softfwd_state.head->counters;
    counters->key_differences += (difference & SOFTFWD_DIFFERS_KEY) != 0;
    counters->content_differences += (difference & SOFTFWD_DIFFERS_CONTENT) != 0;
    softfwd_note(op, SOFTFWD_EFFECT_REATTACH, handle, difference);
}

size_t softfwd_log_read(uint32_t from, softfwd_log_entry *out, size_t max) {
    if (!softfwd_state.open) return 0;
    return softfwd_log_copy(softfwd_state.log, softfwd_state.head->a_log_sequence, from, out, max);
}

uint32_t softfwd_log_sequence() { return softfwd_state.open ? softfwd_state.head->a_log_sequence : 0; }

void softfwd_counters_get(softfwd_counters *out) {
    *out = softfwd_state.open ? softfwd_state.head->counters : softfwd_counters{};
}
