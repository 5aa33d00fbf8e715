#include "host/engine/engine.h"

#include "host/engine/engine_private.h"
#include "host/store/store_admin.h"

fu_engine fu_engine_state;

static fu_engine &engine = fu_engine_state;

fu_global *fu_global_get() { return &engine.global; }

void fu_fault_set(fu_fault operation, int status) {
    if (operation < FU_FAULT_COUNT) engine.faults[operation] = status;
}

int fu_global_initialize_default_arg(fu_init_arg *arg) {
    if (engine.faults[FU_FAULT_DEFAULT_ARG] != 0) return engine.faults[FU_FAULT_DEFAULT_ARG];
    if (arg == nullptr) return FU_EINVAL;
    *arg = {};
    return 0;
}

int fu_init_arg_add_pss_service(fu_init_arg *arg, const fu_pss_service_arg *service) {
    if (arg == nullptr || service == nullptr) return FU_EINVAL;
    if (arg->service_count >= FU_SERVICES_MAX) return FU_ENOMEM;
    arg->services[arg->service_count++] = *service;
    return 0;
}

int fu_init_arg_ascii_gen_info(fu_init_arg *arg, int (*ascii_gen)(void *context)) {
    if (engine.faults[FU_FAULT_ASCII_GEN] != 0) return engine.faults[FU_FAULT_ASCII_GEN];
    if (arg == nullptr) return FU_EINVAL;
    if (ascii_gen != nullptr) arg->ascii_gen = ascii_gen;
    return arg->ascii_gen == nullptr ? FU_EINVAL : 0;
}

/* What a dead run left behind must go before the first database is opened; what it left to restart from must
 * stay. */
static int services_open() {
    if (fu_is_stateless_restart() && store_remove_leftovers() != STORE_OK) return FU_ESTART;
    for (uint32_t i = 0; i < engine.global.arg.service_count; i++)
        if (fu_pss_entry_install(&engine.global, 0, &engine.global.arg.services[i]) != STORE_OK)
            return FU_ESTART;
    return 0;
}

int fu_global_initialize(fu_init_arg *arg) {
    if (engine.faults[FU_FAULT_GLOBAL] != 0) return engine.faults[FU_FAULT_GLOBAL];
    if (arg == nullptr || arg->dequeue == nullptr || arg->demux == nullptr || arg->free_demux_list == nullptr)
        return FU_EINVAL;
    if (arg->rows == nullptr && arg->row_count != 0) return FU_EINVAL;
    fu_hash_free(&engine.opcodes);
    engine.global.arg = *arg;
    const int status = fu_hash_build(&engine.opcodes, arg->rows, arg->row_count);
    if (status != 0) return status;
    engine.global.opcodes = &engine.opcodes;
    return services_open();
}

bool fu_is_stateless_restart() {
    if (engine.cold < 0) engine.cold = store_usable_state() ? 0 : 1;
    return engine.cold != 0;
}

void fu_stateless_restart_set(bool cold) { engine.cold = cold ? 1 : 0; }

bool fu_is_startup_config_present() { return engine.startup_config; }
void fu_startup_config_present_set(bool present) { engine.startup_config = present; }

bool fu_is_debug_store_present() { return engine.debug_store; }
void fu_debug_store_present_set(bool present) { engine.debug_store = present; }

int fu_fsm_state() { return engine.state; }
void fu_fsm_state_set(int state) { engine.state = state; }

void fu_condnal_cleanup_done() { engine.counters.cleanups_done++; }

const fu_counters *fu_counters_get() { return &engine.counters; }
void fu_log_set(fu_log_fn log) { engine.log = log; }
