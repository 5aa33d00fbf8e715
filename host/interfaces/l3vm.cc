#include "host/interfaces/l3vm.h"

#include "host/bus/bus.h"
#include "host/interfaces/interface_table.h"
#include "host/system/system.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

static constexpr uint32_t VDCS_MAX = 64; /* of the attachments */
static constexpr uint32_t DEFAULT_IPV4_TABLE = 1;
static constexpr uint32_t DEFAULT_IPV6_TABLE = 0x80000001;

struct l3vm_state {
    uint64_t attached; /* a bit for each VDC */
    uint32_t bd_closes;
    fsrv_counters counters;
};

static l3vm_state state;

const fsrv_counters *fsrv_counters_get() { return &state.counters; }
void l3vm_reset() { state = {}; }

/* ---- contexts ---- */

struct context_key {
    uint32_t vdc_id;
    const char *name;
};

static bool context_before(const l3vm_context_info &row, const context_key &key) {
    return row.vdc_id != key.vdc_id ? row.vdc_id < key.vdc_id : std::strcmp(row.name, key.name) < 0;
}

void interface_table_set(interface_table *table, const l3vm_context_info &context) {
    auto at = std::lower_bound(table->contexts.begin(), table->contexts.end(),
                               context_key{context.vdc_id, context.name}, context_before);
    if (at != table->contexts.end() && at->vdc_id == context.vdc_id &&
        std::strcmp(at->name, context.name) == 0)
        *at = context;
    else
        table->contexts.insert(at, context);
}

void l3vm_context_set(const l3vm_context_info *context) { interface_table_set(&interfaces_table, *context); }

static bool vdc_has_contexts(uint32_t vdc_id) {
    const auto &rows = interfaces_table.contexts;
    return std::any_of(rows.begin(), rows.end(), [vdc_id](const auto &row) { return row.vdc_id == vdc_id; });
}

static l3vm_context_info default_context(uint32_t vdc_id) {
    return {vdc_id, DEFAULT_IPV4_TABLE, DEFAULT_IPV6_TABLE, "default"};
}

int l3vm_get_next_context_info(const char *after, l3vm_context_info *out) {
    const uint32_t vdc_id = sysmgr_vdc_ctxt_get();
    if (vdc_id == 0) return ENXIO;
    if (!vdc_has_contexts(vdc_id)) {
        if (after != nullptr && std::strcmp(after, "default") >= 0) return ENOENT;
        *out = default_context(vdc_id);
        return 0;
    }
    const auto &rows = interfaces_table.contexts;
    auto at = std::lower_bound(rows.begin(), rows.end(), context_key{vdc_id, after == nullptr ? "" : after},
                               context_before);
    if (after != nullptr && at != rows.end() && at->vdc_id == vdc_id && std::strcmp(at->name, after) == 0)
        ++at;
    if (at == rows.end() || at->vdc_id != vdc_id) return ENOENT;
    *out = *at;
    return 0;
}

uint32_t l3vm_context_get_table_id(const char *name, uint32_t family, const char *topology) {
    l3vm_context_info context;
    const char *after = nullptr;
    if (std::strcmp(topology, "base") != 0 || (family != 1 && family != 2)) return 0;
    while (l3vm_get_next_context_info(after, &context) == 0) {
        if (std::strcmp(context.name, name) == 0)
            return family == 1 ? context.ipv4_table : context.ipv6_table;
        after = context.name;
    }
    return 0;
}

/* ---- system database ---- */

static uint64_t attached_bit(uint32_t vdc_id) { return vdc_id < VDCS_MAX ? uint64_t{1} << vdc_id : 0; }

int l3vm_fsrv_sdb_init() {
    const uint32_t vdc_id = sysmgr_vdc_ctxt_get();
    if (vdc_id == 0) return ENXIO;
    state.attached |= attached_bit(vdc_id);
    return 0;
}

int l3vm_fsrv_sdb_close() {
    const uint32_t vdc_id = sysmgr_vdc_ctxt_get();
    if (vdc_id == 0) return ENXIO;
    state.attached &= ~attached_bit(vdc_id);
    return 0;
}

bool l3vm_fsrv_sdb_attached(uint32_t vdc_id) { return (state.attached & attached_bit(vdc_id)) != 0; }

int fsrv_sdb_process_msg(uint32_t, mts_msg *message) {
    const uint32_t opcode = mts_opc_get(message);
    if (opcode != FSRV_OPC_SDB_CHANGE && opcode != FSRV_OPC_SDB_READY) return 0;
    state.counters.notices++;
    if (!interfaces_path.empty()) {
        if (interfaces_load(interfaces_path.c_str(), nullptr) == 0)
            state.counters.reloads++;
        else
            state.counters.failed_reloads++;
    }
    return FSRV_SDB_CONSUMED;
}

/* ---- bridge domains ---- */

void interface_table_set(interface_table *table, const bridge_domain_row &row) {
    for (bridge_domain_row &old : table->bridge_domains)
        if (old.vdc_id == row.vdc_id && old.vlan == row.vlan) {
            old = row;
            return;
        }
    table->bridge_domains.push_back(row);
}

int vlan_get_bd(uint32_t vdc_id, uint32_t vlan, uint32_t *bridge_domain) {
    for (const bridge_domain_row &row : interfaces_table.bridge_domains)
        if (row.vdc_id == vdc_id && row.vlan == vlan) {
            *bridge_domain = row.bridge_domain;
            return 0;
        }
    return ENOENT;
}

void vlan_set_bd(uint32_t vdc_id, uint32_t vlan, uint32_t bridge_domain) {
    interface_table_set(&interfaces_table, bridge_domain_row{vdc_id, vlan, bridge_domain});
}

void vlan_close_bd_sdb(uint32_t vdc_id) {
    state.bd_closes++;
    std::erase_if(interfaces_table.bridge_domains,
                  [vdc_id](const auto &row) { return row.vdc_id == vdc_id; });
}

uint32_t vlan_bd_sdb_closes() { return state.bd_closes; }
