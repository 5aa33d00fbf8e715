/* One route as operators see it: as a line a path, or in detail, with why it forwards where it does. It doubles as a
 * check of the model: what should be there and is not, is said. */
#include "diag/ufib_show_route_prefix.h"

#include "diag/show_values.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_vobj.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>

/* ---- forms, by family ---- */

struct route_form {
    const char *rule;
    const char *heads;
    const char *prefix; /* of a line a path */
    const char *indent; /* as wide as the prefix: for the second path and on */
    const char *path;
};
static constexpr route_form forms[2] = {
    {"------------------+------------------+----------------------+-----------------\n",
     "Prefix            | Next-hop         | Interface            | Labels\n", "%-19s ",
     "                    ", "%-18s %-22s %s\n"},
    {"-------------------------------------------+-----------------------------------------+"
     "----------------------+-----------------\n",
     "Prefix                                     | Next-hop                                | "
     "Interface            | Labels\n",
     "%-44s ", "                                             ", "%-41s %-22s %s\n"},
};
static constexpr char DETAIL_PREFIX[] = "Prefix %s, No of paths: %s, Update time: %s\n";
static constexpr char DETAIL_MORE[] = "   Table: %#x   Flags: %s   Held by: %s   Handle: %#x\n"
                                      "   Next object: %s   Handle: %#x   References: %u\n";
static constexpr char DETAIL_PATH[] =
    "   via %s, interface %s, labels [%s], state %s, rewrite [%s], if_index %#x, handle %#x\n";

static constexpr const char *flag_names[] = {"direct",    "local",     "drop",        "attached",
                                             "ldb",       "rnh",       "never-stale", "wildcard",
                                             "extended2", "extended3", "extended4",   "mcast-src"};
static constexpr const char *holder_names[] = {"ufdm", "sgrp", "ipsg", "erspan", "fec", "lisp", "mcast-src"};
static constexpr const char *rnh_names[] = {nullptr, "pending", "delete-marked", "rnh"};

static bool detailed(const ufib_route_show *show) { return show->walk.params->detail != 0; }
static const route_form &form_of(const ufib_route_show *show) { return forms[show->family.index]; }

void ufib_show_route_header2(cmd_handle *handle, const ufib_family &family) {
    const route_form &form = forms[family.index];
    cmd_prt_decoration(handle, form.rule);
    cmd_prt_decoration(handle, form.heads);
    cmd_prt_decoration(handle, form.rule);
}

/* ---- types of next objects ---- */

static uint32_t one_path(const ufib_obj *) { return 1; }
static ufib_show_path itself(const ufib_obj *next, uint32_t) { return {next, 0}; }

static const ufib_ecmp *group_of(const ufib_obj *next) { return reinterpret_cast<const ufib_ecmp *>(next); }
static const ufib_vobj *vobj_of(const ufib_obj *next) { return reinterpret_cast<const ufib_vobj *>(next); }

static uint32_t group_paths(const ufib_obj *next) { return group_of(next)->key->count; }
static ufib_show_path group_path(const ufib_obj *next, uint32_t index) {
    return {group_of(next)->paths[index], 0};
}
static uint32_t vobj_paths(const ufib_obj *next) { return vobj_of(next)->cnh_count; }
static ufib_show_path vobj_path(const ufib_obj *next, uint32_t index) {
    const ufib_cnh &cnh = vobj_of(next)->cnhs[index];
    return {cnh.obj, cnh.label};
}

struct next_types {
    ufib_show_next_type row[UFIB_OBJ_TYPES];
};
static constexpr next_types builtin_types() {
    next_types types = {};
    types.row[UFIB_OBJ_ECMP] = {group_paths, group_path, ufib_show_route_ecmp};
    types.row[UFIB_OBJ_V4ADJ] = types.row[UFIB_OBJ_V6ADJ] = {one_path, itself, ufib_show_route_adj};
    types.row[UFIB_OBJ_VOBJ] = {vobj_paths, vobj_path, ufib_show_route_vobj};
    return types;
}
static next_types types = builtin_types();

void ufib_show_next_register(uint32_t type, const ufib_show_next_type &functions) {
    if (type < UFIB_OBJ_TYPES) types.row[type] = functions;
}

const ufib_show_next_type *ufib_show_next_of(uint32_t type) {
    return type < UFIB_OBJ_TYPES && types.row[type].path != nullptr ? &types.row[type] : nullptr;
}

/* ---- a path ---- */

