/* softfwd/softfwd_engine.h: the engine's process-wide state and its life. For softfwd/ only. */
#pragma once

#include "softfwd/softfwd_file.h"
#include "softfwd/softfwd_grace.h"
#include "softfwd/softfwd_layout.h"

#include <cstdint>

/* What was there before the restart and has found its model again: one bit a handle, below the marks at the start. */
struct softfwd_claims {
    uint64_t *bits; /* owned; null when there was nothing to take over */
    uint32_t limit; /* handles from here on were made by this process */
};

struct softfwd_engine {
    bool open;
    softfwd_file tables;
    softfwd_file readers;
    softfwd_file counters;

    /* Into the mappings. */
    softfwd_header *head;
    uint32_t *buckets;
    softfwd_table *table;
    softfwd_prefix *prefix;
    uint32_t *directory;
    softfwd_adj *record;
    uint8_t *group_units;
    softfwd_log_entry *log;
    uint64_t *rpf; /* SOFTFWD_RPF_ROOM words */
    softfwd_readers *places;
    softfwd_counter_header *counter_head;
    uint64_t *hits;
    softfwd_adj_counter *counts;

    lpm_arena arena;
    softfwd_grace grace;

    /* Free lists, threaded through the free objects; 0 ends. */
    uint32_t free_table, free_prefix, free_record;
    uint32_t free_handles[SOFTFWD_MEMBERS_MAX + 1];         /* by length of the run */
    uint32_t free_group_units[SOFTFWD_GROUP_UNITS_MAX + 1]; /* by length */

    /* Brackets. */
    uint32_t writes_in_bracket;
    uint32_t ready_calls; /* one_write_ready calls since the last completion */
    bool completed;       /* late writes completed since the last bracket */
    uint32_t aged;        /* aged routes reported since the start */

    softfwd_claims prefix_claims, adj_claims, table_claims;

    bool rpf_doubtful; /* some interface may check otherwise than the store knows */
};
extern softfwd_engine softfwd_state;

/* Opens the tables of the slot once; further calls do nothing until softfwd_reset(). 'restart' zero wipes. */
void softfwd_engine_open(bool restart);

/* Says a line through the settings' hook and keeps it as the last message. */
void softfwd_say(const char *format, ...) __attribute__((format(printf, 1, 2)));

/* Sets the pointers from the mappings. */
void softfwd_engine_bind();
