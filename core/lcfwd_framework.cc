/* The framework's part of start-up: its arguments, the selector and the sources in it. */
#include "core/lcfwd_main.h"

#include "core/lcfwd_db.h"
#include "core/lcfwd_domain.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_memory.h"
#include "core/lcfwd_mts.h"
#include "core/lcfwd_opcodes.h"
#include "core/lcfwd_pump.h"
#include "core/lcfwd_selector.h"
#include "host/system/mtrack.h"
#include "host/system/system.h"

#include <cstring>

fu_sel lcfwd_selector;
fu_cq lcfwd_q_cq_timer;

static constexpr int own_name_service = 3; /* service type that runs under a name of its own */
static constexpr uint32_t own_name_flag = 1u << 3;
static constexpr uint32_t init_flags = 1u << 1 | 1u << 3 | 1u << 5;
static constexpr int timer_weight = 5;

static const uint32_t service_saps[] = {198, 199, 200, 201, 202, 207, 203};
/* One less than there are: the framework is told of the command SAP by the command service. */
static constexpr uint32_t service_sap_count = 6;

static char *service_name; /* given to the framework; kept to be freed */

int lcfwd_mts_fu_init() {
    const int status = lcfwd_mts_queue_initialize();
    if (status != 0) return lcfwd_exit(LCFWD_EXIT_BIND);
    const int framework = lcfwd_fu_initialize();
    if (framework != 0) return lcfwd_exit(LCFWD_EXIT_SERVICE);
    return lcfwd_mts_fu_initialize();
}

static int own_name_give(fu_init_arg *args) {
    static constexpr char name[] = "lcfwd";
    service_name = static_cast<char *>(mtrack_calloc(LCFWD_MEM_srv_name, sizeof name));
    if (service_name == nullptr) return -1;
    std::memcpy(service_name, name, sizeof name);
    args->flags2 |= own_name_flag;
    args->name = service_name;
    return 0;
}

static void init_arg_fill(fu_init_arg *args) {
    const lcfwd_domain *mfib = lcfwd_domain_get(LCFWD_DOMAIN_MFIB);
    args->dequeue = lcfwd_dequeue;
    args->demux = lcfwd_demux;
    args->free_demux_list = lcfwd_free_demux_list;
    args->ascii_gen = mfib == nullptr ? nullptr : mfib->ascii_gen;
    args->rows = mts_msg_info_ptr;
    args->row_count = lcfwd_sizeof_mts_msg_info_array;
    std::memcpy(args->saps, service_saps, sizeof service_saps);
    args->sap_count = service_sap_count;
    args->uuid = LCFWD_UUID;
    args->control_queue = fib_q_mts_sys;
    args->flags |= init_flags;
    if (sysmgr_srv_type_get() == own_name_service && own_name_give(args) != 0) {
        LCFWD_ERR("%s: no memory for the service's name\n", __func__);
    }
}

static void domain_pss_init(lcfwd_domain_id id, fu_init_arg *args) {
    const lcfwd_domain *domain = lcfwd_domain_get(id);
    if (domain == nullptr || domain->pss_init == nullptr || domain->pss_init(args) == 0) return;
    LCFWD_ERR("%s(%d): (Error) %s_pss_init failed\n", __func__, __LINE__, domain->name);
}

static void lcfwd_fu_pss_init(fu_init_arg *args) {
    domain_pss_init(LCFWD_DOMAIN_UFIB, args);
    domain_pss_init(LCFWD_DOMAIN_MFIB, args);
}

static int selector_init() {
    if (fu_priority_select_init(&lcfwd_selector, 0) != 0) return lcfwd_exit(LCFWD_EXIT_SELECTOR);
    if (fu_cq_init(&lcfwd_q_cq_timer, 0) != 0) return lcfwd_exit(LCFWD_EXIT_CONDITION_QUEUE);
    const int status = fu_priority_select_add_queue(&lcfwd_selector, FU_SOURCE_CONDITION, timer_weight, 0,
                                                    &lcfwd_q_cq_timer, fu_cq_eval_to_true, LCFWD_Q_TIMER);
    return status == 0 ? 0 : lcfwd_exit(LCFWD_EXIT_SELECTOR);
}

int lcfwd_fu_initialize() {
    if (is_lcfwd_lib) return 0;
    fu_init_arg args;
    if (fu_global_initialize_default_arg(&args) != 0) return lcfwd_exit(LCFWD_EXIT_DEFAULTS);
    init_arg_fill(&args);
    lcfwd_fu_pss_init(&args);
    /* The state dump is the multicast side's: without it there is nothing to add. */
    const int status = args.ascii_gen == nullptr ? 0 : fu_init_arg_ascii_gen_info(&args, args.ascii_gen);
    if (status != 0) {
        LCFWD_ERR("%s(%d): (Error) %s in adding ascii gen info\n", __func__, __LINE__, std::strerror(status));
    }
    if (fu_global_initialize(&args) != 0) return FU_ESTART;
    return selector_init();
}

int lcfwd_mts_fu_initialize() {
    if (is_lcfwd_lib) return 0;
    for (uint32_t index = LCFWD_Q_SYS; index < LCFWD_Q_ROWS; index++) {
        const lcfwd_mts_queue &queue = lcfwd_mts_q_array[index];
        if (fu_priority_select_add_queue(&lcfwd_selector, FU_SOURCE_MTS, queue.weight, queue.handle, nullptr,
                                         nullptr, static_cast<int>(index)) != 0) {
            return lcfwd_exit(LCFWD_EXIT_SELECTOR);
        }
        LCFWD_TRACE("%s(%d): Added queue %s to fu_priority_select\n", __func__, __LINE__, queue.name);
    }
    return 0;
}

void lcfwd_framework_reset() {
    mtrack_free(service_name);
    service_name = nullptr;
    lcfwd_selector = {};
    lcfwd_q_cq_timer = {};
}
