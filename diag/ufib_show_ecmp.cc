/* Groups of equal-cost paths as operators see them. */
#include "diag/show_values.h"
#include "diag/show_walk.h"
#include "diag/ufib_show_object.h"
#include "host/command/command.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_vdc.h"

#include <iterator>

static constexpr const char *holder_names[] = {nullptr, "pbr"};
static constexpr char BRIEF[] = "Group %#x: %s, No of paths: %u, references: %u\n";
static constexpr char DETAIL[] = "Group %#x: %s, No of paths: %u, references: %u\n"
                                 "   with adjacency: %u   hash %#x   held by %s   PBR references: %u\n";

static void path_print(cmd_handle *handle, const ufib_ecmp *group, uint32_t path) {
    const ufib_family &family = ufib_ecmp_family(group);
    const ufib_adj_key key = ufib_ecmp_key_path(family, *group->key, path);
    const ufib_obj *obj = group->paths[path];
    const auto *adj =
        obj != nullptr && ufib_obj_is_adj(obj) ? reinterpret_cast<const ufib_adj *>(obj) : nullptr;
    const char *state = obj == nullptr   ? "ERROR: MISSING ADJACENCY"
                        : adj == nullptr ? ufib_obj_get_name(ufib_obj_type_of(obj))
                                         : show_adj_state(adj);
    cmd_prt_row_begin(handle);
    cmd_prt(handle, "   %2u  %-17s  %-20s  %-16s  %#x\n", cmd_u32(path, "path"),
            show_address(family, key.address, "next_hop"), show_interface(key.if_index, "interface"),
            cmd_text(state, "state"), cmd_u32(ufib_obj_get_hardware_handle(obj), "adjacency_handle"),
            cmd_u32(key.if_index, "if_index"),
            cmd_u32(group->obj.handle == 0 ? 0 : group->obj.handle + path, "member_handle"));
    cmd_prt_row_end(handle);
}

static void group_print(cmd_handle *handle, ufib_ecmp *group, bool detail) {
    cmd_prt_row_begin(handle);
    cmd_prt(handle, detail ? DETAIL : BRIEF, cmd_u32(group->obj.handle, "handle"),
            cmd_text(ufib_ecmp_family(group).name, "family"), cmd_u32(group->key->count, "path_count"),
            cmd_u32(ufib_obj_refs(&group->obj), "references"), cmd_u32(group->linked, "linked_paths"),
            cmd_u32(group->hash, "hash"),
            cmd_text(show_bits(group->holders, holder_names, std::size(holder_names)), "held_by"),
            cmd_u32(group->pbr_count, "pbr_references"));
    cmd_prt_list_begin(handle, "paths");
    for (uint32_t path = 0; path < group->key->count; path++) path_print(handle, group, path);
    cmd_prt_list_end(handle);
    if (detail) (void)ufib_platform_show_ecmp(handle, group);
    cmd_prt_row_end(handle);
}

/* The handle of a group is that of its first member, and the others follow it. */
static bool wanted(const ufib_show_params &params, const ufib_ecmp *group) {
    if ((params.flags & UFIB_SHOW_HAS_HANDLE) == 0) return true;
    return group->obj.handle != 0 && params.handle >= group->obj.handle &&
           params.handle - group->obj.handle < group->key->count;
}

void ufib_show_ecmp_be(cmd_handle *handle, uint32_t vdc_id) {
    const ufib_vdc *vdc = ufib_vdc_get(vdc_id);
    ufib_show_params params;
    if (vdc == nullptr || !ufib_show_get_params(handle, vdc_id, nullptr, UFIB_SHOW_ECMP, &params)) return;
    show_walk walk = {&params, 0, 0, false};
    ufib_ecmp *group = (params.flags & UFIB_SHOW_CONTINUING) == 0
                           ? ufib_ecmp_get_first(vdc)
                           : ufib_ecmp_resume(vdc, show_hash_at(params), show_hash_passed(params));
    cmd_prt_list_begin(handle, "groups");
    for (bool on = true; on && group != nullptr; group = ufib_ecmp_get_next(vdc, group)) {
        const bool shown = wanted(params, group);
        show_hash_pass(&params, group->hash);
        if (shown) {
            group_print(handle, group, params.detail != 0);
            walk.visited += group->key->count;
        }
        on = show_walk_step(&walk, shown);
    }
    show_walk_end(handle, &walk, (params.flags & UFIB_SHOW_HAS_HANDLE) != 0 ? "group" : nullptr);
}
