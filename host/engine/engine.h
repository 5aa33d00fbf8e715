/* host/engine/engine.h: the event engine that drives the process. It owns the loop: dequeue an event, demux
 * it, free what came of it; the process gives it the functions for that, and a table of opcodes. Statuses are
 * 0 or a number of the framework (15 bad argument, 18 unknown opcode, 77 start failed). One thread. */
#pragma once

#include "host/bus/fu_mts.h"
#include "host/store/store.h"

#include <cstddef>
#include <cstdint>

constexpr int FU_EINVAL = 15;    /* null argument or bad event */
constexpr int FU_ENOTFOUND = 18; /* opcode unknown */
constexpr int FU_ENOTABLE = 19;  /* no opcode table yet */
constexpr int FU_ENOMEM = 67;
constexpr int FU_ESTART = 77;

/* ---- events ---- */

constexpr uint32_t FU_EVENT_KIND_MTS = 0;
constexpr uint32_t FU_EVENT_KIND_CLEANUP = 5; /* conditional clean-up */

constexpr uint32_t FU_EVENT_CAT_MTS = 1;        /* a message while active */
constexpr uint32_t FU_EVENT_CAT_STDBY_MTS = 5;  /* a message while standby */
constexpr uint32_t FU_EVENT_CAT_STDBY_WRAP = 6; /* the same inside a wrapper */

/* A message that came through the standby's channel. */
struct fu_mts_wrap {
    uint32_t type;
    mts_msg *message;
};

struct fu_event {
    uint32_t kind;        /* FU_EVENT_KIND_* */
    uint32_t category;    /* FU_EVENT_CAT_* */
    uint32_t queue;       /* handle */
    mts_msg *message;     /* categories 1 and 5 */
    fu_mts_wrap *wrapper; /* category 6 */
    int source_id;        /* id of the selector's source, 1..8 */
};

/* What a demux leaves: a singly linked list of follow-up events. */
struct fu_event_node {
    fu_event_node *next;
    fu_event event;
};

void fu_fsm_event_init(fu_event *event); /* zeroes */

/* The message of an event of category 1, 5 or 6; null otherwise. */
mts_msg *fu_event_message(const fu_event *event);

/* ---- opcode table ---- */

using fu_handler = int (*)(fu_event *event, fu_event_node **out);

struct mts_row {
    uint32_t opcode;
    uint32_t flags; /* bit 0 option 1, bit 1 option 2, bit 2 option 16, bit 3 none, bit 14 the framework's */
    uint32_t queue; /* index 1..7 of the process's queue table */
    fu_handler active;
    fu_handler standby;
    uint32_t framework[35];
};

struct fu_hash; /* opaque */

/* Finds the row of 'opcode': 0 with '*row' set; FU_ENOTFOUND; FU_ENOTABLE when 'table' is null. */
[[nodiscard]] int fu_hashtable_find(const fu_hash *table, uint32_t opcode, mts_row **row);

/* ---- start ---- */

constexpr uint32_t FU_SAPS_MAX = 16;
constexpr uint32_t FU_SERVICES_MAX = 16;

struct fu_init_arg {
    int (*dequeue)(fu_event *event);                    /* 0 with one event, else a status */
    int (*demux)(fu_event *event, fu_event_node **out); /* 0 or a status */
    void (*free_demux_list)(fu_event_node *list);       /* frees the nodes and what they hold */
    int (*ascii_gen)(void *context);                    /* state dump; may be null */
    mts_row *rows;                                      /* borrowed; must outlive the engine */
    uint32_t row_count;
    uint32_t saps[FU_SAPS_MAX];
    uint32_t sap_count;
    uint32_t uuid;
    uint32_t control_queue;
    uint32_t flags;
    uint32_t flags2;
    char *name; /* heap block of the caller's, or null */
    fu_pss_service_arg services[FU_SERVICES_MAX];
    uint32_t service_count;
};

struct fu_global {
    fu_init_arg arg;
    fu_hash *opcodes; /* for fu_hashtable_find() */
};
extern fu_global *fu_global_get(); /* never null; opcodes is null before fu_global_initialize() */

[[nodiscard]] int fu_global_initialize_default_arg(fu_init_arg *arg);
/* Copies 'service', to be opened by fu_global_initialize(). 0, FU_EINVAL, or FU_ENOMEM when full. */
[[nodiscard]] int fu_init_arg_add_pss_service(fu_init_arg *arg, const fu_pss_service_arg *service);
[[nodiscard]] int fu_init_arg_ascii_gen_info(fu_init_arg *arg, int (*ascii_gen)(void *context));

/* Builds the opcode table (an opcode may stand twice if both rows have the same handlers), decides between
 * cold start and restart (see fu_is_stateless_restart), removes what a dead run left in the store on a cold
 * start, and opens the services. 0; FU_ESTART: two different rows for one opcode, a service refused;
 * FU_EINVAL: a callback is missing. */
[[nodiscard]] int fu_global_initialize(fu_init_arg *arg);

/* True when the process starts without usable stored state (cold start), false when the store survived. The
 * host may set it before fu_global_initialize(); otherwise the store is asked. */
[[nodiscard]] bool fu_is_stateless_restart();
void fu_stateless_restart_set(bool cold);

