/* softfwd/softfwd_vobj.h: the slots of virtual objects. For softfwd/ only. An instance is a group whose number of places
 * is that of the object's paths when it was made; there are at most two. Rewrites reach both, so that a prefix that
 * still points at the old one does not follow a path that is no more. */
#pragma once

#include "platform/ufib_ha_route.h"
#include "softfwd/softfwd_group.h"

#include <cstdint>

/* insert: the handle of a new instance; -1 when it is refused, or when two stand. With a restart record the object's
 * instances are adopted, unless the only one has another size: then a second is made. */
[[nodiscard]] int softfwd_insert_vobj(void *vobj, const ufib_ha_route *record);
/* -1: no instance stands, or one could not be written. An instance that agrees is not written. */
int softfwd_update_vobj(void *vobj, uint32_t mode);
int softfwd_delete_vobj(void *vobj, uint32_t instance); /* 0 old, 1 new, 2 both; -1: unknown handle */

/* What the model wants of an instance. */
[[nodiscard]] softfwd_group_plan softfwd_vobj_plan(const void *vobj);

/* Labels forward to the current instance itself: their view has its handle, and nothing of its own to delete. */
[[nodiscard]] int softfwd_update_vobj_fec(void *fec);
