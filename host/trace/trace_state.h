/* host/trace/trace_state.h: what the parts of this folder need of each other. Inside host/trace only. */
#pragma once

void sdwrap_reset();
void syslog_reset();

/* Gives a finished line to the sink and to the debug history. */
void sdwrap_debug_line(const char *text);
