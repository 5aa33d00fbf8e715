/* core/lcfwd_process.h: taking a whole process down inside one binary, so that the next start finds
 * nothing but what a new process would: the store, the forwarding tables of the platform library, the log. */
#pragma once

/* Frees the models, lets go of files and tables, zeroes all process-wide state of the core, the store
 * layer, the domains, the platform and the host services. Touches neither store records nor hardware.
 * Choices that the program makes before start-up stay: domains, platform library, clock, root, exit
 * function. */
void lcfwd_process_reset();
