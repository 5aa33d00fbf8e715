/* softfwd/softfwd_space.h: the tails that the model keeps for the engine behind its objects. For softfwd/ only. The
 * engine keeps nothing there; it fills them with a pattern and tells when somebody wrote over it. */
#pragma once

#include <cstdint>

struct softfwd_space {
    void *bytes; /* null: none */
    uint32_t length;
};

void softfwd_space_fill(const softfwd_space &space);
void softfwd_space_check(const softfwd_space &space); /* counts an overrun */
