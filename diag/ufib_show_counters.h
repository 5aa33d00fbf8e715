/* diag/ufib_show_counters.h: back-ends that show and clear counters and timers, show the trace and the restart, and
 * set the process's switches. A VDC id outside 1 to 5 gets no answer. One thread. */
#pragma once

#include <cstdint>

struct cmd_handle;

/* Messages by kind. CMD_ATTR_VALUE names another VDC, 0 all that are active. */
void ufib_show_msg_cnts_be(cmd_handle *handle, uint32_t vdc_id);
void ufib_clear_msg_cnts_be(cmd_handle *handle, uint32_t vdc_id);

/* Everything else that is counted: errors by number, routes, records, objects of the VDC, store operations. The clear
 * leaves counts of objects, and of messages and routes, alone. */
void ufib_show_internal_counts(cmd_handle *handle, uint32_t vdc_id);
void ufib_clear_internal_counts(cmd_handle *handle, uint32_t vdc_id);

/* Routes added and deleted; with the statistics attribute instead the counts of all adjacencies since the last clear. */
void ufib_clear_cumulative_counters(cmd_handle *handle, uint32_t vdc_id);

/* Function timers: calls and microseconds. */
void ufib_funcstats_show(cmd_handle *handle, uint32_t vdc_id);
inline void ufib_show_trace_pr_fstats_be(cmd_handle *handle, uint32_t vdc_id) {
    ufib_funcstats_show(handle, vdc_id);
}

/* The VDC's binary trace as text, oldest record first, in pieces; with a limit the newest. Profile: what is
 * traced, then the records that tell how long something took. CMD_ATTR_VALUE: of that level only. */
void ufib_show_trace_be(cmd_handle *handle, uint32_t vdc_id);
void ufib_show_trace_profile_be(cmd_handle *handle, uint32_t vdc_id);

/* How the process started, the states of all VDCs, and what recovery found. */
void ufib_show_restart_be(cmd_handle *handle, uint32_t vdc_id);

/* Queues, bus, command service, loop, timers, trace, store and memory. */
void lcfwd_show_process(cmd_handle *handle, uint32_t vdc_id);

/* Switches of the whole process: CMD_ATTR_VALUE 1 or 0 sets it, without a value it is shown. */
void ufib_switch_disable_tracing(cmd_handle *handle, uint32_t vdc_id);
void ufib_switch_enable_rc_debugs(cmd_handle *handle, uint32_t vdc_id);
void ufib_switch_update_funcstats(cmd_handle *handle, uint32_t vdc_id);
void ufib_switch_disable_funcstats_tr(cmd_handle *handle, uint32_t vdc_id);
void ufib_switch_disable_pss(cmd_handle *handle, uint32_t vdc_id);
/* The same for a switch of the forwarding engine: with it on, packets go to the processor and the tables stay as they
 * are. 7 "not supported" when the platform library has none. */
void ufib_forwarding_bypass_hardware(cmd_handle *handle, uint32_t vdc_id);
