/* Interface records as operators see them, and VLANs, which are interfaces of a type of their own here. */
#include "diag/show_values.h"
#include "diag/show_walk.h"
#include "diag/ufib_show_object.h"
#include "host/command/command.h"
#include "host/interfaces/interfaces.h"
#include "host/interfaces/l3vm.h"
#include "ufib/ufib_idb.h"
#include "ufib/ufib_vdc.h"

#include <iterator>

static constexpr const char *holder_names[] = {"v4 adjacency", "v6 adjacency", "v4 rpf", "v6 rpf"};
static constexpr uint32_t VLAN_NUMBER = 0xffffff; /* of an index without a name of its own */

static const char *rpf_name(uint8_t mode) {
    return ufib_idb_is_rpf_mode_strict(mode) ? "strict" : ufib_idb_is_rpf_mode_loose(mode) ? "loose" : "off";
}

static cmd_arg mac_of(const ufib_idb *idb) {
    return (idb->mac_flags & UFIB_IDB_MAC_KNOWN) != 0 ? cmd_mac(idb->mac, "mac") : cmd_text("", "mac");
}

static void interface_print(cmd_handle *handle, const ufib_idb *idb) {
    cmd_prt_row_begin(handle);
    cmd_prt(handle, "%-22s | %#010x | %-17s | %-10u | %-10u | %-6s | %-6s\n",
            show_interface(idb->if_index, "interface"), cmd_u32(idb->if_index, "if_index"), mac_of(idb),
            cmd_u32(idb->adj_count[0], "v4_adjacencies"), cmd_u32(idb->adj_count[1], "v6_adjacencies"),
            cmd_text(rpf_name(idb->rpf_mode[0]), "v4_rpf"), cmd_text(rpf_name(idb->rpf_mode[1]), "v6_rpf"),
            cmd_text(show_bits(idb->holders, holder_names, std::size(holder_names)), "held_by"));
    cmd_prt_row_end(handle);
}

static void vlan_print(cmd_handle *handle, const ufib_idb *idb) {
    const uint32_t vlan = idb->if_index & VLAN_NUMBER;
    uint32_t domain = 0;
    (void)vlan_get_bd(idb->vdc_id, vlan, &domain);
    cmd_prt_row_begin(handle);
    cmd_prt(handle, "%-6u | %-13u | %-22s | %-17s | %-10u | %-10u\n", cmd_u32(vlan, "vlan"),
            cmd_u32(domain, "bridge_domain"), show_interface(idb->if_index, "interface"), mac_of(idb),
            cmd_u32(idb->adj_count[0], "v4_adjacencies"), cmd_u32(idb->adj_count[1], "v6_adjacencies"),
            cmd_u32(idb->if_index, "if_index"));
    cmd_prt_row_end(handle);
}

struct idb_form {
    const char *list;
    const char *one; /* in the refusal */
    const char *head;
    bool (*wanted)(const ufib_show_params &params, const ufib_idb *idb);
    bool (*asks_one)(const ufib_show_params &params);
    void (*print)(cmd_handle *handle, const ufib_idb *idb);
};

static constexpr idb_form interface_form = {
    "interfaces",
    "interface",
    "Interface              | Index      | MAC               | v4 adjs    | v6 adjs    | v4 rpf | v6 rpf\n"
    "-----------------------+------------+-------------------+------------+------------+--------+-------\n",
    [](const ufib_show_params &params, const ufib_idb *idb) {
        return (params.flags & UFIB_SHOW_HAS_IF) == 0 || params.if_index == idb->if_index;
    },
    [](const ufib_show_params &params) { return (params.flags & UFIB_SHOW_HAS_IF) != 0; },
    interface_print,
};
static constexpr idb_form vlan_form = {
    "vlans",
    "vlan",
    "Vlan   | Bridge domain | Interface              | MAC               | v4 adjs    | v6 adjs\n"
    "-------+---------------+------------------------+-------------------+------------+-----------\n",
    [](const ufib_show_params &params, const ufib_idb *idb) {
        return if_index_get_type(idb->if_index) == IF_TYPE_SVI &&
               (params.vlan == 0 || params.vlan == (idb->if_index & VLAN_NUMBER));
    },
    [](const ufib_show_params &params) { return params.vlan != 0; },
    vlan_print,
};

static void idbs_show(cmd_handle *handle, uint32_t vdc_id, const idb_form &form) {
    ufib_vdc *vdc = ufib_vdc_get(vdc_id);
    ufib_show_params params;
    if (vdc == nullptr || !ufib_show_get_params(handle, vdc_id, nullptr, UFIB_SHOW_INTERFACES, &params))
        return;
    show_walk walk = {&params, 0, 0, false};
    if ((params.flags & UFIB_SHOW_CONTINUING) == 0) {
        params.at_if_index = 0; /* no interface has that index */
        cmd_prt_decoration(handle, form.head);
    }
    cmd_prt_list_begin(handle, form.list);
    const ufib_idb *idb = ufib_idb_get_next_safe(vdc, params.at_if_index);
    for (bool on = true; on && idb != nullptr; idb = ufib_idb_get_next(idb)) {
        const bool shown = form.wanted(params, idb);
        params.at_if_index = idb->if_index;
        if (shown) form.print(handle, idb);
        on = show_walk_step(&walk, shown);
    }
    show_walk_end(handle, &walk, form.asks_one(params) ? form.one : nullptr);
}

void lcfwd_show_interfaces(cmd_handle *handle, uint32_t vdc_id) { idbs_show(handle, vdc_id, interface_form); }
void ufib_show_forwarding_vlan(cmd_handle *handle, uint32_t vdc_id) { idbs_show(handle, vdc_id, vlan_form); }
