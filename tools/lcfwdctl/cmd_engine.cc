#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/engine_reader.h"
#include "tools/lcfwdctl/engine_try.h"
#include "tools/lcfwdctl/options.h"
#include "tools/lcfwdctl/table.h"

#include "host/address/address.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

struct engine_plan {
    ctl_table output;
    uint32_t table = 0;
    bool table_given = false;
    uint32_t limit = 0; /* rows; 0 = no limit */
};

static std::string hex32(uint32_t value) {
    char text[16];
    snprintf(text, sizeof text, "0x%08x", value);
    return text;
}

/* A walk that has come to its end has no fault. */
static int walk_status(uint32_t slot, int error) {
    return error == 0 || error == ENOENT ? CTL_GOOD : ctl_engine_failure(slot, error);
}

static int show_figures(uint32_t slot, softfwd_reader *reader, void *context) {
    auto *plan = static_cast<engine_plan *>(context);
    softfwd_reader_stats stats{};
    const int error = softfwd_reader_statistics(reader, &stats);
    if (error != 0) return ctl_engine_failure(slot, error);
    const softfwd_counters &c = stats.counters;
    const struct {
        const char *name;
        uint64_t value;
    } figures[] = {{"writer_pid", stats.writer_pid},
                   {"generation", stats.generation},
                   {"bracket", stats.bracket},
                   {"readers", stats.readers},
                   {"tables", stats.tables},
                   {"v4_prefixes", stats.v4_prefixes},
                   {"v6_prefixes", stats.v6_prefixes},
                   {"adjacencies", stats.adjacencies},
                   {"groups", stats.groups},
                   {"trie_bytes", stats.trie_bytes},
                   {"entry_bytes", stats.entry_bytes},
                   {"adjacency_bytes", stats.adj_bytes},
                   {"group_bytes", stats.group_bytes},
                   {"table_bytes", stats.table_bytes},
                   {"memory_bytes", stats.memory_bytes},
                   {"writes", c.writes},
                   {"installs", c.installs},
                   {"updates", c.updates},
                   {"removals", c.removals},
                   {"reattaches", c.reattaches},
                   {"failures", c.failures},
                   {"late_failures", c.late_failures},
                   {"key_differences", c.key_differences},
                   {"content_differences", c.content_differences},
                   {"brackets", c.brackets},
                   {"violations", c.violations},
                   {"grace_delays", c.grace_delays}};
    for (const auto &figure : figures) plan->output.rows.push_back({slot, figure.name, figure.value});
    return CTL_GOOD;
}

static int show_tables(uint32_t slot, softfwd_reader *reader, void *context) {
    auto *plan = static_cast<engine_plan *>(context);
    softfwd_table_info table{};
    int error = 0;
    while ((error = softfwd_reader_table_next(reader, &table)) == 0)
        plan->output.rows.push_back({slot, table.vdc_id, table.table_id, hex32(table.table_id),
                                     table.family == ADDRESS_FAMILY_V4 ? "ipv4" : "ipv6", table.route_count,
                                     table.handle});
    return walk_status(slot, error);
}

static std::vector<ctl_cell> prefix_row(uint32_t slot, const softfwd_table_info &table,
                                        const softfwd_prefix_info &prefix) {
    const std::string text =
        ctl_engine_address(table.family, prefix.address) + "/" + std::to_string(prefix.mask_len);
    return {slot,          table.vdc_id,       table.table_id,      text,
            prefix.handle, prefix.next_handle, hex32(prefix.flags), prefix.hit != 0};
}

static int show_prefixes(uint32_t slot, softfwd_reader *reader, void *context) {
    auto *plan = static_cast<engine_plan *>(context);
    softfwd_table_info table{};
    int error = 0;
    while ((error = softfwd_reader_table_next(reader, &table)) == 0) {
        if (table.vdc_id != ctl.vdc || (plan->table_given && table.table_id != plan->table)) continue;
        softfwd_prefix_info prefix{};
        int end = 0;
        while ((plan->limit == 0 || plan->output.rows.size() < plan->limit) &&
               (end = softfwd_reader_prefix_next(reader, table.handle, &prefix)) == 0)
            plan->output.rows.push_back(prefix_row(slot, table, prefix));
        if (end != 0 && end != ENOENT) return ctl_engine_failure(slot, end);
    }
    return walk_status(slot, error);
}

/* "gre 192.0.2.1 to 192.0.2.2", or "-". */
static std::string tunnel_text(const softfwd_tunnel &tunnel) {
    if (tunnel.type == SOFTFWD_TUNNEL_NONE) return "-";
    const std::string source = ip_address_str(tunnel.source);
    return std::string(softfwd_tunnel_name(tunnel.type)) + " " + source + " to " +
           ip_address_str(tunnel.destination);
}

