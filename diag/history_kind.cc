/* What each kind of object prints of its history: its key, a record as a line of a table, a record by itself. */
#include "diag/history_row.h"
#include "diag/show_values.h"
#include "diag/ufib_bt_text.h"
#include "host/command/command.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_bintrace.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_vobj.h"

#include <algorithm>
#include <iterator>

static cmd_arg time_arg(wire_be<uint32_t> time) { return cmd_text(ufib_bt_time_str(wire_get(time)), "time"); }
static cmd_arg seconds_arg(wire_be<uint32_t> time) { return cmd_u32(wire_get(time), "seconds"); }
static cmd_arg u32_arg(wire_be<uint32_t> value, const char *key) { return cmd_u32(wire_get(value), key); }
static cmd_arg op_arg(uint32_t operation) { return cmd_text(ufib_bt_v4_op_str(operation), "operation"); }
static cmd_arg object_arg(wire_be<uint32_t> type) {
    return cmd_text(ufib_bt_v4_object_str(wire_get(type)), "next_obj");
}

/* ---- prefixes ---- */

static void prefix_key(cmd_handle *handle, const ufib_family &family, const void *bytes) {
    const auto *key = static_cast<const ufib_bt_pfx_key *>(bytes);
    cmd_prt(handle, "PREFIX %s TABLE_ID 0x%x\n", show_prefix(family, key->address, key->mask_len, "prefix"),
            u32_arg(key->table_id, "table_id"));
}

static void prefix_print(cmd_handle *handle, const ufib_bt_pfx_head &head, const char *format) {
    cmd_prt(handle, format, time_arg(head.time), u32_arg(head.handle, "ha_handle"),
            object_arg(head.next_type), u32_arg(head.next_handle, "next_obj_hh"),
            u32_arg(head.path_count, "nh_cnt"), op_arg(wire_get(head.operation)), seconds_arg(head.time));
}

static uint32_t prefix_line(cmd_handle *handle, const ufib_family &, const void *record) {
    prefix_print(handle, static_cast<const ufib_bt_pfx_record *>(record)->head,
                 "  %s  %#8x   %-10s %#8x     %3d    %s\n");
    return 1;
}

static void prefix_record(cmd_handle *handle, const ufib_family &, const void *record) {
    prefix_print(handle, static_cast<const ufib_bt_pfx_record *>(record)->head,
                 "Time:%s   ha_handle:%x   next_obj:%s\nnext_obj_HH:%x   NH_cnt:%d   operation:%s\n\n");
}

const history_kind history_prefix = {
    prefix_key,
    "       Time                 ha_handle  next_obj  next_obj_HH  NH_cnt    operation\n",
    prefix_line,
    prefix_record,
};

/* ---- recursive next hops ---- */

static void rnh_print(cmd_handle *handle, const void *bytes, const char *format) {
    const auto *record = static_cast<const ufib_bt_rnh_record *>(bytes);
    const ufib_bt_pfx_head &head = record->head;
    const bool pending = (record->flags & UFIB_PFX_FLAG_PENDING) != 0;
    const bool marked = (record->flags & UFIB_PFX_FLAG_RNH_DELETE_MARKED) != 0;
    cmd_prt(handle, format, time_arg(head.time), object_arg(head.next_type),
            u32_arg(head.next_handle, "next_obj_hh"), u32_arg(head.path_count, "nh_cnt"),
            u32_arg(record->dependents, "dependents"),
            cmd_text(pending  ? "pending"
                     : marked ? "no route"
                              : "routed",
                     "state"),
            op_arg(wire_get(head.operation)), seconds_arg(head.time), cmd_u32(record->holders, "holders"));
}

static uint32_t rnh_line(cmd_handle *handle, const ufib_family &, const void *record) {
    rnh_print(handle, record, "  %s   %-10s %#8x     %3d    %8d   %-9s %s\n");
    return 1;
}

static void rnh_record(cmd_handle *handle, const ufib_family &, const void *record) {
    rnh_print(
        handle, record,
        "Time:%s   next_obj:%s   next_obj_HH:%x\nNH_cnt:%d   dependents:%d   state:%s   operation:%s\n\n");
}

const history_kind history_rnh = {
    prefix_key,
    "       Time                 next_obj  next_obj_HH  NH_cnt  dependents  state     operation\n",
    rnh_line,
    rnh_record,
};

/* ---- adjacencies ---- */

static void adj_key(cmd_handle *handle, const ufib_family &, const void *key) {
    cmd_prt(handle, "ADJ @%#x\n", u32_arg(*static_cast<const wire_be<uint32_t> *>(key), "ha_handle"));
}

/* By bit: UFIB_ADJ_*. */
static constexpr const char *adj_flags[] = {nullptr, nullptr,     "peer-gw",  nullptr,       nullptr,
                                            nullptr, "mcast-src", "attached", "recirculate", nullptr,
                                            nullptr, "resolved",  "glean",    "direct",      "punt",
                                            "drop",  nullptr,     nullptr,    "nve",         "nve-if-down"};
static constexpr const char *adj_holders[] = {"am", "tunnel", "pbr", "wccp"};

static void adj_print(cmd_handle *handle, const ufib_family &family, const void *bytes, const char *format) {
    const auto *record = static_cast<const ufib_bt_adj_record *>(bytes);
    cmd_prt(handle, format, time_arg(record->time), show_interface(wire_get(record->if_index), "interface"),
            show_address(family, record->address, "next_hop"), cmd_mac(record->mac, "mac"),
            cmd_text(show_bits(record->holders, adj_holders, std::size(adj_holders)), "holders"),
            op_arg(record->operation),
            cmd_text(show_bits(wire_get(record->flags), adj_flags, std::size(adj_flags)), "state"),
            seconds_arg(record->time), cmd_u32(record->pbr_count, "pbr_count"),
            cmd_u32(record->wccp_count, "wccp_count"));
}

