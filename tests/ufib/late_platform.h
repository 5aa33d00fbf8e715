/* tests/ufib/late_platform.h: the recording platform, but prefix writes complete after the insert call, through the
 * cookies of the batch, and can fail then. */
#pragma once

#include "tests/support/fake_platform.h"

#include <set>
#include <string>

struct late_state {
    std::set<std::string> fail; /* prefixes as text: their write fails after the fact */
    unsigned every = 0;         /* results come at each n-th bracket too; 0: only at the end of the batch */
    unsigned brackets = 0;
    unsigned at_once = 0; /* writes that found no room among the cookies */
    bool silent = false;  /* results never come */
};
extern late_state late;

[[nodiscard]] const platform_library *late_platform_library();
