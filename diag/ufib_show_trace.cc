/* The binary trace of a VDC, made to text in the process itself. */
#include "core/lcfwd_log.h"
#include "core/lcfwd_vdc.h"
#include "core/ufib_trace.h"
#include "diag/show_walk.h"
#include "diag/ufib_show_counters.h"
#include "host/command/command.h"
#include "host/trace/bl_reader.h"
#include "host/trace/sdwrap.h"

#include <cstdio>
#include <cstring>
#include <ctime>

static constexpr uint64_t NS_PER_SECOND = 1'000'000'000;

/* How long something took: batches, walks, functions. */
static bool profile_event(uint32_t event) {
    return event == UFIB_TR_BATCH_TIME || event == UFIB_TR_WALK_TIME ||
           (event >= UFIB_TR_PERF && event < UFIB_TR_IPSG_CREATE);
}

static void record_print(cmd_handle *handle, const bl_reader *reader, const bl_record &record) {
    char text[1024], when[64], day[32];
    const auto seconds = static_cast<time_t>(record.wall_ns / NS_PER_SECOND);
    struct tm broken {};
    std::strftime(day, sizeof day, "%Y-%m-%d %H:%M:%S", localtime_r(&seconds, &broken));
    std::snprintf(when, sizeof when, "%s.%06u", day,
                  static_cast<unsigned>(record.wall_ns % NS_PER_SECOND / 1000));
    bl_render(bl_reader_format(reader, record.event), &record, text, sizeof text);
    cmd_prt_row_begin(handle);
    cmd_prt(handle, "%s  %u  %3u  %s\n", cmd_text(when, "time"), cmd_u32(record.level, "level"),
            cmd_u32(record.event, "event"), cmd_text(text, "text"), cmd_u64(record.sequence, "sequence"));
    cmd_prt_row_end(handle);
}

/* The show ends at the record that was the newest when it began: more may come between two pieces for ever. Its parameters keep the
 * sequence number of that one in 'vobj_id', and of the last one shown in 'at_id'. */
struct trace_walk {
    bool (*wanted)(uint32_t event);
    bl_reader *reader;
    show_walk walk;
};

static bool record_wanted(const trace_walk &work, const bl_record &record) {
    const uint32_t level = work.walk.params->value;
    return work.wanted(record.event) && (level == 0 || level == record.level);
}

/* Reads the trace once through for its end, and with a limit for the place where the newest records begin. */
static int trace_begin(trace_walk *work, uint32_t vdc_id) {
    ufib_show_params *params = work->walk.params;
    uint64_t found = 0;
    bl_record record;
    while (bl_reader_next(work->reader, &record)) {
        params->vobj_id = record.sequence;
        found += record_wanted(*work, record) ? 1 : 0;
    }
    bl_reader_close(work->reader);
    const int status = bl_reader_open(vdc_id, UFIB_TRACE_LOG, &work->reader);
    if (status != 0 || params->limit == 0) return status;
    for (; found > params->limit && bl_reader_next(work->reader, &record); params->at_id = record.sequence)
        found -= record_wanted(*work, record) ? 1 : 0;
    return 0;
}

static void records_print(trace_walk *work, cmd_handle *handle) {
    ufib_show_params *params = work->walk.params;
    bl_record record;
    for (bool on = true; on && bl_reader_next(work->reader, &record) && record.sequence <= params->vobj_id;) {
        if (record.sequence <= params->at_id || !record_wanted(*work, record)) continue;
        params->at_id = record.sequence;
        record_print(handle, work->reader, record);
        on = show_walk_step(&work->walk, true);
    }
}

/* What is traced, and how much. */
static void settings_print(cmd_handle *handle) {
    const bl_counters *counters = bl_counters_get();
    cmd_prt(handle, "Tracing: %s   function times: %s   their trace: %s   text log: %s   route log: %s\n",
            cmd_text(ufib_disable_tracing ? "off" : "on", "tracing"),
            cmd_text(ufib_update_funcstats ? "on" : "off", "function_times"),
            cmd_text(ufib_disable_funcstats_tr ? "off" : "on", "function_trace"),
            cmd_text(lcfwd_flog_disable ? "off" : "on", "text_log"),
            cmd_text(ufib_enable_rc_debugs ? "on" : "off", "route_log"));
    cmd_prt(handle, "Records written: %llu, dropped: %llu, cut: %u\n", cmd_u64(counters->records, "written"),
            cmd_u64(counters->dropped, "dropped"), cmd_u32(counters->cut, "cut"));
    cmd_prt_list_begin(handle, "levels");
    for (const bl_level &level : ufib_trace_levels) {
        if (level.word[0] == 0) continue;
        cmd_prt_row_begin(handle);
        cmd_prt(handle, "Level %u keeps %u records\n", cmd_u32(level.word[0] & 0xffff, "level"),
                cmd_u32(level.word[0] >> 16, "records"));
        cmd_prt_row_end(handle);
    }
    cmd_prt_list_end(handle);
}

/* The elements of the text log: those that go to the history, and those that are printed. */
static void elements_print(cmd_handle *handle) {
    cmd_prt_list_begin(handle, "debug_elements");
    for (uint32_t subtype = LCFWD_LOG_HA; subtype <= MFIB_OTV_LOG_TRACE; subtype++) {
        cmd_prt_row_begin(handle);
        cmd_prt(
            handle, "%3u %-20s history %-3s  print %s\n", cmd_u32(subtype, "subtype"),
            cmd_text(sdwrap_dbg_name(subtype), "name"),
            cmd_text(sdwrap_hist_event_subtype_check(LCFWD_LOG_FAMILY, subtype) ? "on" : "off", "history"),
            cmd_text(sdwrap_chk_int(subtype) ? "on" : "off", "print"));
        cmd_prt_row_end(handle);
    }
    cmd_prt_list_end(handle);
}

struct trace_form {
    bool (*wanted)(uint32_t event);
    bool settings; /* printed first */
};
static constexpr trace_form all_form = {[](uint32_t) { return true; }, false};
static constexpr trace_form profile_form = {profile_event, true};

static void trace_show(cmd_handle *handle, uint32_t vdc_id, const trace_form &form) {
    ufib_show_params params;
    if (lcfwd_vdc_row(vdc_id) == nullptr ||
        !ufib_show_get_params(handle, vdc_id, nullptr, UFIB_SHOW_OTHER, &params))
        return;
    trace_walk work = {form.wanted, nullptr, {&params, 0, 0, false}};
    const bool first = (params.flags & UFIB_SHOW_CONTINUING) == 0;
    if (first && form.settings) {
        settings_print(handle);
        elements_print(handle);
    }
    int status = bl_reader_open(vdc_id, UFIB_TRACE_LOG, &work.reader);
    if (status == 0 && first) status = trace_begin(&work, vdc_id);
    if (status != 0) {
        cmd_prt_send_nok(handle, 4, "no trace: %s", std::strerror(status));
        return;
    }
    cmd_prt_list_begin(handle, "records");
    records_print(&work, handle);
    bl_reader_close(work.reader);
    show_walk_end(handle, &work.walk);
}

void ufib_show_trace_be(cmd_handle *handle, uint32_t vdc_id) { trace_show(handle, vdc_id, all_form); }
void ufib_show_trace_profile_be(cmd_handle *handle, uint32_t vdc_id) {
    trace_show(handle, vdc_id, profile_form);
}