static const char *missing_text(const ufib_pfx *pfx) {
    if ((pfx->route_flags & ROUTE_DROP) != 0) return "ERROR: MISSING DROP ADJACENCY";
    if ((pfx->route_flags & ROUTE_LOCAL) != 0) return "ERROR: MISSING PUNT ADJACENCY";
    if ((pfx->route_flags & (ROUTE_ATTACHED | ROUTE_DIRECT)) != 0) return "ERROR: MISSING ATTACHED ADJACENCY";
    return "ERROR: MISSING ADJACENCY";
}

static void missing_print(const ufib_route_show *show, const ufib_pfx *pfx) {
    cmd_prt(show->handle, detailed(show) ? "   %s\n" : "%s\n", cmd_text(missing_text(pfx), "error"));
}

/* A global stands for what happens, not for a next hop; a direct route keeps its interface beside. */
static cmd_arg path_next_hop(const ufib_adj *adj) {
    return ufib_show_adj_is_global(adj) ? cmd_text(show_adj_state(adj), "next_hop")
                                        : show_address(ufib_adj_family(adj), adj->key.address, "next_hop");
}
static cmd_arg path_interface(const ufib_pfx *pfx, const ufib_adj *adj) {
    const bool attached = ufib_show_adj_is_global(adj) && pfx->attached_if_index != 0;
    return show_interface(attached ? pfx->attached_if_index : adj->key.if_index, "interface");
}

/* A number as text, so that no label is no text. */
static cmd_arg label_arg(uint32_t label) {
    static char text[12];
    std::snprintf(text, sizeof text, "%u", label);
    return cmd_text(label == 0 ? "" : text, "labels");
}

static void adj_print(const ufib_route_show *show, const ufib_pfx *pfx, const ufib_show_path &path) {
    const auto *adj = reinterpret_cast<const ufib_adj *>(path.obj);
    cmd_prt(show->handle, detailed(show) ? DETAIL_PATH : form_of(show).path, path_next_hop(adj),
            path_interface(pfx, adj), label_arg(path.label), cmd_text(show_adj_state(adj), "state"),
            show_adj_rewrite(adj, "rewrite"), cmd_u32(adj->key.if_index, "if_index"),
            cmd_u32(adj->obj.handle, "handle"));
}

static void other_print(const ufib_route_show *show, const ufib_obj *obj) {
    cmd_prt(show->handle, detailed(show) ? "   via %s, handle %#x\n" : "%-18s %#x\n",
            cmd_text(ufib_obj_get_name(ufib_obj_type_of(obj)), "next_hop"), cmd_u32(obj->handle, "handle"));
}

static void path_print(const ufib_route_show *show, const ufib_pfx *pfx, const ufib_show_path &path) {
    cmd_prt_row_begin(show->handle);
    if (path.obj == nullptr)
        missing_print(show, pfx);
    else if (ufib_obj_is_adj(path.obj))
        adj_print(show, pfx, path);
    else
        other_print(show, path.obj);
    cmd_prt_row_end(show->handle);
}

/* ---- the next object ---- */

static void paths_print(const ufib_route_show *show, const ufib_pfx *pfx) {
    const ufib_obj *next = pfx->obj.next;
    const ufib_show_next_type *type = ufib_show_next_of(ufib_obj_type_of(next));
    const uint32_t count = type == nullptr ? 1 : type->path_count(next);
    if (count == 0) missing_print(show, pfx);
    cmd_prt_list_begin(show->handle, "next_hops");
    for (uint32_t i = 0; i < count; i++) {
        if (i != 0 && !detailed(show)) cmd_prt_decoration(show->handle, form_of(show).indent);
        path_print(show, pfx, type == nullptr ? ufib_show_path{next, 0} : type->path(next, i));
    }
    cmd_prt_list_end(show->handle);
}

void ufib_show_route_ecmp(const ufib_route_show *show, const ufib_pfx *pfx) { paths_print(show, pfx); }
void ufib_show_route_adj(const ufib_route_show *show, const ufib_pfx *pfx) { paths_print(show, pfx); }

static int32_t word_at(const uint8_t bytes[4]) {
    const uint32_t word =
        uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | uint32_t{bytes[3]};
    return static_cast<int32_t>(word);
}

static void recursive_print(const ufib_route_show *show, const ufib_vobj_row &row) {
    const ufib_family &family = (row.flags & UFIB_VOBJ_ROW_V4) != 0 ? ufib_v4 : ufib_v6;
    const ufib_obj *next = row.rnh == nullptr ? nullptr : row.rnh->obj.next;
    cmd_prt_row_begin(show->handle);
    cmd_prt(show->handle,
            detailed(show) ? "   recursive %s in table %#x, %s, label %u, resolved by %s\n" : "",
            show_prefix(family, row.address, row.mask_len, "next_hop"), cmd_u32(row.table_id, "table"),
            cmd_text((row.flags & UFIB_VOBJ_ROW_ACTIVE) != 0 ? "active" : "backup", "role"),
            cmd_u32(row.label, "label"),
            cmd_text(next == nullptr ? "nothing" : ufib_obj_get_name(ufib_obj_type_of(next)), "resolved_by"));
    cmd_prt_row_end(show->handle);
}

