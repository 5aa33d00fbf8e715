/* host/engine/engine_private.h: the engine's state. For host/engine/ only. */
#pragma once

#include "host/engine/engine.h"

struct fu_hash {
    mts_row **slots; /* null = free; the number of slots is a power of two */
    uint32_t mask;
};

/* Builds the table over 'rows' (borrowed). 0; FU_ENOMEM; FU_ESTART: two rows of one opcode with unlike
 * handlers. */
[[nodiscard]] int fu_hash_build(fu_hash *table, mts_row *rows, uint32_t count);
void fu_hash_free(fu_hash *table);

struct fu_watchdog {
    uint64_t limit_ns; /* 0 = off */
    uint64_t last_beat_ns;
};

struct fu_engine {
    fu_global global = {};
    fu_hash opcodes = {};
    fu_sel *selector = nullptr; /* the one that was initialised last */
    int state = 4;
    int faults[FU_FAULT_COUNT] = {};
    int cold = -1; /* -1 = not decided */
    bool startup_config = false;
    bool debug_store = false;
    fu_counters counters = {};
    fu_watchdog watchdog = {};
    fu_log_fn log = nullptr;
};
extern fu_engine fu_engine_state;

/* Measures the busy time since the last beat or turn; called at each of both. */
void fu_watchdog_check();
void fu_watchdog_turn(); /* busy time begins */

/* True when any source of the selector is ready; does not wait. */
[[nodiscard]] bool fu_priority_select_ready(fu_sel *selector);
