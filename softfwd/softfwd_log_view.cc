#include "softfwd/softfwd_journal.h"

#include <iterator>

static const char *const op_names[] = {
    "insert_v4_table",  "insert_v6_table",  "delete_v4_table",  "delete_v6_table", "insert_v4_prefix",
    "insert_v6_prefix", "delete_v4_prefix", "delete_v6_prefix", "update_v4_nh",    "update_v6_nh",
    "insert_adj",       "delete_adj",       "clean_v4_prefix",  "clean_v6_prefix", "adj_stats",
    "insert_ecmp",      "delete_ecmp",      "insert_vobj",      "update_vobj",     "delete_vobj",
    "insert_vobj_fec",  "update_vobj_fec",  "delete_vobj_fec",  "update_intf_rpf",
};
static_assert(std::size(op_names) == SOFTFWD_OP_COUNT);

static const char *const effect_names[] = {"?",      "install", "update", "reattach",
                                           "remove", "pending", "failure"};
static_assert(std::size(effect_names) == SOFTFWD_EFFECT_FAILURE + 1);

const char *softfwd_op_name(uint8_t op) { return op < SOFTFWD_OP_COUNT ? op_names[op] : "?"; }
const char *softfwd_effect_name(uint8_t effect) {
    return effect <= SOFTFWD_EFFECT_FAILURE ? effect_names[effect] : "?";
}

size_t softfwd_log_copy(const softfwd_log_entry *log, uint32_t newest, uint32_t from, softfwd_log_entry *out,
                        size_t max) {
    if (static_cast<int32_t>(newest - from) < 0) return 0; /* nothing is that new */
    if (newest - from >= SOFTFWD_LOG_ENTRIES) from = newest - SOFTFWD_LOG_ENTRIES + 1;
    if (from == 0) from = 1;
    size_t copied = 0;
    for (uint32_t sequence = from; sequence - 1 != newest && copied < max; sequence++) {
        const softfwd_log_entry entry = log[sequence % SOFTFWD_LOG_ENTRIES];
        if (entry.sequence == sequence) out[copied++] = entry; /* else the writer has lapped us */
    }
    return copied;
}
