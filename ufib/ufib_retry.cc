#include "ufib/ufib_retry.h"

#include "core/lcfwd_log.h"
#include "core/lcfwd_timer.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_vobj.h"
#include "ufib/ufib_vobj_private.h"

#include <cstdlib>

dl_list ufib_retry_adjs;
dl_list ufib_retry_vobjs;
dl_list ufib_retry_groups;

static void wait_for(dl_list *list, dl_node *node) {
    if (!dbly_linkage_is_on(list, node)) dbly_linkage_insert_tail(list, node);
    (void)ufib_dirty_vobj_timer_start();
}

static void wait_ends(dl_list *list, dl_node *node) {
    if (dbly_linkage_is_on(list, node)) dbly_linkage_remove(list, node);
}

void ufib_retry_adj(ufib_adj *adj) { wait_for(&ufib_retry_adjs, &adj->retry); }
void ufib_retry_adj_done(ufib_adj *adj) { wait_ends(&ufib_retry_adjs, &adj->retry); }
void ufib_retry_vobj(ufib_vobj *vobj) { wait_for(&ufib_retry_vobjs, &vobj->retry); }
void ufib_retry_group(ufib_ecmp *group) { wait_for(&ufib_retry_groups, &group->retry); }
void ufib_retry_group_done(ufib_ecmp *group) { wait_ends(&ufib_retry_groups, &group->retry); }
bool ufib_retry_group_waits(const ufib_ecmp *group) {
    return dbly_linkage_is_on(&ufib_retry_groups, &group->retry);
}

void ufib_retry_vobj_done(ufib_vobj *vobj) {
    wait_ends(&ufib_retry_vobjs, &vobj->retry);
    ufib_obj **kept = vobj->kept;
    const uint32_t count = vobj->kept_count;
    vobj->kept = nullptr;
    vobj->kept_count = 0;
    for (uint32_t i = 0; i < count; i++) ufib_vobj_path_release(kept[i]);
    std::free(kept);
}

void ufib_retry_adj_written(ufib_adj *adj) {
    if (dbly_linkage_is_on(&ufib_retry_adjs, &adj->retry) && !ufib_adj_destroy_ok(adj))
        ufib_retry_adj_done(adj);
}

void ufib_retry_vobj_written(ufib_vobj *vobj) {
    if (ufib_obj_refs(&vobj->obj) != 0) ufib_retry_vobj_done(vobj);
}

/* Without memory the reference is never given back: an adjacency too many is better than an entry that leads to one
 * that is gone. */
void ufib_retry_vobj_keep(ufib_vobj *vobj, ufib_obj *path) {
    for (uint32_t i = 0; i < vobj->kept_count; i++) {
        if (vobj->kept[i] != path) continue;
        ufib_vobj_path_release(path);
        return;
    }
    auto *kept =
        static_cast<ufib_obj **>(std::realloc(vobj->kept, (vobj->kept_count + 1) * sizeof(ufib_obj *)));
    if (kept == nullptr) {
        UFIB_ERR("no memory for a path that hardware still uses");
        return;
    }
    kept[vobj->kept_count++] = path;
    vobj->kept = kept;
}

static bool adj_again(dl_node *node) {
    auto *adj = dl_object<ufib_adj>(node, offsetof(ufib_adj, retry));
    ufib_cur_vdc_id = ufib_adj_vdc_id(adj);
    if (ufib_adj_destroy_ok(adj)) return ufib_adj_destroy(nullptr, adj, false) != 0;
    return ufib_platform_insert_adj(adj, 0, ufib_adj_platform_mode(adj));
}

static bool vobj_again(dl_node *node) {
    auto *vobj = dl_object<ufib_vobj>(node, offsetof(ufib_vobj, retry));
    ufib_cur_vdc_id = vobj->vdc_id;
    if (ufib_obj_refs(&vobj->obj) != 0) return ufib_platform_update_vobj(vobj, 0) >= 0;
    const uint32_t before = ufib_retry_vobjs.count;
    ufib_vobj_destroy(nullptr, &vobj->obj);
    return ufib_retry_vobjs.count < before;
}

static bool group_again(dl_node *node) {
    auto *group = dl_object<ufib_ecmp>(node, offsetof(ufib_ecmp, retry));
    ufib_cur_vdc_id = group->vdc_id;
    const uint32_t before = ufib_retry_groups.count;
    if (ufib_ecmp_destroy_ok(group))
        ufib_ecmp_destroy(group);
    else
        ufib_retry_group_done(group); /* wanted again meanwhile */
    return ufib_retry_groups.count < before;
}

/* One that is refused again goes to the end, so that it does not keep the others waiting for ever. */
static void list_again(dl_list *list, bool (*write)(dl_node *node)) {
    for (uint32_t left = UFIB_RETRY_BUDGET; left != 0 && list->head != nullptr; left--) {
        dl_node *node = list->head;
        const bool taken = write(node);
        if (list->head != node) continue; /* the write took it off */
        dbly_linkage_remove(list, node);
        if (taken) continue;
        dbly_linkage_insert_tail(list, node);
        return;
    }
}

void ufib_retry_work() {
    if (!ufib_retry_is_waiting()) return;
    list_again(&ufib_retry_adjs, adj_again);
    list_again(&ufib_retry_vobjs, vobj_again);
    list_again(&ufib_retry_groups, group_again);
    (void)ufib_platform_all_writes_ready();
}

void ufib_retry_reset() {
    dbly_linkage_init(&ufib_retry_adjs);
    dbly_linkage_init(&ufib_retry_vobjs);
    dbly_linkage_init(&ufib_retry_groups);
}
