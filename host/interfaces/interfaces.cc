#include "host/interfaces/interfaces.h"

#include "host/interfaces/interface_table.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

interface_table interfaces_table;
std::string interfaces_path;

static bool index_before(const interface_row &row, uint32_t if_index) { return row.if_index < if_index; }

void interface_table_set(interface_table *table, const interface_row &row) {
    auto at =
        std::lower_bound(table->interfaces.begin(), table->interfaces.end(), row.if_index, index_before);
    if (at != table->interfaces.end() && at->if_index == row.if_index)
        *at = row;
    else
        table->interfaces.insert(at, row);
}

void interfaces_set(const interface_row *row) { interface_table_set(&interfaces_table, *row); }

const interface_row *interfaces_find(uint32_t if_index) {
    const auto &rows = interfaces_table.interfaces;
    const auto at = std::lower_bound(rows.begin(), rows.end(), if_index, index_before);
    return at != rows.end() && at->if_index == if_index ? &*at : nullptr;
}

uint32_t interfaces_count() { return static_cast<uint32_t>(interfaces_table.interfaces.size()); }

void interfaces_reset() {
    interfaces_table = {};
    interfaces_path.clear();
    im_reset();
    l3vm_reset();
}

/* ---- the numbering rule ---- */

/* 'slot_port': the number behind the name has two parts. */
struct rule_row {
    int type;
    const char *name;
    bool slot_port;
};

static constexpr rule_row rules[] = {
    {IF_TYPE_MGMT, "mgmt", false},        {IF_TYPE_SVI, "Vlan", false},
    {IF_TYPE_INBAND, "inband", false},    {IF_TYPE_PORT_CHANNEL, "port-channel", false},
    {IF_TYPE_NULL, "Null", false},        {IF_TYPE_OVERLAY, "Overlay", false},
    {IF_TYPE_ETHERNET, "Ethernet", true}, {IF_TYPE_TUNNEL, "Tunnel", false},
};

static constexpr uint32_t NUMBER_MAX = 0xffffff;

static const rule_row *rule_of_index(uint32_t if_index) {
    const auto type = static_cast<int>(if_index >> 24);
    for (const rule_row &rule : rules)
        if (rule.type == type) return &rule;
    return nullptr;
}

/* A decimal number of at most 'most' at '*text', which is moved behind it. */
static bool take_number(const char **text, uint32_t most, uint32_t *out) {
    uint64_t number = 0;
    const char *at = *text;
    while (*at >= '0' && *at <= '9' && number <= most)
        number = number * 10 + static_cast<uint64_t>(*at++ - '0');
    if (at == *text || number > most) return false;
    *text = at;
    *out = static_cast<uint32_t>(number);
    return true;
}

static bool rule_index_of_name(const rule_row *rule, const char *name, uint32_t *out) {
    const size_t length = std::strlen(rule->name);
    if (std::strncmp(name, rule->name, length) != 0) return false;
    const char *rest = name + length;
    uint32_t slot = 0, number = 0;
    if (rule->slot_port && (!take_number(&rest, UINT8_MAX, &slot) || *rest++ != '/')) return false;
    if (!take_number(&rest, rule->slot_port ? UINT16_MAX : NUMBER_MAX, &number) || *rest != '\0')
        return false;
    *out = static_cast<uint32_t>(rule->type) << 24 | slot << 16 | number;
    return true;
}

int interface_rule_type(uint32_t if_index) {
    const rule_row *rule = rule_of_index(if_index);
    return rule == nullptr ? static_cast<int>(IF_TYPE_UNKNOWN) : rule->type;
}

int if_index_get_type(uint32_t if_index) {
    const interface_row *row = interfaces_find(if_index);
    return row != nullptr ? row->type : interface_rule_type(if_index);
}

bool if_index_is_tunnel_intf(uint32_t if_index) { return if_index_get_type(if_index) == IF_TYPE_TUNNEL; }

uint32_t if_index_eth_inband_get_priority_hi() { return static_cast<uint32_t>(IF_TYPE_INBAND) << 24 | 1; }

int vsh_interface_name_to_ifindex(const char *name, uint32_t *out) {
    const bool null0 = std::strcmp(name, "Null0") == 0;
    for (const interface_row &row : interfaces_table.interfaces)
        if (std::strcmp(row.name, name) == 0 && (!null0 || row.type == IF_TYPE_NULL)) {
            *out = row.if_index;
            return 0;
        }
    for (const rule_row &rule : rules)
        if (rule_index_of_name(&rule, name, out)) return 0;
    return ENOENT;
}

void if_index_to_name(uint32_t if_index, char *out, size_t out_size) {
    const interface_row *row = interfaces_find(if_index);
    const rule_row *rule = rule_of_index(if_index);
    if (row != nullptr)
        std::snprintf(out, out_size, "%s", row->name);
    else if (rule == nullptr)
        std::snprintf(out, out_size, "if_index 0x%" PRIx32, if_index);
    else if (rule->slot_port)
        std::snprintf(out, out_size, "%s%u/%u", rule->name, if_index >> 16 & 0xff, if_index & 0xffff);
    else
        std::snprintf(out, out_size, "%s%u", rule->name, if_index & NUMBER_MAX);
}

static int router_mac(uint32_t if_index, uint32_t vdc_id, bool vlan, uint8_t mac[6]) {
    const interface_row *row = interfaces_find(if_index);
    if (row == nullptr || !row->has_mac || (row->vdc_id != 0 && row->vdc_id != vdc_id) ||
        (row->type == IF_TYPE_SVI) != vlan)
        return ENOENT;
    std::memcpy(mac, row->mac, sizeof row->mac);
    return 0;
}

int ethpm_gldb_get_interface_router_mac(uint32_t if_index, uint32_t vdc_id, uint8_t mac[6]) {
    return router_mac(if_index, vdc_id, false, mac);
}

int svi_gldb_get_interface_router_mac(uint32_t if_index, uint32_t vdc_id, uint8_t mac[6]) {
    return router_mac(if_index, vdc_id, true, mac);
}
