/* The process around the model: queues, bus, loop, timers, trace, store, memory. */
#include "core/lcfwd_log.h"
#include "core/lcfwd_log_file.h"
#include "core/lcfwd_memory.h"
#include "core/lcfwd_mts.h"
#include "core/lcfwd_timer.h"
#include "core/lcfwd_vdc.h"
#include "diag/ufib_show_counters.h"
#include "host/bus/bus.h"
#include "host/command/command.h"
#include "host/containers/pt.h"
#include "host/containers/slab.h"
#include "host/engine/engine.h"
#include "host/interfaces/l3vm.h"
#include "host/store/store_admin.h"
#include "host/system/mtrack.h"
#include "host/system/system.h"
#include "host/trace/bl.h"
#include "host/trace/sdwrap.h"
#include "persist/lcfwd_pss.h"

#include <cstdio>
#include <unistd.h>

static constexpr uint64_t NS_PER_MS = 1'000'000;

/* A counter of a block: its text is its key, with '_' for ' '. */
template <typename block> struct counter_row {
    const char *text;
    uint64_t (*of)(const block &counters);
};

template <typename block, size_t count>
static void counters_print(cmd_handle *handle, const char *name, const block &counters,
                           const counter_row<block> (&rows)[count]) {
    char text[64];
    std::snprintf(text, sizeof text, "%s:\n", name);
    cmd_prt_decoration(handle, text);
    cmd_prt_object_begin(handle, name);
    for (const counter_row<block> &row : rows) {
        std::snprintf(text, sizeof text, "   %-32s : %%llu\n", row.text);
        cmd_prt(handle, text, cmd_u64(row.of(counters)));
    }
    cmd_prt_object_end(handle);
}

/* ---- messages ---- */

static void queues_print(cmd_handle *handle) {
    cmd_prt_decoration(handle, "Queue                         SAP  weight   depth   waiting      received\n");
    cmd_prt_list_begin(handle, "queues");
    for (uint32_t index = LCFWD_Q_SYS; index < LCFWD_Q_ROWS; index++) {
        const lcfwd_mts_queue &queue = lcfwd_mts_q_array[index];
        mts_queue_info info = {};
        (void)mts_queue_info_get(queue.handle, &info);
        cmd_prt_row_begin(handle);
        cmd_prt(handle, "%-28s %4u  %6d  %6u  %8u  %12llu\n", cmd_text(queue.name, "name"),
                cmd_u32(queue.sap, "sap"), cmd_i64(queue.weight, "weight"), cmd_u32(info.depth, "depth"),
                cmd_u32(info.waiting, "waiting"), cmd_u64(info.received, "received"));
        cmd_prt_row_end(handle);
    }
    cmd_prt_list_end(handle);
}

