/* The prefixes of a virtual object. They join at the end that a walk is going to, so that it meets them in its way;
 * they leave with the walks' cursors moved off them. */
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_vobj.h"

void ufib_vobj_link_prefix(ufib_vobj *vobj, ufib_pfx *pfx) {
    if ((vobj->flags & UFIB_VOBJ_REVERSED) != 0)
        dbly_linkage_insert_head(&vobj->prefixes, &pfx->by_vobj);
    else
        dbly_linkage_insert_tail(&vobj->prefixes, &pfx->by_vobj);
    ufib_vobj_installed(vobj);
}

void ufib_vobj_unlink_prefix(ufib_vobj *vobj, ufib_pfx *pfx) {
    dl_node *node = &pfx->by_vobj;
    if (vobj->backwalk_cursor == node)
        vobj->backwalk_cursor =
            (vobj->flags & UFIB_VOBJ_REVERSED) != 0 ? dbly_linkage_prev(node) : dbly_linkage_next(node);
    if (vobj->rpf_cursor == node) vobj->rpf_cursor = dbly_linkage_next(node);
    dbly_linkage_remove(&vobj->prefixes, node);
}