static int show_adjacencies(uint32_t slot, softfwd_reader *reader, void *context) {
    auto *plan = static_cast<engine_plan *>(context);
    softfwd_adj_info adj{};
    int error = 0;
    while ((plan->limit == 0 || plan->output.rows.size() < plan->limit) &&
           (error = softfwd_reader_adj_next(reader, &adj)) == 0)
        plan->output.rows.push_back(
            {slot, adj.vdc_id, adj.handle, hex32(adj.if_index), ctl_engine_address(adj.family, adj.next_hop),
             softfwd_action_name(adj.action), mac_addr_str(adj.dmac), mac_addr_str(adj.smac),
             tunnel_text(adj.tunnel), hex32(adj.flags), adj.packets, adj.bytes});
    return walk_status(slot, error);
}

/* A row for each member. */
static int show_groups(uint32_t slot, softfwd_reader *reader, void *context) {
    auto *plan = static_cast<engine_plan *>(context);
    softfwd_group_info group{};
    int error = 0;
    while ((plan->limit == 0 || plan->output.rows.size() < plan->limit) &&
           (error = softfwd_reader_group_next(reader, &group)) == 0)
        for (uint32_t i = 0; i < group.count; i++) {
            const softfwd_member_info &member = group.members[i];
            plan->output.rows.push_back({slot, group.vdc_id, group.handle,
                                         softfwd_group_origin_name(group.origin), group.id, i,
                                         member.adj_handle, member.label, member.packets, member.bytes});
        }
    return walk_status(slot, error);
}

static int show_writes(uint32_t slot, softfwd_reader *reader, void *context) {
    auto *plan = static_cast<engine_plan *>(context);
    std::vector<softfwd_log_entry> entries(SOFTFWD_LOG_ENTRIES);
    entries.resize(softfwd_reader_log(reader, 0, entries.data(), entries.size()));
    const size_t from = plan->limit != 0 && entries.size() > plan->limit ? entries.size() - plan->limit : 0;
    for (size_t i = from; i < entries.size(); i++)
        plan->output.rows.push_back({slot, entries[i].sequence, entries[i].bracket,
                                     softfwd_op_name(entries[i].op), softfwd_effect_name(entries[i].effect),
                                     entries[i].handle});
    return CTL_GOOD;
}

static const struct engine_view {
    const char *name;
    ctl_engine_work work;
    std::vector<const char *> columns;
} views[] = {
    {"figures", show_figures, {"slot", "figure", "value"}},
    {"tables", show_tables, {"slot", "vdc", "table", "table_hex", "family", "routes", "handle"}},
    {"prefixes", show_prefixes, {"slot", "vdc", "table", "prefix", "handle", "next_handle", "flags", "hit"}},
    {"adjacencies",
     show_adjacencies,
     {"slot", "vdc", "handle", "if_index", "next_hop", "action", "mac", "source_mac", "tunnel", "flags",
      "packets", "bytes"}},
    {"groups",
     show_groups,
     {"slot", "vdc", "handle", "origin", "id", "member", "adjacency", "label", "packets", "bytes"}},
    {"writes", show_writes, {"slot", "sequence", "bracket", "operation", "effect", "handle"}},
};

static int run(int argc, char **argv) {
    engine_plan plan;
    bool sure = false;
    const ctl_option rows[] = {ctl_number("--table", &plan.table, 0, UINT32_MAX, &plan.table_given),
                               ctl_number("--limit", &plan.limit, 1, UINT32_MAX),
                               ctl_flag("--damage-forwarding", &sure)};
    std::vector<const char *> words;
    if (const int status = ctl_options_parse(rows, argc, argv, &words); status != CTL_GOOD) return status;
    if (ctl_engine_tries(words)) return ctl_engine_try(words, sure);
    const char *wanted = words.empty() ? views[0].name : words[0];
    for (const engine_view &view : views) {
        if (words.size() > 1 || strcmp(view.name, wanted) != 0) continue;
        plan.output.columns = view.columns;
        const int status = ctl_engine_for_each_slot(false, view.work, &plan);
        if (status != CTL_UNREACHABLE || !plan.output.rows.empty()) ctl_table_print(plan.output);
        return status;
    }
    ctl_error("usage: lcfwdctl engine [figures|tables|prefixes|adjacencies|groups|writes]");
    return CTL_USAGE;
}

const ctl_command ctl_command_engine = {
    "engine", "[figures|tables|prefixes|adjacencies|groups|writes]",
    "tables and counters of the forwarding engine",
    "Shows what the forwarding engine holds, read from shared memory: its figures (default), tables, the "
    "prefixes of\n"
    "the context, adjacencies with their packet counters, groups that share load with those of each member, "
    "or "
    "the newest\n"
    "writes to its tables.\n\n"
    "  --table ID       prefixes: of this table only\n"
    "  --limit N        prefixes, adjacencies, groups: the first N; writes: the newest N\n\n"
    "  count HANDLE PACKETS [BYTES]   counts packets through an adjacency, for lcfwdctl stats\n"
    "  corrupt mac|address|next|host-bits HANDLE --damage-forwarding\n"
    "                   DAMAGES the entry of an adjacency (mac) or a prefix, so that lcfwdctl check has "
    "something to find;\n"
    "                   packets go wrong until the same command repairs it\n\n"
    "Examples:\n"
    "  lcfwdctl engine\n"
    "  lcfwdctl engine prefixes --table 1 --limit 20\n"
    "  lcfwdctl engine adjacencies --json\n",
    run};