static constexpr counter_row<mts_counters> bus_rows[] = {
    {"received", [](const mts_counters &c) { return c.received; }},
    {"sent", [](const mts_counters &c) { return c.sent; }},
    {"dropped", [](const mts_counters &c) { return c.dropped; }},
    {"undeliverable", [](const mts_counters &c) { return c.undeliverable; }},
    {"bad frames", [](const mts_counters &c) { return c.bad_frames; }},
    {"foreign senders", [](const mts_counters &c) { return c.foreign_senders; }},
    {"refused peers", [](const mts_counters &c) { return c.refused_peers; }},
    {"peers", [](const mts_counters &c) { return c.peers; }},
};
static constexpr counter_row<cmd_counters> command_rows[] = {
    {"requests", [](const cmd_counters &c) { return c.requests; }},
    {"bad requests", [](const cmd_counters &c) { return c.bad_requests; }},
    {"answers", [](const cmd_counters &c) { return c.answers; }},
    {"parts", [](const cmd_counters &c) { return c.parts; }},
    {"second answers", [](const cmd_counters &c) { return c.second_answers; }},
    {"send failures", [](const cmd_counters &c) { return c.send_failures; }},
};
static constexpr counter_row<fu_counters> loop_rows[] = {
    {"turns", [](const fu_counters &c) { return c.turns; }},
    {"dequeue failures", [](const fu_counters &c) { return c.dequeue_failures; }},
    {"demux failures", [](const fu_counters &c) { return c.demux_failures; }},
    {"heartbeats", [](const fu_counters &c) { return c.heartbeats; }},
    {"watchdog late", [](const fu_counters &c) { return c.watchdog_late; }},
    {"longest busy ns", [](const fu_counters &c) { return c.longest_busy_ns; }},
    {"cleanups done", [](const fu_counters &c) { return c.cleanups_done; }},
};
static constexpr counter_row<host_system_counters> system_rows[] = {
    {"yields", [](const host_system_counters &c) { return uint64_t{c.yields}; }},
    {"vdc context sets", [](const host_system_counters &c) { return uint64_t{c.vdc_ctxt_sets}; }},
    {"vdc context resets", [](const host_system_counters &c) { return uint64_t{c.vdc_ctxt_resets}; }},
    {"capabilities noted", [](const host_system_counters &c) { return uint64_t{c.confcheck_adds}; }},
    {"bad feature notices", [](const host_system_counters &c) { return uint64_t{c.bad_feature_notices}; }},
};
static constexpr counter_row<bl_counters> trace_rows[] = {
    {"records", [](const bl_counters &c) { return c.records; }},
    {"dropped", [](const bl_counters &c) { return c.dropped; }},
    {"cut", [](const bl_counters &c) { return uint64_t{c.cut}; }},
    {"private logs", [](const bl_counters &c) { return uint64_t{c.private_logs}; }},
};

static constexpr counter_row<sdwrap_counters> history_rows[] = {
    {"events", [](const sdwrap_counters &c) { return c.events; }},
    {"dropped", [](const sdwrap_counters &c) { return c.dropped; }},
    {"messages", [](const sdwrap_counters &c) { return uint64_t{c.messages}; }},
    {"bad messages", [](const sdwrap_counters &c) { return uint64_t{c.bad_messages}; }},
    {"debug lines", [](const sdwrap_counters &c) { return uint64_t{c.debug_lines}; }},
};
static constexpr counter_row<fsrv_counters> database_rows[] = {
    {"notices", [](const fsrv_counters &c) { return uint64_t{c.notices}; }},
    {"reloads", [](const fsrv_counters &c) { return uint64_t{c.reloads}; }},
    {"failed reloads", [](const fsrv_counters &c) { return uint64_t{c.failed_reloads}; }},
};

/* ---- timers, log ---- */

static void timers_print(cmd_handle *handle) {
    cmd_prt_decoration(handle, "Timer                      runs        ms left\n");
    cmd_prt_list_begin(handle, "timers");
    for (uint32_t id = 0; id < LCFWD_TIMER_COUNT; id++) {
        const lcfwd_timer_info info = lcfwd_timer_info_get(static_cast<lcfwd_timer_id>(id));
        cmd_prt_row_begin(handle);
        cmd_prt(handle, "%-26s %-8s %10llu\n", cmd_text(info.name, "name"),
                cmd_text(!info.made     ? "not made"
                         : info.running ? "yes"
                                        : "no",
                         "running"),
                cmd_u64(info.left_ns / NS_PER_MS, "ms_left"));
        cmd_prt_row_end(handle);
    }
    cmd_prt_list_end(handle);
}

/* ---- store, memory ---- */

/* Of a database: its size, and the records that a reader would count. */
static void database_print(cmd_handle *handle, const char *name, int id) {
    pss2_service *service;
    store_memory memory;
    uint32_t records = 0;
    if (fu_pss_service_get(id, &service) != 0 || store_memory_get(id, &memory) != 0) return;
    (void)pss2_get_key_count(service, &records);
    cmd_prt_row_begin(handle);
    cmd_prt(handle, "%-28s %10u %14llu %14llu\n", cmd_text(name, "database"), cmd_u32(records, "records"),
            cmd_u64(memory.file_bytes, "file_bytes"), cmd_u64(memory.private_bytes, "private_bytes"));
    cmd_prt_row_end(handle);
}

