#include "core/lcfwd_log.h"

#include "core/lcfwd_db.h"
#include "core/lcfwd_exit.h"
#include "core/lcfwd_log_file.h"
#include "core/lcfwd_mts.h"
#include "host/engine/engine.h"
#include "host/store/store.h"
#include "host/trace/sdwrap.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <initializer_list>

bool lcfwd_flog_disable;
bool ufib_disable_tracing;
bool ufib_enable_rc_debugs;
bool ufib_update_funcstats;
bool ufib_disable_funcstats_tr;

static constexpr uint32_t told_elements = 17; /* the service is not told of the names behind these */
static constexpr uint32_t syslog_bytes = 2128;
static constexpr uint32_t debug_history_uuid = 115;

static char lcfwd_log_buf[1024];

static const sdwrap_dbg_elem lcfwd_dbg_elem_desc[] = {
    {LCFWD_LOG_HA, "High Availability"},
    {LCFWD_LOG_FSM, "FSM"},
    {LCFWD_LOG_EVENT, "Event"},
    {LCFWD_LOG_ERROR, "Error"},
    {LCFWD_LOG_WARNING, "Warning"},
    {LCFWD_LOG_TRACE, "Trace"},
    {LCFWD_LOG_TRACE_DETAIL, "Trace Detail"},
    {LCFWD_LOG_DEMUX, "Demux"},
    {LCFWD_LOG_DEQUEUE, "Dequeue"},
    {UFIB_LOG_ERROR, "UFIB Error"},
    {UFIB_LOG_TRACE, "UFIB Trace"},
    {UFIB_LOG_TRACE_DETAIL, "UFIB Trace Detail"},
    {MFIB_LOG_ERROR, "MFIB Error"},
    {MFIB_LOG_TRACE, "MFIB Trace"},
    {MFIB_LOG_TRACE_DETAIL, "MFIB Trace Detail"},
    {MFIB_OTV_LOG_ERROR, "MFIB OTV Error"},
    {MFIB_OTV_LOG_TRACE, "MFIB OTV Trace"},
    {116, "MFIB OTV Trace Detail"},
    {117, "LFIB INSERT LABEL INPUT PARAMS"},
    {118, "LFIB_INSERT_OR_UPDATE_LABEL_INFO"},
    {119, "LFIB DELETE LABEL INPUT PARAMS"},
    {120, "LFIB DELETE LABEL INFO"},
    {121, "LFIB INSERT ADJ INPUT PARAMS"},
    {122, "LFIB INSERT OR UPDATE ADJ INFO"},
};
static_assert(MFIB_OTV_LOG_TRACE == 115);

/* Where the debug service may keep its switches, on systems that have a store for them. */
static const uint32_t debug_store_key[2] = {1, 0x64000001};
static const pss2_datum lcfwd_sdwrap_debug_key = {debug_store_key, sizeof debug_store_key};
static const pss2_datum lcfwd_sdwrap_syslog_key = {debug_store_key, sizeof debug_store_key};

static const sdwrap_facility lcfwd_facility = {"lcfwd"};

static uint32_t service_uuid() { return is_lcfwd_lib ? LCFWD_LIB_UUID : LCFWD_UUID; }

static bool is_domain_error(uint32_t subtype) {
    return subtype == UFIB_LOG_ERROR || subtype == MFIB_LOG_ERROR || subtype == MFIB_OTV_LOG_ERROR;
}

/* The form that a line has in the history: errors of the domains tell where they come from. */
static void history_write(uint32_t subtype, const char *function, int line, const char *text) {
    char event[512];
    int length;
    if (subtype == LCFWD_LOG_ERROR)
        length = std::snprintf(event, sizeof event, "ERROR: %s", text);
    else if (subtype == LCFWD_LOG_TRACE)
        length = std::snprintf(event, sizeof event, "TRACE: %s", text);
    else
        length = std::snprintf(event, sizeof event,
                               is_domain_error(subtype) ? "%s(%d):ERROR: %s" : "%s(%d):TRACE: %s", function,
                               line, text);
    if (length < 0) return;
    const size_t counted = static_cast<size_t>(length) + 5;
    sdwrap_hist_event(LCFWD_LOG_FAMILY,
                      static_cast<uint32_t>(counted < sizeof event ? counted : sizeof event), event);
}

