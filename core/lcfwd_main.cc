#include "core/lcfwd_main.h"

#include "core/lcfwd_db.h"
#include "core/lcfwd_domain.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_upcalls.h"
#include "host/bus/bus.h"
#include "host/engine/engine.h"
#include "host/interfaces/interfaces.h"
#include "host/store/store.h"
#include "host/store/store_admin.h"
#include "host/system/root.h"
#include "host/system/system.h"

#include <cstdio>
#include <cstring>

/* Damage and limits that the store finds, told where everything else is told. */
static void store_line_log(void *, const char *text) { LCFWD_ERR("store: %s", text); }
static void engine_line_log(const char *line) { LCFWD_WARN("engine: %s", line); }

static int interfaces_file_load(const char *path) {
    uint32_t line = 0;
    const int status = path == nullptr ? 0 : interfaces_load(path, &line);
    if (status == 0) return 0;
    char where[24] = "";
    if (line != 0) std::snprintf(where, sizeof where, "line %u: ", line);
    std::fprintf(stderr, "lcfwd: cannot read the interfaces file %s: %s%s\n", path, where,
                 std::strerror(status));
    return lcfwd_exit(LCFWD_EXIT_SERVICE);
}

static int bus_start(const lcfwd_options &options) {
    if (options.bus_is_set) return 0;
    mts_config config = {};
    if (options.slot != 0) config.slot = options.slot;
    if (mts_start(&config) == 0) return 0;
    LCFWD_ERR("bus: %s", mts_error_text());
    std::fprintf(stderr, "lcfwd: cannot serve slot %u: %s\n", config.slot, mts_error_text());
    return lcfwd_exit(LCFWD_EXIT_BIND);
}

/* Instances may share a machine, never a store: each would believe the other's records to be its own. */
static int store_take(const lcfwd_options &options) {
    const int status = store_claim(options.start_mode == LCFWD_START_COLD);
    if (status == STORE_OK) return 0;
    const char *root = host_root_get()[0] == '\0' ? "/" : host_root_get();
    if (status == STORE_IN_USE) {
        std::fprintf(
            stderr,
            "lcfwd: cannot serve slot %u: another instance runs on the root directory %s and owns its "
            "store (/dev/shm/lcfwd_* below it); give each slot a root directory of its own: --root\n",
            options.slot, root);
    } else {
        std::fprintf(stderr, "lcfwd: cannot use the store, /dev/shm/lcfwd_* below the root directory %s\n",
                     root);
    }
    return lcfwd_exit(LCFWD_EXIT_SERVICE);
}

/* What surrounds the process: where its files lie, who it is, how it is reached. */
static int surroundings_init(const lcfwd_options &options) {
    if (options.root != nullptr) host_root_set(options.root);
    if (options.slot != 0) host_system.slot = static_cast<int>(options.slot) - 1;
    if (options.library_mode) is_lcfwd_lib = true;
    lcfwd_log_check();
    store_log_set(store_line_log, nullptr);
    fu_log_set(engine_line_log);
    if (options.start_mode == LCFWD_START_COLD) fu_stateless_restart_set(true);
    if (const int code = interfaces_file_load(options.interfaces_file); code != 0) return code;
    if (const int code = bus_start(options); code != 0) return code;
    return store_take(options);
}

/* Stored state is read back unless there is none, or only an upgrade has kept it. */
static bool restart_flag() { return fu_is_stateless_restart() ? sysmgr_is_upgrade_restart() : true; }

static bool is_active_state() {
    const int state = fu_fsm_state();
    return state == 1 || state == 4 || state == 5;
}

static void configuration_restore() {
    if (!is_active_state() || !fu_is_stateless_restart() || !fu_is_startup_config_present()) return;
    const lcfwd_domain *mfib = lcfwd_domain_get(LCFWD_DOMAIN_MFIB);
    if (mfib == nullptr || mfib->config_restore == nullptr) return;
    if (mfib->config_restore() != 0)
        LCFWD_ERR("%s: failed to restore config\n", __func__);
    else
        LCFWD_TRACE("%s: restored config\n", __func__);
}

int lcfwd_start(const lcfwd_options *options) {
    if (const int code = surroundings_init(*options); code != 0) return code;
    if (const int code = lcfwd_mts_fu_init(); code != 0) return code;
    LCFWD_TRACE("LCFWD: MTU FU init DONE \n");
    lcfwd_set_fixed_priority();
    lcfwd_restart = restart_flag();
    LCFWD_TRACE("LCFWD: restart:%d\n", lcfwd_restart ? 1 : 0);
    if (const int code = lcfwd_service_init(lcfwd_restart); code != 0) return code;
    LCFWD_TRACE("%s: lcfwd_services init succ\n", __func__);
    if (lcfwd_restart) lcfwd_ha_restart_recovery(nullptr);
    configuration_restore();
    set_max_limit_o2();
    return 0;
}

int lcfwd_main(const lcfwd_options *options) {
    if (const int code = lcfwd_start(options); code != 0) return code;
    LCFWD_TRACE("%s(%d): Initialization done, handing control to fsm engine\n", __func__, __LINE__);
    fu_fsm_engine();
    return 0;
}
