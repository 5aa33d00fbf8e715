/* tools/lcfwdctl/random.h: numbers that are the same on every machine and in every version for the same seed. */
#pragma once

#include <cstdint>

/* The next number from '*state' (any value; each gives its own sequence). */
inline uint32_t ctl_random(uint32_t *state) {
    uint32_t mixed = *state += 0x9e3779b9u;
    mixed = (mixed ^ mixed >> 16) * 0x85ebca6bu;
    mixed = (mixed ^ mixed >> 13) * 0xc2b2ae35u;
    return mixed ^ mixed >> 16;
}
