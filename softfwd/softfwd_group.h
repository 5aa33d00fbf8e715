/* softfwd/softfwd_group.h: groups of members that share the load, whoever asks for them: ECMP groups and instances of
 * virtual objects. For softfwd/ only. A group takes as many handles in a row as it has places; it is published whole by
 * one store, and rewritten by publishing another record under its handle, so a reader sees the members of before or of
 * after, never a mixture. A prefix names a group by the group's handle, as it names an adjacency. */
#pragma once

#include "softfwd/softfwd_layout.h"

#include <cstdint>

struct softfwd_group_plan { /* what a group is to be */
    uint64_t id;            /* of the virtual object, or 0 */
    uint32_t vdc_id;
    softfwd_group_origin origin;
    uint8_t holder;
    uint32_t count; /* 1 to SOFTFWD_MEMBERS_MAX */
    uint32_t adjs[SOFTFWD_MEMBERS_MAX];
    uint32_t labels[SOFTFWD_MEMBERS_MAX]; /* 0: none */
};

/* A new group with one place for each member of the plan: its handle, or 0 when there is no room (max_groups, handles,
 * memory) or the count is out of range. */
[[nodiscard]] uint32_t softfwd_group_install(const softfwd_group_plan *plan);

/* Writes the first min(count, size) members of the plan under the same handle. False when nothing was changed: unknown
 * handle, count 0, or no memory for another record. */
[[nodiscard]] bool softfwd_group_rewrite(uint32_t handle, const softfwd_group_plan *plan);

/* Takes the group out; readers that came by a removed prefix may still follow it. False for an unknown handle. */
bool softfwd_group_remove(uint32_t handle);

/* The live record of a group's handle (not of its members 1..), or null. */
[[nodiscard]] const softfwd_group *softfwd_group_of(uint32_t handle);

/* The adjacency behind a handle: of an adjacency itself, of a member its adjacency; 0 for unknown ones. */
[[nodiscard]] uint32_t softfwd_base_handle(uint32_t handle);

/* How a standing group differs from a plan: SOFTFWD_DIFFERS_* bits. Members are compared up to the group's size. */
[[nodiscard]] uint8_t softfwd_group_difference(const softfwd_group *group, const softfwd_group_plan *plan);

/* True when a handle names a live adjacency or group: what a prefix may refer to. */
[[nodiscard]] bool softfwd_next_is_live(uint32_t handle);
