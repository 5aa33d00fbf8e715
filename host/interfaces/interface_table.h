/* host/interfaces/interface_table.h: the data behind this folder's calls. Inside host/interfaces only. */
#pragma once

#include "host/interfaces/interfaces.h"
#include "host/interfaces/l3vm.h"

#include <string>
#include <vector>

struct bridge_domain_row {
    uint32_t vdc_id;
    uint32_t vlan;
    uint32_t bridge_domain;
};

/* What a configuration file says. Interfaces are in the order of their index, contexts of VDC and name. */
struct interface_table {
    std::vector<interface_row> interfaces;
    std::vector<l3vm_context_info> contexts;
    std::vector<bridge_domain_row> bridge_domains;
};

/* The table in use, and the file it came from ("" = none). */
extern interface_table interfaces_table;
extern std::string interfaces_path;

void interface_table_set(interface_table *table, const interface_row &row);
void interface_table_set(interface_table *table, const l3vm_context_info &context);
void interface_table_set(interface_table *table, const bridge_domain_row &row);

/* The type that the numbering rule gives an index; IF_TYPE_UNKNOWN without one. */
int interface_rule_type(uint32_t if_index);

void im_reset();
void l3vm_reset();
