/* ufib/ufib_retry.h: rewrites and removals that hardware refused. The entry goes on as it was, under its handle, while the model
 * already says what it should be; so the object waits here, and the timer of the background work writes it again, once
 * a second, until hardware takes it. Any other write that is taken meanwhile ends the wait. What the group of a
 * virtual object still leads to is kept alive until then. An object that nobody wants any more waits for its removal. One thread. */
#pragma once

#include "host/containers/dbly_linkage.h"

#include <cstdint>

struct ufib_adj;
struct ufib_ecmp;
struct ufib_obj;
struct ufib_vobj;

extern dl_list ufib_retry_adjs;  /* through their retry node */
extern dl_list ufib_retry_vobjs; /* likewise */
extern dl_list ufib_retry_groups;

constexpr uint32_t UFIB_RETRY_BUDGET = 5000; /* writes of one firing; the first refusal ends it */

/* Waits from now on, at the end of the list, and the timer runs. Waiting already: nothing. */
void ufib_retry_adj(ufib_adj *adj);
void ufib_retry_vobj(ufib_vobj *vobj);
void ufib_retry_group(ufib_ecmp *group); /* removals alone */

/* Hardware has taken a write: what waited for that waits no longer, and gives back what it kept. What nobody wants
 * waits on, for its removal. */
void ufib_retry_adj_written(ufib_adj *adj);
void ufib_retry_vobj_written(ufib_vobj *vobj);

/* The object is dying, or wanted again: it waits no longer, and gives back what it kept. */
void ufib_retry_adj_done(ufib_adj *adj);
void ufib_retry_vobj_done(ufib_vobj *vobj);
void ufib_retry_group_done(ufib_ecmp *group);

[[nodiscard]] bool ufib_retry_group_waits(const ufib_ecmp *group);

/* Takes over the caller's reference on a path that the refused group may lead to. */
void ufib_retry_vobj_keep(ufib_vobj *vobj, ufib_obj *path);

[[nodiscard]] inline bool ufib_retry_is_waiting() {
    return ufib_retry_adjs.head != nullptr || ufib_retry_vobjs.head != nullptr ||
           ufib_retry_groups.head != nullptr;
}
void ufib_retry_work(); /* one firing */
void ufib_retry_reset();
