#include "persist/lcfwd_pss_culprit.h"

#include "core/lcfwd_log.h"
#include "host/bus/bus.h"
#include "host/trace/syslog.h"
#include "persist/lcfwd_pss.h"

static const syslog_message syslog_msg_LCFWD_PSS_RUNNING_OUT_OF_SPACE = {
    "LCFWD_PSS_RUNNING_OUT_OF_SPACE",
    "<<%%%s-%d-LCFWD_PSS_RUNNING_OUT_OF_SPACE>> PSS Global buffer running out of space",
    3,
};

lcfwd_pss_culprit lcfwd_pss_culprit_find() {
    lcfwd_pss_culprit found = {0, 0, true};
    for (uint32_t kind = 0; kind < LCFWD_PSS_KIND_COUNT; kind++) {
        const bool add = lcfwd_pss_ops_add_count[kind] >= lcfwd_pss_ops_del_count[kind];
        const uint32_t count = add ? lcfwd_pss_ops_add_count[kind] : lcfwd_pss_ops_del_count[kind];
        if (count >= found.count) found = {kind, count, add};
    }
    return found;
}

void lcfwd_pss_out_of_space_report() {
    syslog_send_lc_message_to_sup(1, MTS_NODE_SUPERVISOR, 52, &syslog_msg_LCFWD_PSS_RUNNING_OUT_OF_SPACE);
    const lcfwd_pss_culprit culprit = lcfwd_pss_culprit_find();
    LCFWD_ERR("ERROR: PSS ops buf hog culprit most likely is pss_type=%u count=0x%x, add_or_del=%d",
              culprit.kind, culprit.count, culprit.add ? 1 : 0);
}