/* Everywhere but the text file. */
static void services_write(uint32_t subtype, uint32_t instance, const char *function, int line,
                           const char *text) {
    if (sdwrap_hist_event_subtype_check(LCFWD_LOG_FAMILY, subtype))
        history_write(subtype, function, line, text);
    if (sdwrap_chk_int(subtype)) buginf("%s", text);
    char event[512];
    const int length = std::snprintf(event, sizeof event, "%s", text);
    if (length < 0) return;
    const size_t counted =
        static_cast<size_t>(length) < sizeof event ? static_cast<size_t>(length) : sizeof event - 1;
    sdwrap_his_log_event_for_uuid_inst(service_uuid(), LCFWD_LOG_FAMILY, instance, 0,
                                       static_cast<uint32_t>(counted), event);
}

void lcfwd_log_write(uint32_t subtype, uint32_t instance, const char *function, int line, const char *format,
                     ...) {
    va_list args;
    va_start(args, format);
    std::vsnprintf(lcfwd_log_buf, sizeof lcfwd_log_buf, format, args);
    va_end(args);
    lcfwd_log_write_forms(subtype, instance, function, line, lcfwd_log_buf, lcfwd_log_buf);
}

void lcfwd_log_write_forms(uint32_t subtype, uint32_t instance, const char *function, int line,
                           const char *file_text, const char *text) {
    if (!lcfwd_flog_disable) lcfwd_log_file_write(file_text);
    services_write(subtype, instance, function, line, text);
}

/* A history that cannot be had costs the history only. */
static void histories_init() {
    static const struct {
        uint32_t instance;
        uint32_t bytes;
    } instances[] = {{1, 0x100000}, {2, 0x100000}, {3, 0x100000}, {4, 0x80000}, {5, 0x600000}};
    int failures = sdwrap_hist_init(0x80000) != 0 ? 1 : 0;
    if (sdwrap_hist_init_for_uuid(debug_history_uuid, 0x10000) != 0) failures++;
    for (const auto &row : instances) {
        if (sdwrap_hist_init_for_uuid_inst(service_uuid(), row.instance, row.bytes) != 0) failures++;
    }
    if (failures != 0) LCFWD_WARN("%d histories could not be set up", failures);
}

int lcfwd_sdwrap_debug_init() {
    const bool stored = fu_is_debug_store_present();
    if (sdwrap_dbg_init(fib_q_mts_sys, "lcfwd", "LCFWD Manager", told_elements, lcfwd_dbg_elem_desc,
                        stored ? &lcfwd_sdwrap_debug_key : nullptr) != 0) {
        return lcfwd_exit(LCFWD_EXIT_DEBUG);
    }
    histories_init();
    LCFWD_TRACE("%s(%d): sdwrap_dbg_init successful\n", __func__, __LINE__);
    sdwrap_sys_facility = &lcfwd_facility;
    if (sdwrap_sys_init_helper(fib_q_mts_sys, "lcfwd", "LCFWD Manager", syslog_bytes,
                               stored ? &lcfwd_sdwrap_syslog_key : nullptr) != 0) {
        return lcfwd_exit(LCFWD_EXIT_SYSLOG);
    }
    LCFWD_TRACE("%s(%d): sdwrap_sys_init successful\n", __func__, __LINE__);
    for (uint32_t subtype : {LCFWD_LOG_ERROR, UFIB_LOG_ERROR, MFIB_LOG_ERROR, MFIB_OTV_LOG_ERROR}) {
        sdwrap_hist_set_event_subtype(LCFWD_LOG_FAMILY, subtype, true);
    }
    return 0;
}

void lcfwd_log_check() {
    if (lcfwd_flog_disable || lcfwd_log_file_open()) return;
    std::fprintf(stderr, "lcfwd: cannot write the text log %s: %s; going on without it\n",
                 lcfwd_log_file_path(), std::strerror(errno));
}

void lcfwd_log_reset() {
    lcfwd_log_file_close();
    lcfwd_flog_disable = false;
    ufib_disable_tracing = false;
    ufib_enable_rc_debugs = false;
    ufib_update_funcstats = false;
    ufib_disable_funcstats_tr = false;
}
