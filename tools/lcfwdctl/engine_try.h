/* tools/lcfwdctl/engine_try.h: trying the engine out from outside the process: packets that never were, and damage for
 * the consistency checks to find. */
#pragma once

#include "tools/lcfwdctl/ctl.h"

/* Whether the words ask for one of these. */
[[nodiscard]] bool ctl_engine_tries(const std::vector<const char *> &words);
/* Does it for each chosen slot; 'sure' is what the user gave to allow damage. An exit code. */
[[nodiscard]] int ctl_engine_try(const std::vector<const char *> &words, bool sure);