static uint32_t adj_line(cmd_handle *handle, const ufib_family &family, const void *record) {
    adj_print(handle, family, record, "  %s  %-20s %-20s %s  %-8s %-9s %s\n");
    return 1;
}

static void adj_record(cmd_handle *handle, const ufib_family &family, const void *record) {
    adj_print(handle, family, record,
              "Time:%s   interface:%s   next_hop:%s\nMAC:%s   holders:%s   operation:%s   state:%s\n\n");
}

const history_kind history_adj = {
    adj_key,
    "       Time                 interface            next_hop             MAC                holders  "
    "operation state\n",
    adj_line,
    adj_record,
};

/* ---- groups ---- */

static void ecmp_key(cmd_handle *handle, const ufib_family &, const void *key) {
    cmd_prt(handle, "ECMP @%#x\n", u32_arg(*static_cast<const wire_be<uint32_t> *>(key), "ha_handle"));
}

static uint32_t ecmp_members(cmd_handle *handle, const ufib_bt_ecmp_record &record) {
    const ufib_family &family = ufib_families[record.afi == ufib_v4.afi ? 0 : 1];
    const uint32_t count = std::min(wire_get(record.path_count), UFIB_ECMP_PATHS_MAX);
    cmd_prt_list_begin(handle, "members");
    for (uint32_t path = 0; path < count; path++) {
        const ufib_bt_ecmp_member &member = record.members[path];
        cmd_prt_row_begin(handle);
        cmd_prt(handle, "      path %2u: %s %s @%#x\n", cmd_u32(path, "path"),
                show_address(family, member.address, "next_hop"),
                show_interface(wire_get(member.if_index), "interface"),
                u32_arg(member.handle, "adjacency_handle"));
        cmd_prt_row_end(handle);
    }
    cmd_prt_list_end(handle);
    return count;
}

static uint32_t ecmp_print(cmd_handle *handle, const void *bytes, const char *format) {
    const auto *record = static_cast<const ufib_bt_ecmp_record *>(bytes);
    cmd_prt(handle, format, time_arg(record->time), cmd_u32(wire_get(record->vdc_id), "vdc"),
            u32_arg(record->path_count, "nh_cnt"),
            cmd_text((record->holders & UFIB_ECMP_HELD_PBR) != 0 ? "pbr" : "none", "holders"),
            op_arg(wire_get(record->operation)), seconds_arg(record->time));
    return 1 + ecmp_members(handle, *record);
}

static uint32_t ecmp_line(cmd_handle *handle, const ufib_family &, const void *record) {
    return ecmp_print(handle, record, "  %s  %3u     %3d    %-8s %s\n");
}

static void ecmp_record(cmd_handle *handle, const ufib_family &, const void *record) {
    (void)ecmp_print(handle, record, "Time:%s   vdc:%u   NH_cnt:%d   holders:%s   operation:%s\n");
    cmd_prt_decoration(handle, "\n");
}

const history_kind history_ecmp = {
    ecmp_key,
    "       Time                 vdc  NH_cnt    holders  operation\n",
    ecmp_line,
    ecmp_record,
};

/* ---- virtual objects ---- */

static void vobj_key(cmd_handle *handle, const ufib_family &, const void *key) {
    cmd_prt(handle, "VOBJ id %lld\n", cmd_u64(wire_get(*static_cast<const wire_be<uint64_t> *>(key)), "id"));
}

static constexpr const char *vobj_flags[] = {nullptr, nullptr, "dirty", "reversed", "walking", "joined"};

static void vobj_print(cmd_handle *handle, const void *bytes, const char *format) {
    const auto *record = static_cast<const ufib_bt_vobj_record *>(bytes);
    cmd_prt(handle, format, time_arg(record->time), u32_arg(record->new_handle, "ha_handle"),
            cmd_u32(record->new_ls_count, "places"), u32_arg(record->old_handle, "old_handle"),
            cmd_u32(record->old_ls_count, "old_places"), u32_arg(record->row_count, "rows"),
            u32_arg(record->cnh_count, "cnhs"), u32_arg(record->first_cnh, "first_cnh_hh"),
            u32_arg(record->prefix_count, "prefixes"), op_arg(wire_get(record->operation)),
            cmd_text(show_bits(wire_get(record->flags), vobj_flags, std::size(vobj_flags)), "state"),
            seconds_arg(record->time), u32_arg(record->references, "references"),
            u32_arg(record->fec_handle, "fec_handle"), cmd_u32(wire_get(record->vdc_id), "vdc"),
            cmd_bool(record->host != 0, "host"));
}

static uint32_t vobj_line(cmd_handle *handle, const ufib_family &, const void *record) {
    vobj_print(handle, record, "  %s  %#8x %2u  %#8x %2u   %2u   %2u   %#8x %8u  %-9s %s\n");
    return 1;
}

static void vobj_record(cmd_handle *handle, const ufib_family &, const void *record) {
    vobj_print(handle, record,
               "Time:%s   ha_handle:%x   places:%u   old_handle:%x   old_places:%u\n"
               "rows:%u   cnhs:%u   first_cnh_HH:%x   prefixes:%u   operation:%s   state:%s\n\n");
}

const history_kind history_vobj = {
    vobj_key,
    "       Time                 ha_handle  n  old_HH     n  rows cnhs first_cnh  prefixes operation state\n",
    vobj_line,
    vobj_record,
};
