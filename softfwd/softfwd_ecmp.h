/* softfwd/softfwd_ecmp.h: the slots of ECMP groups. For softfwd/ only. */
#pragma once

#include "platform/ufib_ha_route.h"
#include "softfwd/softfwd_group.h"

#include <cstdint>

/* insert: the group's handle, new or the same; with a restart handle 'ha' the entry is compared with the model and
 * adopted. A refused rewrite leaves the entry as it was; a standing group cannot get more paths than it has places. */
[[nodiscard]] uint32_t softfwd_insert_ecmp(void *group, uint32_t ha, uint32_t holder);
int softfwd_delete_ecmp(void *group); /* -1: unknown handle */
[[nodiscard]] uint32_t softfwd_ecmp_space_len(uint8_t paths);

/* What the model wants of a group. */
[[nodiscard]] softfwd_group_plan softfwd_ecmp_plan(const void *group, uint32_t holder);

/* Fills the adjacencies behind the record's next object, for as many paths as it says: of a group its members, of an
 * adjacency itself. 0, or -1 for an unknown handle (nothing is filled). */
int softfwd_ecmp_get_adj_ha_handles(ufib_ha_route *record);
