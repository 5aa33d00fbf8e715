#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/engine_reader.h"
#include "tools/lcfwdctl/options.h"
#include "tools/lcfwdctl/route_options.h"
#include "tools/lcfwdctl/table.h"

#include "host/address/address.h"
#include "softfwd/softfwd_rpf_check.h"

#include <cstring>

struct lookup_plan {
    struct question {
        const char *text;
        address_family family;
        uint8_t address[16];
    };
    std::vector<question> questions;
    uint32_t tables[2];
    bool of_flow; /* the source's family is the address's */
    address_family flow_family;
    softfwd_flow flow;
    uint32_t in; /* the interface that the flow's packets come in by; 0: not told */
    ctl_table output;
};

static std::vector<ctl_cell> answer_row(uint32_t slot, const lookup_plan::question &asked,
                                        const softfwd_result &result) {
    char if_index[16];
    snprintf(if_index, sizeof if_index, "0x%08x", result.hop.if_index);
    const std::string prefix =
        ctl_engine_address(asked.family, result.prefix) + "/" + std::to_string(result.hop.mask_len);
    const bool found = result.hop.action != SOFTFWD_NO_ROUTE, forwards = result.hop.action == SOFTFWD_FORWARD;
    return {slot,
            asked.text,
            softfwd_action_name(result.hop.action),
            found ? prefix : "-",
            found ? ctl_engine_address(result.next_hop_family, result.next_hop) : "-",
            found ? if_index : "-",
            forwards ? mac_addr_str(result.dmac) : "-",
            result.hop.members == 0 ? std::string("-") : std::to_string(result.next_handle),
            result.hop.members == 0
                ? std::string("-")
                : std::to_string(result.hop.member) + " of " + std::to_string(result.hop.members)};
}

static int ask(softfwd_reader *reader, const lookup_plan &plan, const lookup_plan::question &asked,
               softfwd_result *result) {
    const uint32_t table = plan.tables[asked.family == ADDRESS_FAMILY_V6];
    if (!plan.of_flow || plan.flow_family != asked.family)
        return softfwd_lookup(reader, asked.family, ctl.vdc, table, asked.address, result);
    softfwd_flow flow = plan.flow;
    memcpy(flow.destination, asked.address, sizeof flow.destination);
    return softfwd_lookup_flow(reader, asked.family, ctl.vdc, table, &flow, result);
}

/* Whether the reverse-path check of the interface lets the flow's source pass. */
static int check_source(softfwd_reader *reader, const lookup_plan &plan, const lookup_plan::question &asked,
                        bool *fails) {
    *fails = false;
    if (plan.in == 0 || plan.flow_family != asked.family) return 0;
    softfwd_rpf_result result{};
    const int error =
        softfwd_rpf_check(reader, asked.family, ctl.vdc, plan.tables[asked.family == ADDRESS_FAMILY_V6],
                          plan.in, plan.flow.source, &result);
    *fails = error == 0 && result.verdict == SOFTFWD_RPF_FAIL;
    return error;
}

/* "SOURCE,SOURCE-PORT,PORT,PROTOCOL", the protocol by number or as tcp, udp. */
static bool flow_parse(const std::string &text, lookup_plan *plan) {
    std::vector<std::string> words(1);
    for (const char c : text) {
        if (c == ',')
            words.emplace_back();
        else
            words.back() += c;
    }
    if (words.size() != 4) return false;
    uint32_t source_port, destination_port, protocol;
    if (words[3] == "tcp" || words[3] == "udp")
        protocol = words[3] == "tcp" ? 6 : 17;
    else if (!ctl_number_parse(words[3].c_str(), 0, UINT8_MAX, &protocol))
        return false;
    if (address_parse(words[0].c_str(), &plan->flow_family, plan->flow.source) != 0 ||
        !ctl_number_parse(words[1].c_str(), 0, UINT16_MAX, &source_port) ||
        !ctl_number_parse(words[2].c_str(), 0, UINT16_MAX, &destination_port))
        return false;
    plan->flow.source_port = static_cast<uint16_t>(source_port);
    plan->flow.destination_port = static_cast<uint16_t>(destination_port);
    plan->flow.protocol = static_cast<uint8_t>(protocol);
    return true;
}

