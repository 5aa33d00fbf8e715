/* The services' part of start-up, and the recovery after a restart. */
#include "core/lcfwd_main.h"

#include "core/lcfwd_cmi.h"
#include "core/lcfwd_db.h"
#include "core/lcfwd_domain.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_memory.h"
#include "core/lcfwd_mts.h"
#include "core/lcfwd_report.h"
#include "core/lcfwd_timer.h"
#include "core/lcfwd_upcalls.h"
#include "core/lcfwd_vdc.h"
#include "host/command/command.h"
#include "host/interfaces/im.h"
#include "host/system/root.h"
#include "host/system/system.h"

#include <climits>
#include <cstdio>

/* Cards whose hardware has room for 8000 multicast entries. */
static constexpr int mcast_limited_cards[] = {0x6a, 0x6b, 0x6c, 0x6d, 0x6e, 0x6f, 0x70, 0x71,
                                              0x72, 0x73, 0x7c, 0x7d, 0x7e, 0x7f, 0x80, 0x81,
                                              0x82, 0x87, 0x8c, 0x8d, 0x94, 0xc6, 0xc7, 0xec};
static constexpr uint32_t mcast_entries_max = 8000;

void lcfwd_set_fixed_priority() {
    char path[PATH_MAX];
    FILE *file = nullptr;
    if (host_path(host_system.fixed_priority_path, path, sizeof path) == 0) file = std::fopen(path, "we");
    if (file == nullptr) {
        LCFWD_ERR("Unable to open file /proc/self/fixed_prio \n");
        return;
    }
    const bool written = std::fwrite("1", 1, 2, file) == 2; /* the text with its NUL */
    if (std::fclose(file) != 0 || !written) LCFWD_ERR("Unable to write file /proc/self/fixed_prio \n");
}

static int services_register() {
    if (lcfwd_cli_init() == 0) {
        LCFWD_ERR("%s: cmd_backend_init failed\n", __func__);
        return lcfwd_exit(LCFWD_EXIT_SERVICE);
    }
    if (im_ext_sbcr_init(LCFWD_UUID, fib_q_mts_lp, "lcfwd") != 0) {
        LCFWD_ERR("%s: im_ext_sbcr_init failed\n", __func__);
        return lcfwd_exit(LCFWD_EXIT_SERVICE);
    }
    if (lcfwd_vdc_del_rel_holder_lock_info_init() != 0) {
        LCFWD_ERR("%s: holder lock info init failed\n", __func__);
        return lcfwd_exit(LCFWD_EXIT_HOLDER_LOCKS);
    }
    return 0;
}

static void domain_init(lcfwd_domain_id id, bool restart) {
    const lcfwd_domain *domain = lcfwd_domain_get(id);
    if (domain != nullptr && domain->init != nullptr) domain->init(restart);
}

static int store_and_vdcs_open(bool restart) {
    if (lcfwd_pss_open_files() == 0) {
        LCFWD_ERR("%s: failed to open pss files\n", __func__);
        return lcfwd_exit(LCFWD_EXIT_SERVICE);
    }
    if (!restart) return 0;
    if (lcfwd_create_active_vdcs() != 1) {
        LCFWD_ERR("%s: lcfwd vdc create failed\n", __func__);
        return lcfwd_exit(LCFWD_EXIT_SERVICE);
    }
    LCFWD_TRACE("FIB restart - Non ISSU");
    return 0;
}

int lcfwd_service_init(bool restart) {
    lcfwd_mem_init();
    if (lcfwd_timer_init() == 0) return lcfwd_exit(LCFWD_EXIT_TIMER);
    if (lcfwd_db_initialize() != 0) return lcfwd_exit(LCFWD_EXIT_DATA);
    if (const int code = lcfwd_sdwrap_debug_init(); code != 0) return code;
    if (const int code = services_register(); code != 0) return code;
    lcfwd_platform_init(restart);
    lcfwd_report_timer_init();
    domain_init(LCFWD_DOMAIN_UFIB, restart);
    domain_init(LCFWD_DOMAIN_MFIB, sysmgr_is_upgrade_restart());
    domain_init(LCFWD_DOMAIN_LFIB, restart);
    return store_and_vdcs_open(restart);
}

void lcfwd_ha_restart_recovery(uint32_t *state_out) {
    uint32_t base = 0;
    if (lcfwd_pss_get_pervpn_ilm_base(&base) == 1) lcfwd_platform_process_pervpn_ilm_base(base);
    lcfwd_platform_restart_recovery_start();
    for (uint32_t id = 0; id < LCFWD_DOMAIN_COUNT; id++) {
        const lcfwd_domain *domain = lcfwd_domain_get(static_cast<lcfwd_domain_id>(id));
        if (domain != nullptr && domain->restart_recovery != nullptr) domain->restart_recovery();
    }
    lcfwd_platform_restart_recovery_end();
    if (state_out != nullptr) *state_out = LCFWD_STATE_ACTIVE;
}

void set_max_limit_o2() {
    const int card = pfm_get_sw_card_id_from_module(static_cast<int>(my_slot));
    for (int limited : mcast_limited_cards) {
        if (card == limited) cli_set_dynamic_integer_range("<mcast-ent>", 0, mcast_entries_max);
    }
}
