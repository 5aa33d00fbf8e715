#include "ufib/ufib_object.h"

#include "core/lcfwd_log.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_journal.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_table.h"

/* By type. */
static const char *const obj_names[UFIB_OBJ_TYPES] = {
    nullptr,
    "table",
    "v4prefix",
    "v6prefix",
    "ecmp",
    "v4adj",
    "v6adj",
    "vlan",
    nullptr,
    "vobj",
    "vobj_fec",
    "lisp-encap",
    "mpls table",
    "mpls label",
    "mpls eos",
    "mpls adj",
    "mpls ecmp",
    "mpls Traffic Engineering",
    "mpls TE related adjacency",
    "mpls l3vpn label",
};

static uint32_t ufib_object_size[UFIB_OBJ_TYPES];
static ufib_obj_destroy_fn obj_destroy[UFIB_OBJ_TYPES];
static bool keep_all;

const char *ufib_obj_get_name(uint32_t type) {
    return type < UFIB_OBJ_TYPES && obj_names[type] != nullptr ? obj_names[type] : "unknown";
}

uint32_t ufib_obj_get_size(uint32_t type) { return type < UFIB_OBJ_TYPES ? ufib_object_size[type] : 0; }

void ufib_obj_size_set(uint32_t type, uint32_t bytes) {
    if (type != UFIB_OBJ_NONE && type < UFIB_OBJ_TYPES) ufib_object_size[type] = bytes;
}

/* The library's tail begins at the next multiple of 8, so that it may hold 64-bit counters. */
static uint32_t tail_offset(size_t bytes) { return static_cast<uint32_t>((bytes + 7) & ~size_t{7}); }

void ufib_obj_size_init() {
    ufib_obj_size_set(UFIB_OBJ_TABLE, tail_offset(sizeof(ufib_table)) + ufib_platform_table_space_len());
    ufib_obj_size_set(UFIB_OBJ_V4PREFIX, ufib_prefix_tail_offset(4) + ufib_platform_v4prefix_space_len());
    ufib_obj_size_set(UFIB_OBJ_V6PREFIX, ufib_prefix_tail_offset(16) + ufib_platform_v6prefix_space_len());
    ufib_obj_size_set(UFIB_OBJ_V4ADJ, tail_offset(sizeof(ufib_adj)) + ufib_platform_v4adj_space_len());
    ufib_obj_size_set(UFIB_OBJ_V6ADJ, tail_offset(sizeof(ufib_adj)) + ufib_platform_v6adj_space_len());
}

void ufib_obj_register(uint32_t type, ufib_obj_destroy_fn destroy) {
    if (type != UFIB_OBJ_NONE && type < UFIB_OBJ_TYPES) obj_destroy[type] = destroy;
}

void ufib_obj_drop(ufib_obj *obj) {
    if (ufib_obj_refs(obj) == 0) {
        UFIB_ERR("reference count of %s %p is already 0", ufib_obj_get_name(ufib_obj_type_of(obj)),
                 static_cast<void *>(obj));
        return;
    }
    obj->type_refs -= UFIB_OBJ_REF;
}

void ufib_obj_keep_all(bool keep) { keep_all = keep; }

void ufib_obj_delete(void *argument, ufib_obj *obj) {
    if (obj == nullptr || keep_all) return;
    const uint32_t type = ufib_obj_type_of(obj);
    if (type >= UFIB_OBJ_MPLS_L3VPN_LABEL || obj_destroy[type] == nullptr) return;
    if (type != UFIB_OBJ_V4ADJ && type != UFIB_OBJ_V6ADJ && ufib_obj_refs(obj) > 0) return;
    obj_destroy[type](argument, obj);
}

void ufib_obj_link_objects(ufib_obj **slot, ufib_obj *obj) {
    if (obj == nullptr || *slot != nullptr) return;
    *slot = obj;
    ufib_obj_hold(obj);
}

void ufib_obj_unlink_objects(ufib_obj **slot, bool delete_now) {
    ufib_obj *obj = *slot;
    if (obj == nullptr) return;
    *slot = nullptr;
    ufib_obj_drop(obj);
    if (delete_now)
        ufib_obj_delete(nullptr, obj);
    else
        ufib_journal_log(UFIB_JOURNAL_DEFERRED_DELETE, obj, nullptr);
}

ufib_obj *ufib_obj_get_next(const ufib_obj *obj) { return obj == nullptr ? nullptr : obj->next; }

uint32_t ufib_obj_get_hardware_handle(const ufib_obj *obj) { return obj == nullptr ? 0 : obj->handle; }

void ufib_obj_set_hardware_handle(ufib_obj *obj, uint32_t handle) {
    if (obj != nullptr) obj->handle = handle;
}

void ufib_obj_reset() {
    for (uint32_t type = 0; type < UFIB_OBJ_TYPES; type++) {
        ufib_object_size[type] = 0;
        obj_destroy[type] = nullptr;
    }
    keep_all = false;
    ufib_journal = {};
}