[[nodiscard]] bool fu_is_startup_config_present(); /* false until set */
void fu_startup_config_present_set(bool present);

/* True when the system keeps debug switches over restarts for its services; false until set. */
[[nodiscard]] bool fu_is_debug_store_present();
void fu_debug_store_present_set(bool present);

/* State of the process: 1, 4 and 5 are active, 2 is standby. 4 at the start. */
[[nodiscard]] int fu_fsm_state();
void fu_fsm_state_set(int state);

/* ---- selector ---- */

constexpr int FU_SOURCE_MTS = 2;       /* a queue of the bus */
constexpr int FU_SOURCE_CONDITION = 3; /* a condition queue */
constexpr uint32_t FU_SOURCES_MAX = 16;

/* A condition queue: ready while an entry is queued. */
struct fu_cq {
    uint32_t entries;
};
[[nodiscard]] int fu_cq_init(fu_cq *queue, int options);
[[nodiscard]] bool fu_cq_eval_to_true(void *queue); /* predicate: always true */
void fu_cq_add(fu_cq *queue);                       /* queues one entry */
void fu_cq_take(fu_cq *queue);                      /* takes one entry, if there is one */

struct fu_src {
    int type;   /* FU_SOURCE_* */
    int weight; /* turns in a round; negative: only when nothing else is ready */
    uint32_t handle;
    fu_cq *cq;
    bool (*predicate)(void *cq);
    int id;
    int credit; /* turns left in this round */
};

struct fu_sel {
    fu_src sources[FU_SOURCES_MAX];
    uint32_t count;
    uint32_t cursor;     /* source of the last turn */
    uint32_t since_poll; /* turns since the transport was last asked */
};

/* Prepares a selector; it becomes the one of fu_fsm_step(). 0 or FU_EINVAL. */
[[nodiscard]] int fu_priority_select_init(fu_sel *selector, int options);

/* Adds a source. A source of weight w gets w turns in a round while it has work, in rotation with the others;
 * a negative weight is served when no other source is ready. 0, FU_EINVAL (unknown type, weight 0, condition
 * queue missing), FU_ENOMEM. */
[[nodiscard]] int fu_priority_select_add_queue(fu_sel *selector, int type, int weight, uint32_t handle,
                                               fu_cq *cq, bool (*predicate)(void *), int id);

/* Waits until a source is ready or the time-out (null = none) has passed; signals do not end the wait.
 * Returns the source whose turn it is, or null. '*error' is 0, or FU_SELECT_ERROR with an errno in the low 12
 * bits; a stop request ends the wait with EINTR there. */
constexpr uint32_t FU_SELECT_ERROR = 0x41c00000;
const fu_src *fu_priority_select(fu_sel *selector, const struct timeval *timeout, uint32_t *error);

/* ---- loop ---- */

/* Runs the loop until fu_fsm_stop(). A status of dequeue or demux is counted, logged (fu_log_set) and
 * survived. */
void fu_fsm_engine();

/* For tests: one turn without waiting. With no source ready it runs the timers that are due. False when there
 * was nothing to do. */
bool fu_fsm_step();

/* Ends the loop after the turn in progress. May be called from a signal handler. */
void fu_fsm_stop();
[[nodiscard]] bool fu_fsm_stop_requested();

/* With 'flag' 1 the loop does not drop 'message' when its handler returns: the handler answers it later and
 * gives it to fu_mts_drop() itself. 0 or an errno, as mts_hold(). 'context' and another 'flag' are not
 * used. */
[[nodiscard]] int fu_fsm_context_set_out_flag(void *context, int flag, mts_msg *message);

/* ---- health ---- */

void fu_sysmgr_update_and_send_heartbeat(int argument);
void fu_condnal_cleanup_done();

/* Busy time without a heartbeat that is still healthy, in nanoseconds; 0 = not watched. A turn's begin counts
 * as a beat. */
void fu_watchdog_set(uint64_t limit_ns);

struct fu_counters {
    uint64_t turns;            /* dequeue calls of the loop */
    uint64_t dequeue_failures; /* statuses other than 0 */
    uint64_t demux_failures;
    uint64_t heartbeats;
    uint64_t watchdog_late;   /* intervals longer than the watchdog's limit */
    uint64_t longest_busy_ns; /* measured while the watchdog is set */
    uint64_t cleanups_done;
};
const fu_counters *fu_counters_get();

/* Receives one line, without a new line, for each failure of the loop. Repeats of one status are thinned out:
 * the 1st, 2nd, 4th, 8th... are logged. Null = nobody. */
using fu_log_fn = void (*)(const char *line);
void fu_log_set(fu_log_fn log);

/* For tests: makes one of the start's operations return 'status' (0 = works). */
enum fu_fault : uint8_t {
    FU_FAULT_DEFAULT_ARG,
    FU_FAULT_ASCII_GEN,
    FU_FAULT_GLOBAL,
    FU_FAULT_SELECT_INIT,
    FU_FAULT_SELECT_ADD,
    FU_FAULT_CQ_INIT,
    FU_FAULT_COUNT
};
void fu_fault_set(fu_fault operation, int status);

/* Back to the state before the first call; frees the opcode table, not the rows. */
void fu_reset();
