/* ufib/ufib_dirty.h: the background work on virtual objects: moving prefixes from an instance that is being left to the
 * new one, refreshing their reverse-path data, and taking up the updates of RNHs that did not get through. It runs from
 * a timer, once a second while there is work, under budgets. All that must survive between two firings lies in the
 * objects: every unlink moves the cursors that stand on it. One thread. */
#pragma once

#include "host/containers/dbly_linkage.h"

#include <cstdint>

struct ufib_vobj;

extern dl_list ufib_dirty_vobj_list; /* prefixes must be moved to the new instance */
extern dl_list ufib_vobj_rpf_list;   /* prefixes must get their reverse-path data anew */

constexpr uint32_t UFIB_BACKWALK_BUDGET = 5000; /* prefixes of one firing */
constexpr uint32_t UFIB_RPF_BUDGET = 5000;

/* On the dirty list, and the timer runs. On it already: nothing. */
void ufib_insert_vobj_in_dirty_list(ufib_vobj *vobj);
/* Off it, when it is on it; whatever the walk knew is forgotten. */
void ufib_remove_vobj_from_dirty_list(ufib_vobj *vobj);
/* The walk begins again at the first prefix, forward. */
void ufib_vobj_walk_restart(ufib_vobj *vobj);

void ufib_insert_vobj_in_rpf_list(ufib_vobj *vobj);
void ufib_remove_vobj_from_rpf_list(ufib_vobj *vobj);

/* Both share 'budget' out between the vobjs of their list, at least one prefix each, and return how many prefixes they
 * did, at most 'budget'. The backwalk deletes the old instance of each vobj that it has finished. */
uint32_t ufib_dirty_vobjs_do_pfx_backwalk(uint32_t budget);
uint32_t ufib_vobjs_pfxs_do_rpf_update(uint32_t budget);

void ufib_dirty_vobj_timer_init();
void ufib_dirty_vobj_timer_handler(void *unused);
void ufib_dirty_reset();
