/* core/lcfwd_db.h: facts about the process that are set once, and switches that stand for the whole
 * process. */
#pragma once

#include <cstdint>

extern uint32_t my_slot;           /* the card's slot as the system counts, plus one: never 0 once set */
extern void *capbuf;               /* capture buffer of the trace service */
extern uint32_t max_slots;         /* 0 when the system does not tell */
extern bool is_lcfwd_lib;          /* running as a library beside a host process */
extern bool lcfwd_restart;         /* stored state is read back: false on a cold start */
extern bool lcfwd_stop_update;     /* update channels answer success and change nothing; a debugger sets it */
extern bool issd_to_non_pic;       /* an upgrade from an image without table 65534 is under way */
extern int application_is_healthy; /* 0 once the process was asked to end */

/* Sets my_slot, capbuf and max_slots. 0, or -1 when there is no capture buffer. */
[[nodiscard]] int lcfwd_db_initialize();

void lcfwd_db_reset(); /* process teardown in tests: all of the above as at the start */
