/* tests/support/each_step.h: with LCFWD_RESTART_EACH_STEP=1 in the environment, every test of the harness runs across
 * restarts: the process dies before each message and each step of time, comes back from its records and the platform's
 * tables, and must not have written to the engine meanwhile. What a test sees of the platform's calls, of messages and
 * of refusals that it asked for is as if nothing had happened. */
#pragma once

#include <string>

class lcfwd_rig;

[[nodiscard]] bool each_step_restarts();

/* False while prefixes move from one instance of a virtual object to another, or next hops are taken up by and by: a
 * restart ends that at once, and so would not go unnoticed. */
[[nodiscard]] bool each_step_at_rest();

/* Kills the process of a rig and starts it again. What went wrong; empty: nothing. */
[[nodiscard]] std::string each_step_restart(lcfwd_rig *rig);
