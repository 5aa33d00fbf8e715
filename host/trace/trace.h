/* host/trace/trace.h: the whole trace service: binary trace, histories, debug elements, system log. */
#pragma once

#include "host/trace/bl.h"
#include "host/trace/history.h"
#include "host/trace/sdwrap.h"
#include "host/trace/syslog.h"

/* Process teardown: closes every log and history (the files stay), forgets elements, formats, faults and
 * counters. */
void trace_reset();
