/* tests/ufib/ufib_random_guard.h: the software engine with a guard before it: at each deletion of an adjacency the
 * guard asks whether a route still leads there. The engine itself would hide that, since it keeps what it removes for
 * the readers that are on their way. */
#pragma once

#include "platform/platform_library.h"

#include <string>

[[nodiscard]] const platform_library *guarded_softfwd_library();

/* The first deletion of an adjacency in use ("" for none), and forgets it. */
[[nodiscard]] std::string guard_finding();
