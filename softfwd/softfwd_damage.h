/* softfwd/softfwd_damage.h: damage on purpose, so that the checks of consistency have something to find: an entry is
 * changed in the tables behind the engine's back, and packets follow it. The same damage again repairs it. For tests and
 * for operators who try the checks out; never for a switch that forwards. */
#pragma once

#include <cstdint>

/* The lowest address bit of the mask, the next object, the destination MAC of an adjacency, the bits behind the
 * mask. */
enum softfwd_damage {
    SOFTFWD_DAMAGE_ADDRESS,
    SOFTFWD_DAMAGE_NEXT,
    SOFTFWD_DAMAGE_MAC,
    SOFTFWD_DAMAGE_HOST_BITS
};

/* From any process of the same user, in the tables of a slot. 0; ENOENT: no engine, or no such entry; EPROTO: another
 * layout; or another errno. */
[[nodiscard]] int softfwd_damage_table(uint32_t slot, softfwd_damage what, uint32_t handle);
