/* softfwd/softfwd_plan.h: the fault plan as the engine asks it. For softfwd/ only. */
#pragma once

#include "softfwd/softfwd_fault.h"
#include "softfwd/softfwd_layout.h"

[[nodiscard]] bool softfwd_plan_empty();
/* Whether this call is to be refused. Counts the call; ask once a call. */
[[nodiscard]] bool softfwd_plan_refuses(softfwd_op op, uint32_t handle);
/* Whether this completion is to fail. Counts the completion. */
[[nodiscard]] bool softfwd_plan_fails_late(const softfwd_prefix *entry);
