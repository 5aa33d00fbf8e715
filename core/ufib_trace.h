/* core/ufib_trace.h: the events of the binary trace: each has a number, and a format row that readers
 * render it with. Numbers are fixed: traces of an older process stay readable. */
#pragma once

#include "host/trace/bl.h"

#include <cstdint>

enum ufib_trace_event : uint32_t {
    UFIB_TR_MTS_MSG = 1,
    UFIB_TR_TEXT = 3, /* free text */
    UFIB_TR_BATCH_TIME = 4,
    UFIB_TR_RESPONSE_SENT = 6,
    UFIB_TR_UPGRADE_DROP = 9,
    UFIB_TR_SGRP_SKIPPED = 10,
    UFIB_TR_SGRP_ANSWERED = 11,
    UFIB_TR_REPORT = 17,
    UFIB_TR_UFDM_UP = 18,
    UFIB_TR_MFDM_UP = 19,
    UFIB_TR_UFDM_COMMENCE = 20, /* download messages in a state that does not await them */
    UFIB_TR_UFDM_END = 21,
    UFIB_TR_MFDM_COMMENCE = 22,
    UFIB_TR_MFDM_END = 23,
    UFIB_TR_TABLE_DPL_START = 24,
    UFIB_TR_V4_PREFIX_INSTALLED = 31,
    UFIB_TR_V6_PREFIX_INSTALLED = 32,
    UFIB_TR_TABLE_INSTALLED = 35,
    UFIB_TR_STALE_PREFIX = 49,
    UFIB_TR_PBR_ANSWER = 106,
    UFIB_TR_IPSG_ADD = 117,
    UFIB_TR_IPSG_V6_ADD = 118,
    UFIB_TR_IPSG_DELETE = 119,
    UFIB_TR_IPSG_V6_DELETE = 120,
    UFIB_TR_SGRP_ADD = 121,
    UFIB_TR_SGRP_V6_ADD = 122,
    UFIB_TR_SGRP_DELETE = 123,
    UFIB_TR_SGRP_V6_DELETE = 124,
    UFIB_TR_SGRP_TABLE = 125,
    UFIB_TR_SGRP_MOVE = 126,
    UFIB_TR_SGRP_TABLE_DELETE = 127,
    UFIB_TR_SGRP_V6_TABLE_DELETE = 128,
    UFIB_TR_SGRP_BATCH = 129,
    UFIB_TR_BATCH_HEADER = 140,
    UFIB_TR_WALK_TIME = 141,
    UFIB_TR_NOT_ACTIVE = 142,
    UFIB_TR_STALE_DELETE = 143,
    UFIB_TR_WCCP_ANSWER = 167,
    UFIB_TR_PERF = 195,
    UFIB_TR_BATCH_BEGIN = 196,
    UFIB_TR_BATCH_END = 197,
    UFIB_TR_FUNCSTATS = 198, /* to 219: one for each traced function timer */
    UFIB_TR_IPSG_CREATE = 224,
    UFIB_TR_COOKIE = 259,
    UFIB_TR_COUNT = 262
};

extern const bl_format ufib_trace_formats[UFIB_TR_COUNT];

constexpr uint32_t UFIB_TRACE_LEVELS = 3;
extern const bl_level ufib_trace_levels[UFIB_TRACE_LEVELS];
