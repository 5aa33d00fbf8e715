/* core/lcfwd_exit.h: the one way in which a failing start ends the process, and its codes. */
#pragma once

enum lcfwd_exit_code : int {
    LCFWD_EXIT_BIND = 64, /* bind or queue set-up */
    LCFWD_EXIT_OPTIONS = 65,
    LCFWD_EXIT_SELECTOR = 66,
    LCFWD_EXIT_SERVICE = 69, /* framework or service start */
    LCFWD_EXIT_DEBUG = 70,
    LCFWD_EXIT_SYSLOG = 71,
    LCFWD_EXIT_TIMER = 73,
    LCFWD_EXIT_CONDITION_QUEUE = 74,
    LCFWD_EXIT_DEFAULTS = 76,
    LCFWD_EXIT_DATA = 85,
    LCFWD_EXIT_HOLDER_LOCKS = 87,
};

/* Ends the process with 'code' through the exit function; without one it says the code and where the log lies on
 * standard error and calls std::exit. When that function returns, the code comes back and the start stops at once: the first code stands, later calls
 * change nothing. */
int lcfwd_exit(int code);

using lcfwd_exit_function = void (*)(int code);
void lcfwd_exit_function_set(lcfwd_exit_function function); /* null: std::exit */
void lcfwd_exit_reset();                                    /* process teardown in tests: forgets the code */