static int work(uint32_t slot, softfwd_reader *reader, void *context) {
    auto *plan = static_cast<lookup_plan *>(context);
    int status = CTL_GOOD;
    for (const lookup_plan::question &asked : plan->questions) {
        softfwd_result result{};
        bool fails = false;
        int error = ask(reader, *plan, asked, &result);
        if (error == 0) error = check_source(reader, *plan, asked, &fails);
        if (error != 0) return ctl_engine_failure(slot, error);
        if (result.hop.action == SOFTFWD_NO_ROUTE) status = CTL_REFUSED;
        plan->output.rows.push_back(answer_row(slot, asked, result));
        if (fails) plan->output.rows.back()[2] = "rpf drop";
    }
    return status;
}

static int run(int argc, char **argv) {
    lookup_plan plan{};
    ctl_route_options options;
    bool counting = false;
    std::string flow;
    const ctl_option rows[] = {ctl_text("--flow", &flow, &plan.of_flow),
                               ctl_number("--in", &plan.in, 1, UINT32_MAX),
                               ctl_number("--table", &options.table, 0, UINT32_MAX, &options.table_given),
                               ctl_flag("--count", &counting)};
    std::vector<const char *> words;
    if (const int status = ctl_options_parse(rows, argc, argv, &words); status != CTL_GOOD) return status;
    if (const int status = ctl_route_options_finish(&options); status != CTL_GOOD) return status;
    if (words.empty() || (plan.in != 0 && !plan.of_flow)) {
        ctl_error("usage: lcfwdctl lookup ADDRESS... [--flow FLOW [--in IF_INDEX]]");
        return CTL_USAGE;
    }
    if (plan.of_flow && !flow_parse(flow, &plan)) {
        ctl_error("\"%s\" is no SOURCE,SOURCE-PORT,PORT,PROTOCOL", flow.c_str());
        return CTL_USAGE;
    }
    for (const char *word : words) {
        lookup_plan::question asked{word, ADDRESS_FAMILY_NONE, {}};
        if (address_parse(word, &asked.family, asked.address) != 0) {
            ctl_error("\"%s\" is no address", word);
            return CTL_USAGE;
        }
        plan.questions.push_back(asked);
    }
    plan.tables[0] = options.tables[0];
    plan.tables[1] = options.tables[1];
    plan.output.columns = {"slot",     "address", "action", "prefix", "next_hop",
                           "if_index", "mac",     "group",  "member"};
    const int status = ctl_engine_for_each_slot(counting, work, &plan);
    if (status != CTL_UNREACHABLE || !plan.output.rows.empty()) ctl_table_print(plan.output);
    return status;
}

const ctl_command ctl_command_lookup = {
    "lookup", "ADDRESS... [--table ID] [--flow FLOW [--in IF_INDEX]] [--count]",
    "ask the forwarding engine for addresses",
    "Asks the forwarding engine, in shared memory and without disturbing the process, what a packet to each "
    "address\n"
    "gets: forward, glean (next hop not resolved), punt, drop or no_route. Exit code 1 when an address has "
    "no route.\n\n"
    "  --table ID       table (default 1): ID for IPv4 and ID + 0x80000000 for IPv6\n"
    "  --flow FLOW      of a packet of this flow, for routes with several paths: "
    "SOURCE,SOURCE-PORT,PORT,PROTOCOL\n"
    "                   (protocol: tcp, udp or a number); without it all packets to one address take one "
    "path\n"
    "  --in IF_INDEX    the flow's packets come in there: what its reverse-path check drops is \"rpf drop\"\n"
    "  --count          count the look-ups as packets\n\n"
    "Examples:\n"
    "  lcfwdctl lookup 192.0.2.1 2001:db8::1\n"
    "  lcfwdctl lookup 192.0.2.1 --flow 198.51.100.7,40000,443,tcp\n"
    "  lcfwdctl lookup 192.0.2.1 --flow 198.51.100.7,40000,443,tcp --in 0x1a000001\n"
    "  lcfwdctl lookup 192.0.2.1 --table 7 --vdc 2 --json\n",
    run};
