/* softfwd/softfwd.h: the software forwarding engine, a platform library that is linked in. It stands where a hardware
 * library would: it fills the tables of operations, reads the model through ufib_pi_* only, owns the handles, and
 * keeps its tables in shared memory that outlives the process (docs/softfwd.md). One engine a process, one thread. */
#pragma once

#include "platform/platform_library.h"

/* The library to choose with platform_library_use(). Its two init functions open the tables of the slot (see
 * softfwd_config.h): restart 0 wipes them, non-zero takes over what stands there. When they cannot be opened, the
 * reason goes to the 'say' hook and every insert is refused. */
[[nodiscard]] const platform_library *softfwd_library();

/* Process teardown: lets go of mappings, files and memory, and clears the fault plan. What readers see stays as it
 * is. The settings stay too: softfwd_config_reset() restores them. */
void softfwd_reset();

/* Whether tables are open, and the last message that was said ("" for none). */
[[nodiscard]] bool softfwd_is_open();
[[nodiscard]] const char *softfwd_last_message();