void ufib_show_route_vobj(const ufib_route_show *show, const ufib_pfx *pfx) {
    const ufib_vobj *vobj = vobj_of(pfx->obj.next);
    cmd_prt(show->handle, detailed(show) ? "   Vobj id: %lld" : "", cmd_u64(vobj->id, "vobj_id"));
    if ((vobj->extra_flags & UFIB_VOBJ_XRI_VALID) != 0) {
        nh_xri xri;
        std::memcpy(&xri, vobj->xri, sizeof xri);
        cmd_prt(show->handle, detailed(show) ? "   orig_as: %d   peer_as: %d" : "",
                cmd_i64(word_at(xri.word1), "orig_as"), cmd_i64(word_at(xri.word2), "peer_as"));
    }
    if (detailed(show)) cmd_prt_decoration(show->handle, "\n");
    cmd_prt_list_begin(show->handle, "recursive");
    for (uint32_t i = 0; i < vobj->row_count; i++) recursive_print(show, ufib_vobj_rows(vobj)[i]);
    cmd_prt_list_end(show->handle);
    paths_print(show, pfx);
}

/* ---- a prefix ---- */

/* Neighbours in a table often came with one batch, so the last text is kept. */
static const char *time_text(uint32_t seconds) {
    static char text[32];
    static uint32_t text_of = UINT32_MAX;
    if (seconds == text_of) return text;
    const time_t when = static_cast<time_t>(seconds);
    if (ctime_r(&when, text) == nullptr) return "";
    text[24] = '\0'; /* without the line's end */
    text_of = seconds;
    return text;
}

static const char *flags_text(const ufib_pfx *pfx) {
    return ufib_prefix_is_rnh(pfx) ? show_bits(pfx->flags, rnh_names, std::size(rnh_names))
                                   : show_bits(pfx->route_flags, flag_names, std::size(flag_names));
}

static void prefix_print(const ufib_route_show *show, const ufib_pfx *pfx) {
    const ufib_obj *next = pfx->obj.next;
    const bool detail = detailed(show);
    cmd_prt(show->handle, detail ? DETAIL_PREFIX : form_of(show).prefix,
            show_prefix(show->family, ufib_pfx_address(pfx), pfx->mask_len, "prefix"),
            cmd_u32(pfx->nh_count, "paths"), cmd_text(time_text(pfx->last_update), "update_time"));
    cmd_prt(show->handle, detail ? DETAIL_MORE : "", cmd_u32(pfx->table->table_id, "table"),
            cmd_text(flags_text(pfx), "flags"),
            cmd_text(show_bits(pfx->holders, holder_names, std::size(holder_names)), "held_by"),
            cmd_u32(pfx->obj.handle, "handle"),
            cmd_text(next == nullptr ? "none" : ufib_obj_get_name(ufib_obj_type_of(next)), "next_object"),
            cmd_u32(ufib_obj_get_hardware_handle(next), "next_handle"),
            cmd_u32(next == nullptr ? 0 : ufib_obj_refs(next), "next_references"),
            cmd_u32(pfx->last_update, "updated"), cmd_u32(pfx->epoch, "epoch"));
}

int ufib_show_route_prefix_detail_platform(const ufib_route_show *show, const ufib_pfx *pfx) {
    auto *object = const_cast<ufib_pfx *>(pfx); /* a library gets objects as it gets them everywhere */
    return show->family.index == UFIB_STATS_V4 ? ufib_platform_show_v4prefix(show->handle, object)
                                               : ufib_platform_show_v6prefix(show->handle, object);
}

void ufib_show_route_prefix(const ufib_route_show *show, const ufib_pfx *pfx) {
    prefix_print(show, pfx);
    if (pfx->obj.next == nullptr) {
        missing_print(show, pfx);
    } else {
        const ufib_show_next_type *type = ufib_show_next_of(ufib_obj_type_of(pfx->obj.next));
        (type == nullptr || type->show == nullptr ? ufib_show_route_adj : type->show)(show, pfx);
    }
    const bool in_engine = !ufib_prefix_is_rnh(pfx); /* recursive next hops are in the model only */
    if (detailed(show) && in_engine) (void)ufib_show_route_prefix_detail_platform(show, pfx);
}
