/* host/store/store_admin.h: what surrounds the use of the store: start and end of a process, messages, limits, what
 * was found at open, and the knobs by which tests make it fail. One thread. */
#pragma once

#include <cstddef>
#include <cstdint>

/* Gets one line of text, without a line end, for everything that a person should know: damage, refusals, limits.
 * Before it is set, and with null, lines go to the error output. */
using store_log_fn = void (*)(void *ctx, const char *text);
void store_log_set(store_log_fn log, void *ctx);

/* Takes ownership of the store before the first database is opened, which otherwise happens at the first use: a
 * process that must not run beside another asks here. With 'forget' a batch that the last process was killed in
 * is dropped instead of finished. 0, also when this process has it already; STORE_IN_USE; STORE_IO. */
[[nodiscard]] int store_claim(bool forget);

/* Whether the last process left something to restart from: at least one good record in a database of this layout,
 * or a sealed batch in the redo log. Takes ownership of the store (and so finishes a batch that the last process
 * was killed in). False also when another process owns the store. Ask before the first database is opened. */
[[nodiscard]] bool store_usable_state();
/* Removes the store's files, "/dev/shm/lcfwd_*" below the root, for a cold start. 0; STORE_IN_USE when a database is
 * open or another process owns the store; STORE_IO. */
[[nodiscard]] int store_remove_leftovers();

/* The bound on the bytes of all databases together. At it, only records that need no more room are stored; it is
 * tested once for a batch, so one batch may pass it by its own size. 0 sets the default of 16 GiB. */
void store_hard_bound_set(uint64_t bytes);

/* What opening a service found. */
struct store_open_report {
    uint32_t records;         /* good ones, in use */
    uint32_t records_refused; /* bad length or checksum; given up and their room freed */
    uint32_t pages_refused;   /* nothing in them could be believed */
    uint32_t pages_lost;      /* the file was shorter than it said */
    uint32_t pages_repaired;  /* page head bad, records good */
    bool header_repaired;     /* one of the two headers was bad */
    bool set_aside; /* not our file, or another layout: renamed to "<file>.aside", a new one begun */
};
/* STORE_ABSENT when the service is not open. */
[[nodiscard]] int store_open_report_get(int id, store_open_report *out);
/* Operations finished from the redo log when this process took over the store; 0 after a clean end. */
[[nodiscard]] uint32_t store_replayed_operations();

/* Memory of one open service, for accounting. */
struct store_memory {
    uint64_t file_bytes;    /* of the shared file, allocated */
    uint64_t private_bytes; /* index, and the sorted view while a walk is on */
};
[[nodiscard]] int store_memory_get(int id, store_memory *out);

/* Unmaps and closes everything and forgets all settings and knobs, as the end of the process would. Files stay. */
void store_reset();

/* Test knobs. The 'nth' call (1 = the next) at 'point' gives 'code' instead of doing its work, then the knob is off
 * again, or with 'keep_failing' strikes at each further call; 0 turns it off. */
enum store_fault_point : int {
    STORE_FAULT_OPEN,
    STORE_FAULT_ADD_DB,
    STORE_FAULT_ADD,
    STORE_FAULT_EXEC,
    STORE_FAULT_INIT,
    STORE_FAULT_MAX_DBSIZE,
    STORE_FAULT_GROW, /* more room for a file: as if the file system were full, whatever 'code' */
    STORE_FAULT_WALK, /* the sorted view of a walk */
    STORE_FAULT_POINTS
};
void store_fault_set(store_fault_point point, uint32_t nth, int code, bool keep_failing = false);
[[nodiscard]] uint32_t store_fault_struck(store_fault_point point); /* how often, since it was set */

/* Steps inside an exec (and inside the immediate forms, which are batches of one). 'index' is the operation. A test
 * kills its process in the hook, to see what the next one makes of the files. Null: none. */
enum store_step : int {
    STORE_STEP_BEGIN,      /* nothing written yet */
    STORE_STEP_LOG_OP,     /* the redo log holds operation 'index' */
    STORE_STEP_LOGGED,     /* redo log complete, not sealed */
    STORE_STEP_SEALED,     /* from here on the batch is in */
    STORE_STEP_TOUCH,      /* about to write a slot */
    STORE_STEP_HALF_SLOT,  /* key and value are in their slot, its head is not */
    STORE_STEP_PAGE,       /* a new page is prepared and not yet counted */
    STORE_STEP_APPLIED_OP, /* operation 'index' is in its database */
    STORE_STEP_APPLIED,    /* all are; the log is still sealed */
    STORE_STEP_CLEARED     /* the log is empty again */
};
using store_step_fn = void (*)(store_step step, uint32_t index);
void store_step_hook_set(store_step_fn hook);
