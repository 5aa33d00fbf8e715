/* core/lcfwd_main.h: start-up. The order is fixed: queues first, so that messages wait in them while the
 * process recovers; the engine last. One thread. */
#pragma once

#include "core/lcfwd_exit.h"

#include <cstddef>
#include <cstdint>

enum lcfwd_start_mode {
    LCFWD_START_AUTO, /* restart with recovery when usable stored state survived, else cold */
    LCFWD_START_COLD, /* whatever survived is removed */
};

struct lcfwd_options {
    const char *root;  /* root directory of all the system's paths; null: the machine's own */
    uint32_t slot;     /* instance number: several run side by side, one a slot */
    bool bus_is_set;   /* the caller has chosen the bus (tests); else sockets of the slot are used */
    bool library_mode; /* same as lcfwd_inited_as_library() before the start */
    lcfwd_start_mode start_mode;
    const char *interfaces_file; /* names and types of interfaces; null: the default numbering */
};

/* Runs the process: lcfwd_start(), then the engine until it is stopped. 0, or the exit code of a failed
 * start when the exit function returns. Domains and the platform library are bound before. */
[[nodiscard]] int lcfwd_main(const lcfwd_options *options);

/* All of start-up up to the engine. 0 or the exit code. */
[[nodiscard]] int lcfwd_start(const lcfwd_options *options);

/* Steps, in their order. Each gives 0, or the code with which it has called lcfwd_exit. */
[[nodiscard]] int lcfwd_mts_fu_init();
[[nodiscard]] int lcfwd_fu_initialize();
[[nodiscard]] int lcfwd_mts_fu_initialize();
void lcfwd_set_fixed_priority();
[[nodiscard]] int lcfwd_service_init(bool restart);
void lcfwd_ha_restart_recovery(uint32_t *state_out);
void set_max_limit_o2();

void lcfwd_framework_reset(); /* process teardown in tests */
