#include "host/trace/trace.h"

#include "host/trace/bl_file.h"
#include "host/trace/trace_state.h"

void trace_reset() {
    bl_reset();
    sdwrap_reset();
    syslog_reset();
}
