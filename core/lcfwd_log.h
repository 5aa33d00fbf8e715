/* core/lcfwd_log.h: where a forwarding process that nobody may stop leaves its marks: the rotating text
 * log, the history and debug service, and the binary trace. Text logging is slow on purpose (each line
 * reaches the file before the statement ends): hot paths write binary trace only. One thread; printf
 * formats. */
#pragma once

#include "core/lcfwd_vdc.h"
#include "host/trace/bl.h"

#include <cstdarg>
#include <cstdint>

/* Subtypes: the debug elements, by number. */
enum lcfwd_log_subtype : uint32_t {
    LCFWD_LOG_HA = 99,
    LCFWD_LOG_FSM,
    LCFWD_LOG_EVENT,
    LCFWD_LOG_ERROR, /* 102 */
    LCFWD_LOG_WARNING,
    LCFWD_LOG_TRACE,
    LCFWD_LOG_TRACE_DETAIL,
    LCFWD_LOG_DEMUX,
    LCFWD_LOG_DEQUEUE,
    UFIB_LOG_ERROR, /* 108 */
    UFIB_LOG_TRACE,
    UFIB_LOG_TRACE_DETAIL,
    MFIB_LOG_ERROR, /* 111 */
    MFIB_LOG_TRACE,
    MFIB_LOG_TRACE_DETAIL,
    MFIB_OTV_LOG_ERROR, /* 114 */
    MFIB_OTV_LOG_TRACE,
};

constexpr uint32_t LCFWD_LOG_FAMILY = 0x730000; /* of events in the history service */

/* Switches that debug commands set; all off by default. */
extern bool lcfwd_flog_disable;        /* no text file */
extern bool ufib_disable_tracing;      /* no binary trace */
extern bool ufib_enable_rc_debugs;     /* detailed route log */
extern bool ufib_update_funcstats;     /* measure functions */
extern bool ufib_disable_funcstats_tr; /* do not write the measurements to the trace */

/* One log statement. 'instance' is the history instance (1 general, 3 and 4 domains). */
void lcfwd_log_write(uint32_t subtype, uint32_t instance, const char *function, int line, const char *format,
                     ...) __attribute__((format(printf, 5, 6)));

/* The same for a line that has another form in the text file than everywhere else. The texts are final. */
void lcfwd_log_write_forms(uint32_t subtype, uint32_t instance, const char *function, int line,
                           const char *file_text, const char *text);

#define LCFWD_ERR(...) lcfwd_log_write(LCFWD_LOG_ERROR, 1, __func__, __LINE__, __VA_ARGS__)
#define LCFWD_WARN(...) lcfwd_log_write(LCFWD_LOG_WARNING, 1, __func__, __LINE__, __VA_ARGS__)
#define LCFWD_TRACE(...) lcfwd_log_write(LCFWD_LOG_TRACE, 1, __func__, __LINE__, __VA_ARGS__)
#define UFIB_ERR(...) lcfwd_log_write(UFIB_LOG_ERROR, 3, __func__, __LINE__, __VA_ARGS__)
#define UFIB_TRACE(...) lcfwd_log_write(UFIB_LOG_TRACE, 3, __func__, __LINE__, __VA_ARGS__)

/* Writes one binary trace record of the VDC in work: event number of core/ufib_trace.h, then typed arguments.
 * Tens of nanoseconds; no allocation, no system call. */
#define UFIB_BL(level, event, ...)                                                                           \
    do {                                                                                                     \
        if (!ufib_disable_tracing) ufib_bl_log((level), (event)__VA_OPT__(, ) __VA_ARGS__);                  \
    } while (0)

constexpr uint32_t UFIB_TRACE_LOG = 1; /* the trace has one log in each VDC */

template <class... types> inline void ufib_bl_log(uint32_t level, uint32_t event, const types &...values) {
    const uint32_t vdc_id = ufib_cur_vdc_id != 0 ? ufib_cur_vdc_id : LCFWD_VDC_MIN;
    bl_log(vdc_id, UFIB_TRACE_LOG, level, 0, 1, event, values...);
}

/* Sets up debug elements, histories and syslog. 0, or the exit code of what failed (see lcfwd_exit). */
[[nodiscard]] int lcfwd_sdwrap_debug_init();

/* Says on standard error when the text log cannot be written, and where it would lie. Once, at start-up. */
void lcfwd_log_check();

/* Flushes and closes the text file (process teardown in tests). */
void lcfwd_log_reset();
