#include "core/lcfwd_process.h"

#include "core/lcfwd_cmi.h"
#include "core/lcfwd_db.h"
#include "core/lcfwd_domain.h"
#include "core/lcfwd_exit.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_main.h"
#include "core/lcfwd_mts.h"
#include "core/lcfwd_opcodes.h"
#include "core/lcfwd_timer.h"
#include "core/lcfwd_upcalls.h"
#include "core/lcfwd_vdc.h"
#include "core/ufib_err.h"
#include "core/ufib_funcstats.h"
#include "host/bus/bus.h"
#include "host/command/command.h"
#include "host/containers/containers.h"
#include "host/engine/engine.h"
#include "host/interfaces/interfaces.h"
#include "host/store/store_admin.h"
#include "host/system/mtrack.h"
#include "host/system/system.h"
#include "host/timer/active_timer.h"
#include "host/trace/trace.h"

#include <cstring>

static void domains_reset() {
    for (uint32_t id = LCFWD_DOMAIN_COUNT; id-- > 0;) {
        const lcfwd_domain *domain = lcfwd_domain_get(static_cast<lcfwd_domain_id>(id));
        if (domain != nullptr && domain->reset != nullptr) domain->reset();
    }
}

static void core_reset() {
    lcfwd_cmi_reset();
    lcfwd_timer_reset();
    lcfwd_opcodes_reset();
    lcfwd_framework_reset();
    lcfwd_mts_reset();
    lcfwd_vdc_reset();
    lcfwd_db_reset();
    lcfwd_exit_reset();
    ufib_errno = 0;
    std::memset(ufib_errors, 0, sizeof ufib_errors);
    ufib_funcstats_clear();
    lcfwd_log_reset();
}

static void host_reset() {
    cmd_reset();
    fu_reset();
    mts_reset();
    active_timer_reset();
    store_reset();
    trace_reset();
    interfaces_reset();
    host_system_reset();
    mtrack_reset();
    containers_reset();
}

void lcfwd_process_reset() {
    domains_reset();
    lcfwd_pss_reset();
    lcfwd_platform_reset();
    core_reset();
    host_reset();
}