static void store_print(cmd_handle *handle) {
    cmd_prt_decoration(handle, "Database                        records     file bytes  private bytes\n");
    cmd_prt_list_begin(handle, "databases");
    database_print(handle, "vdc", LCFWD_PSS_VDC_SERVICE_ID);
    database_print(handle, "generic", LCFWD_PSS_GENERIC_SERVICE_ID);
    for (uint32_t vdc_id = LCFWD_VDC_MIN; vdc_id <= LCFWD_VDC_MAX; vdc_id++)
        for (uint32_t kind = 0; kind < LCFWD_PSS_KIND_COUNT; kind++)
            if (lcfwd_pss_service(kind, vdc_id) != nullptr)
                database_print(handle, lcfwd_pss_file_name(kind, vdc_id), lcfwd_pss_service_id(kind, vdc_id));
    cmd_prt_list_end(handle);
}

static void slabs_print(cmd_handle *handle) {
    cmd_prt_decoration(handle,
                       "Slab                                 size     in use   capacity          bytes"
                       "       given out   failures\n");
    cmd_prt_list_begin(handle, "slabs");
    for (const slab *pool = slab_first(); pool != nullptr; pool = pool->next) {
        cmd_prt_row_begin(handle);
        cmd_prt(handle, "%-34s %6u %10u %10u %14llu %15llu %10llu\n", cmd_text(pool->name, "name"),
                cmd_u32(pool->element_bytes, "element_bytes"), cmd_u32(pool->in_use, "in_use"),
                cmd_u32(pool->capacity, "capacity"), cmd_u64(slab_bytes(pool), "bytes"),
                cmd_u64(pool->calloc_count, "allocations"), cmd_u64(pool->failures, "failures"));
        cmd_prt_row_end(handle);
    }
    cmd_prt_list_end(handle);
    cmd_prt(handle, "All slabs: %llu objects, %llu bytes\n", cmd_u64(slab_total_in_use(), "slab_objects"),
            cmd_u64(slab_total_bytes(), "slab_bytes"));
    cmd_prt(handle, "All tries of prefixes: %llu bytes\n", cmd_u64(pt_used_bytes(), "trie_bytes"));
}

static void accounts_print(cmd_handle *handle) {
    cmd_prt_decoration(handle,
                       "Account                               blocks          bytes  given out   failures\n");
    cmd_prt_list_begin(handle, "memory_accounts");
    for (uint32_t type = 0; type < LCFWD_MEM_COUNT; type++) {
        const mtrack_account *account = mtrack_account_get(type);
        if (account == nullptr || account->name == nullptr) continue;
        cmd_prt_row_begin(handle);
        cmd_prt(handle, "%-34s %9u %14llu %10u %10u\n", cmd_text(account->name, "name"),
                cmd_u32(account->blocks, "blocks"), cmd_u64(account->bytes, "bytes"),
                cmd_u32(account->allocations, "allocations"), cmd_u32(account->failures, "failures"));
        cmd_prt_row_end(handle);
    }
    cmd_prt_list_end(handle);
}

void lcfwd_show_process(cmd_handle *handle, uint32_t vdc_id) {
    if (lcfwd_vdc_row(vdc_id) == nullptr) return;
    cmd_prt(handle, "Process %u, log %s (%s)\n", cmd_u32(static_cast<uint32_t>(getpid()), "pid"),
            cmd_text(lcfwd_log_file_path(), "log_path"),
            cmd_text(lcfwd_log_fp != nullptr ? "open" : "not open", "log_file"));
    queues_print(handle);
    counters_print(handle, "bus", *mts_counters_get(), bus_rows);
    counters_print(handle, "commands", *cmd_counters_get(), command_rows);
    counters_print(handle, "loop", *fu_counters_get(), loop_rows);
    counters_print(handle, "system", *host_system_counters_get(), system_rows);
    counters_print(handle, "trace", *bl_counters_get(), trace_rows);
    counters_print(handle, "log_history", *sdwrap_counters_get(), history_rows);
    counters_print(handle, "interface_database", *fsrv_counters_get(), database_rows);
    timers_print(handle);
    store_print(handle);
    slabs_print(handle);
    accounts_print(handle);
    cmd_prt_send(handle);
}
