/* Consistency checks: what the supervisor names, against the model and the engine. */
#include "tests/ufib/check_rig.h"
#include "tests/ufib/vobj_rig.h"
#include "ufib/ufib_consistency_names.h"
#include "ufib/ufib_hooks.h"

constexpr uint8_t END = 0x02;

struct consistency : check_test {
    uint32_t opcode() const { return f.index == 0 ? 1119 : 1123; }
    size_t width() const { return f.index == 0 ? 4 : 16; }
    /* A report as "inconsistent missing table [last]: flags prefix ..."; rows of adjacencies as "if_index address". */
    std::string report(const std::string &hex, bool routes) const {
        const bytes in = bytes_from_hex(hex);
        const auto number = [&in](size_t at, size_t size) {
            uint32_t value = 0;
            for (size_t i = at; i < at + size; i++) value = value << 8 | in.at(i);
            return value;
        };
        char text[80];
        std::snprintf(text, sizeof text, "%u %u %x%s:", number(0, 2), number(2, 2), number(4, 4),
                      in.at(9) == 1 ? " last" : "");
        EXPECT_EQ(in.at(8), 3u) << "the slot";
        EXPECT_EQ((in.size() - 10) / (4 + width()), number(0, 2) + number(2, 2));
        std::string out = text;
        for (size_t at = 10; at < in.size(); at += 4 + width()) {
            const bytes address(in.begin() + static_cast<long>(at + 4),
                                in.begin() + static_cast<long>(at + 4 + width()));
            const ufib_family &family = ufib_families[f.index];
            if (routes)
                std::snprintf(text, sizeof text, " %02x %s", in[at],
                              ufib_prefix_str(family, address.data(), in[at + 1]));
            else
                std::snprintf(text, sizeof text, " %x %s", number(at, 4),
                              ufib_addr_str(family, address.data()));
            out += text;
        }
        return out;
    }
    lines reports(const lines &answers, bool routes = true) const {
        lines out;
        for (const std::string &hex : answers) out.push_back(report(hex, routes));
        return out;
    }
    lines check(const std::vector<wire_route> &routes, uint8_t flags = END, unsigned version = 1) {
        return reports(ask(opcode(), batch(f, version, routes, flags), version));
    }
    std::string table_hex() const {
        char text[16];
        std::snprintf(text, sizeof text, "%x", f.table);
        return text;
    }
    std::string last(const std::string &counts, const std::string &rows = "") const {
        return counts + " " + table_hex() + " last:" + rows;
    }
    std::string p(const char *flags, const char *prefix) const {
        return std::string(" ") + flags + " " + prefix;
    }
    lines check_adjs(const std::vector<wire_neighbour> &rows, bool end = true) {
        std::vector<wire_neighbour> marked = rows;
        for (wire_neighbour &row : marked) row.flags |= 0x08;
        const uint8_t last_flag = f.index == 0 ? 0x01 : 0x10;
        return reports(ask(OPC_AM_NOTICE, wire_am_notice(marked, end ? last_flag : 0)), false);
    }
};
INSTANTIATE_TEST_SUITE_P(both, consistency, both_families, family_name);

TEST_P(consistency, routes_on_both_sides_give_no_row_and_leave_no_mark) {
    wire_route group = add(f, f.prefix2);
    group.hops.push_back({.address = f.hop2, .if_index = ETH2});
    const std::vector<wire_route> all = {add(f, f.prefix), group, add(f, f.prefix3, "", ETH1, 0x04)};
    ASSERT_TRUE(load(f, all));
    for (const unsigned version : {0u, 1u}) {
        EXPECT_EQ(check({all[0]}, 0, version), lines{}) << "nothing to report yet";
        EXPECT_NE(prefix(f.prefix)->tag_flags, 0u);
        EXPECT_EQ(check({all[1], all[2]}, END, version), lines{last("0 0")});
        EXPECT_EQ(prefix(f.prefix)->tag_flags, 0u);
        EXPECT_EQ(adj(f.hop)->flags & (UFIB_ADJ_ROUTE_SEEN | UFIB_ADJ_CONSISTENCY), 0u);
    }
    EXPECT_EQ(check({all[0]}), lines{last("0 2", p("0c", f.prefix2) + p("0c", f.prefix3))})
        << "known here, not there";
    EXPECT_EQ(check({all[0], all[1], remove(f, f.prefix3)}), lines{last("0 1", p("0c", f.prefix3))})
        << "a delete names nothing";
    EXPECT_EQ(stats(f).consistency_checks, 6u);
}

TEST_P(consistency, rows_are_these_bytes) {
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    const std::string table = f.index == 0 ? "00000001" : "80000001";
    const std::string known = f.index == 0 ? "0c100000" : "0c300000",
                      unknown = f.index == 0 ? "80100000" : "80300000";
    const auto address = [this](const std::string &text) {
        return address_hex(text.substr(0, text.find('/')), width());
    };
    EXPECT_EQ(ask(opcode(), batch(f, 1, {add(f, f.prefix2)}, END)),
              lines{"00010001" + table + "0301" + unknown + address(f.prefix2) + known + address(f.prefix)});
}

/* Everything that may be wrong with a route, as the supervisor tells it or as the engine has it. */
TEST_P(consistency, routes_that_differ_give_a_row_that_says_how) {
    const wire_route plain = add(f, f.prefix), other = add(f, f.prefix, f.hop2);
    wire_route two = plain, same_twice = plain, wrong_port = add(f, f.prefix, "", ETH2);
    two.hops.push_back({.address = f.hop2, .if_index = ETH1});
    same_twice.hops.push_back(same_twice.hops[0]);
    wire_route reversed = two, bad_opcode = plain, too_long = plain, platforms = plain;
    std::swap(reversed.hops[0], reversed.hops[1]);
    bad_opcode.opcode = 9;
    platforms.extended = 0x4;
    const struct {
        const char *name;
        wire_route here, there;
        int damage; /* softfwd_damage, or -1 */
        const char *flags;
    } rows[] = {{"as it is", plain, plain, -1, ""},
                {"another next hop", plain, other, -1, "40"},
                {"on another interface", plain, wrong_port, -1, "40"},
                {"another number", plain, two, -1, "40"},
                {"fewer", two, plain, -1, "40"},
                {"twice the same", plain, same_twice, -1, ""},
                {"in another order", two, reversed, -1, ""},
                {"drop there", plain, add(f, f.prefix, "", ETH1, 0x04), -1, "40"},
                {"drop here", add(f, f.prefix, "", ETH1, 0x04), plain, -1, "40"},
                {"local", add(f, f.prefix, "", ETH1, 0x02), add(f, f.prefix, "", ETH1, 0x02), -1, ""},
                {"recursive there", plain, add(f, f.prefix, "", ETH1, 0x20), -1, "82"},
                {"an unknown opcode", plain, bad_opcode, -1, "80"},
                {"the engine has another address", plain, plain, SOFTFWD_DAMAGE_ADDRESS, "10"},
                {"it leads elsewhere", plain, plain, SOFTFWD_DAMAGE_NEXT, "10"},
                {"where the platform decides", plain, platforms, SOFTFWD_DAMAGE_NEXT, ""},
                {"both", plain, other, SOFTFWD_DAMAGE_NEXT, "50"}};
    for (const auto &row : rows)
        for (const unsigned version : {0u, 1u}) {
            if (version == 0 && (row.there.extended || row.name == std::string("recursive there"))) continue;
            ASSERT_TRUE(load(f, {row.here})) << row.name;
            const uint32_t handle = prefix(f.prefix)->obj.handle;
            if (row.damage >= 0) {
                ASSERT_TRUE(softfwd_damage_entry(static_cast<softfwd_damage>(row.damage), handle));
            }
            const std::string wrong = row.flags;
            EXPECT_EQ(
                check({row.there}, END, version),
                lines{wrong.empty() ? last("0 0") : last("1 1", p(row.flags, f.prefix) + p("0c", f.prefix))})
                << row.name << ", version " << version;
            if (row.damage >= 0) (void)softfwd_damage_entry(static_cast<softfwd_damage>(row.damage), handle);
            ASSERT_TRUE(load(f, {remove(f, f.prefix)}));
        }
}

TEST_P(consistency, a_prefix_that_only_a_label_holds_has_no_handle) {
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    ufib_pfx *pfx = prefix(f.prefix);
    pfx->holders |= UFIB_HOLDER_FEC;
    ASSERT_TRUE(load(f, {remove(f, f.prefix)}));
    EXPECT_EQ(check({add(f, f.prefix2)}), lines{last("1 1", p("80", f.prefix2) + p("08", f.prefix))});
    EXPECT_EQ(check({add(f, f.prefix)}), lines{last("1 1", p("40", f.prefix) + p("08", f.prefix))});
    pfx->map_cache = 1;
    EXPECT_EQ(check({add(f, f.prefix)}), lines{last("1 0", p("80", f.prefix))}) << "another cache's";
    pfx->map_cache = 0;
    pfx->holders = 0;
    ASSERT_TRUE(load(f, {remove(f, f.prefix)}));
}

TEST_P(consistency, recursive_routes_are_compared_by_the_rows_of_their_object) {
    const char *const end = f.index == 0 ? "198.51.100.1" : "2001:db8:ff::1";
    const std::string end_prefix = std::string(end) + (f.index == 0 ? "/32" : "/128");
    wire_route over = add(f, end_prefix, "", ETH1, RECURSIVE_ROUTE), through = add(f, f.prefix, end, 0);
    through.hops[0].flags = RECURSIVE_HOP;
    through.hops[0].table_id = f.table;
    wire_route labelled = through, backup = through;
    labelled.hops[0].labels = {77};
    backup.hops[0].flags |= BACKUP_HOP;
    ASSERT_TRUE(load(f, {through}));
    EXPECT_EQ(check({through}), lines{last("0 1", p("0a", end_prefix.c_str()))})
        << "only the object asked for it";
    ASSERT_TRUE(load(f, {over}));
    EXPECT_EQ(check({over, through}), lines{last("0 0")});
    EXPECT_EQ(check({over, labelled}), lines{last("1 1", p("40", f.prefix) + p("0c", f.prefix))});
    EXPECT_EQ(check({over, backup}), lines{last("1 1", p("40", f.prefix) + p("0c", f.prefix))});
    wire_route elsewhere = over;
    elsewhere.hops[0].address = f.hop2;
    EXPECT_EQ(check({through, elsewhere}, 0), lines{});
    const ufib_obj *next = prefix(f.prefix)->obj.next;
    EXPECT_EQ(reinterpret_cast<const ufib_vobj *>(next)->flags & 3, 1u) << "found right, so far";
    EXPECT_EQ(check({labelled}),
              lines{last("2 2", p("42", end_prefix.c_str()) + p("40", f.prefix) + p("0a", end_prefix.c_str()))
                        .replace(0, 3, "2 1")});
    EXPECT_EQ(reinterpret_cast<const ufib_vobj *>(next)->flags & 3, 0u) << "the end takes the marks";
}

TEST_P(consistency, a_report_holds_150_rows_and_one_table) {
    std::vector<wire_route> many;
    for (unsigned i = 0; i < 151; i++) {
        char text[64];
        std::snprintf(text, sizeof text, f.index == 0 ? "20.0.%u.0/24" : "2001:db8:1%02x::/48", i);
        many.push_back(add(f, text));
    }
    ASSERT_TRUE(load(f, many));
    lines out = check({add(f, f.prefix)});
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0].substr(0, 5), "1 149");
    EXPECT_EQ(out[1].substr(0, 3), "0 2");
    wire_route second = add(f, f.prefix2);
    second.table_id = f.table + 6;
    out = check({add(f, f.prefix), second, add(f, f.prefix3)}, 0);
    char other[80];
    std::snprintf(other, sizeof other, "1 0 %x:", f.table + 6);
    EXPECT_EQ(out, (lines{"1 0 " + table_hex() + ":" + p("80", f.prefix), other + p("80", f.prefix2)}));
    out = check({second});
    EXPECT_EQ(
        out, (lines{"1 0 " + table_hex() + ":" + p("80", f.prefix3),
                    std::string(other).insert(std::string(other).size() - 1, " last") + p("80", f.prefix2)}));
    EXPECT_TRUE(rig.log_has("Failed to find table"));
}

TEST_P(consistency, a_table_that_is_not_needed_or_not_the_batchs_is_not_walked) {
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    char wildcard[16];
    std::snprintf(wildcard, sizeof wildcard, "%x", f.wildcard);
    EXPECT_EQ(check({add(f, f.prefix2, "", ETH1, 0x84)}, END, 0),
              lines{std::string("1 0 ") + wildcard + " last:" + p("80", f.prefix2)});
    EXPECT_TRUE(rig.log_has(std::string("route_cc_info->hdr.table_id != table->table_idimplies bug in ") +
                            f.name + " CC code"));
    EXPECT_EQ(check({add(f, f.prefix2, "", ETH1, 0x84)}),
              lines{std::string("1 0 ") + wildcard + " last:" + p("80", f.prefix2)})
        << "version 1 has the table of the last record";
    const wire_route unneeded = add(f, f.prefix2);
    softfwd_config_get()->tables_not_required = 1u << 1;
    EXPECT_EQ(check({unneeded}), lines{last("0 0")});
    wire_route unknown = unneeded;
    unknown.table_id = f.table + 6;
    EXPECT_EQ(check({unknown}).size(), 1u);
    EXPECT_FALSE(rig.log_has("Failed to find table")) << "it is not looked for";
    bytes broken = batch(f, 1, {unneeded}, END);
    broken[17 + 22] = 26; /* a record shorter than its fixed part */
    EXPECT_EQ(reports(ask(opcode(), broken)), lines{last("0 0")}) << "nor are its routes, read or not";
    softfwd_config_get()->tables_not_required = 0;
    wire_route gone = remove(f, f.prefix2);
    broken = batch(f, 1, {gone}, END);
    broken[17 + 22] = 26;
    EXPECT_EQ(reports(ask(opcode(), broken)), lines{last("0 1", p("0c", f.prefix))}) << "nor is a delete";
}

/* Its routes lead to what the owner has, whoever asks. */
TEST_P(consistency, a_shared_wildcard_table_of_another_vdc_agrees) {
    softfwd_config_get()->shared_wildcard_tables = true;
    rig.vdc(2);
    const std::vector<wire_route> drop = {add(f, f.prefix, "", ETH1, 0x84)};
    ASSERT_TRUE(load(f, drop));
    rig.send(OPC_VDC_DELETE, wire_vdc(1));
    rig.vdc(1);
    char wildcard[32];
    std::snprintf(wildcard, sizeof wildcard, "0 0 %x last:", f.wildcard);
    EXPECT_EQ(check(drop), lines{wildcard});
}

TEST_P(consistency, batches_that_cannot_be_read_are_survived_and_answered) {
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    for (const unsigned version : {0u, 1u}) {
        const bytes good = batch(f, version, {add(f, f.prefix)}, END);
        const size_t header = version == 0 ? 20 : 17;
        for (size_t size = 0; size < good.size(); size++) {
            const lines out = ask(opcode(), bytes(good.begin(), good.begin() + static_cast<long>(size)),
                                  version, size < header ? 16 : 0);
            ASSERT_EQ(out.size(), size < header ? 0u : 1u) << size;
            const size_t fixed = version == 0 ? (f.index == 0 ? 16 : 28) : 27;
            if (size < header) continue;
            EXPECT_EQ(report(out[0], true).substr(0, 3), size >= header + fixed ? "1 1"
                                                         : version == 0         ? "0 1"
                                                                                : "0 0")
                << size;
        }
        bytes empty = batch(f, version, {}, END);
        if (version == 0) std::fill(empty.begin() + 4, empty.begin() + 8, uint8_t{0});
        EXPECT_EQ(reports(ask(opcode(), empty, version)), lines{"0 0 0 last:"}) << "nothing and no table";
    }
    EXPECT_TRUE(rig.log_has("route update hdr error 00"));
    EXPECT_TRUE(rig.log_has("Failed to parse the route buffer for nh info"));
    EXPECT_GT(stats(f).malformed_records, 40u);
    bytes hop = batch(f, 1, {add(f, f.prefix)}, END);
    hop[17 + 27 + 7] = 200; /* the next hop's element is longer than the route */
    EXPECT_EQ(reports(ask(opcode(), hop)), lines{last("1 1", p("80", f.prefix) + p("0c", f.prefix))});
    lcfwd_vdc_row(1)->ufib_state = 2;
    EXPECT_EQ(check({add(f, f.prefix)}), lines{}) << "not during an upgrade";
    lcfwd_vdc_row(1)->ufib_state = 4;
}

TEST_P(consistency, rows_of_a_sender_are_not_told_to_another) {
    EXPECT_EQ(check({add(f, f.prefix)}, 0), lines{});
    mts_msg another = {};
    another.source = {77, 78};
    ufib_cc_response *rows = ufib_cc_response_of(vdc(), af(), true, &another);
    EXPECT_EQ(rows->inconsistent, 0u);
    EXPECT_EQ(check({}, END, 0), lines{"0 0 " + table_hex() + " last:"});
}

/* ---- adjacencies ---- */

static constexpr const char *MAC = "0200000000aa";

TEST_P(consistency, adjacencies_are_compared_and_the_unnamed_reported) {
    neighbour({f.hop, ETH1, MAC});
    neighbour({f.hop2, ETH1, MAC, 0x04});
    const std::string none = "0 0 0 last:", one = std::string("1 0 0 last: 1a010001 ") + f.hop;
    const wire_neighbour second = {f.hop2, ETH1, MAC, 0x04};
    const struct {
        const char *name;
        std::vector<wire_neighbour> there;
        std::string report;
    } rows[] = {
        {"as it is", {{f.hop, ETH1, MAC}, second}, none},
        {"another MAC", {{f.hop, ETH1, "0200000000bb"}, second}, one},
        {"a gateway", {{f.hop, ETH1, MAC, 0x04}, second}, one},
        {"not resolved", {{f.hop, ETH1}, second}, one},
        {"not named", {second}, std::string("0 1 0 last: 1a010001 ") + f.hop},
        {"unknown",
         {{f.hop, ETH1, MAC}, second, {f.hop, ETH2, MAC}},
         std::string("1 0 0 last: 1a010002 ") + f.hop},
        {"unknown and not resolved", {{f.hop, ETH1, MAC}, second, {f.hop, ETH2}}, none},
    };
    for (const auto &row : rows) EXPECT_EQ(check_adjs(row.there), lines{row.report}) << row.name;
    EXPECT_EQ(adj(f.hop)->flags & UFIB_ADJ_CONSISTENCY, 0u);

    EXPECT_EQ(check_adjs({{f.hop, ETH1, MAC}}, false), lines{});
    EXPECT_NE(adj(f.hop)->flags & UFIB_ADJ_CONSISTENCY, 0u);
    neighbour({f.hop, ETH1, MAC});
    EXPECT_EQ(adj(f.hop)->flags & UFIB_ADJ_CONSISTENCY, 0u) << "a notice takes the mark";
    ASSERT_TRUE(softfwd_damage_entry(SOFTFWD_DAMAGE_MAC, adj(f.hop)->obj.handle));
    EXPECT_EQ(check_adjs({{f.hop, ETH1, MAC}, second}), lines{one}) << "the engine has another MAC";
    (void)softfwd_damage_entry(SOFTFWD_DAMAGE_MAC, adj(f.hop)->obj.handle);
}

/* What the label side will have: objects of other types than the unicast side's. */
static ufib_obj foreign[2] = {{UFIB_OBJ_MPLS_TE, 900, nullptr}, {UFIB_OBJ_MPLS_ADJ, 901, nullptr}};
static const ufib_obj *base_of_label;

TEST_P(consistency, next_objects_of_other_sides_are_compared_by_their_hooks) {
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    ufib_pfx *pfx = prefix(f.prefix);
    ufib_obj *real = pfx->obj.next;
    base_of_label = real;
    softfwd_config_get()->consistency_always_good = true;
    ufib_hook.te_if_index = [](const ufib_obj *) { return ETH2; };
    ufib_hook.label_base = [](const ufib_obj *) { return base_of_label; };
    const std::string wrong = last("1 1", p("40", f.prefix) + p("0c", f.prefix));
    const struct {
        uint32_t type, if_index;
        std::string report;
        const char *log;
    } rows[] = {{UFIB_OBJ_MPLS_TE, ETH2, last("0 0"), ""},
                {UFIB_OBJ_MPLS_TE, ETH1, wrong,
                 "mismatch in if_index for te: from fib sw:1a010002 from rib update:1a010001"},
                {UFIB_OBJ_MPLS_TE_ADJ, ETH1, wrong,
                 "mismatch in if_index for te_rel: from fib sw:1a010002 from rib update:1a010001"},
                {UFIB_OBJ_MPLS_ADJ, ETH1, last("0 0"), ""},
                {UFIB_OBJ_MPLS_ADJ, ETH2, wrong, ""},
                {UFIB_OBJ_LISP_ENCAP, ETH1, wrong, "unhandled next object type 11"}};
    for (const auto &row : rows) {
        foreign[0].type_refs = row.type;
        pfx->obj.next = &foreign[0];
        EXPECT_EQ(check({add(f, f.prefix, "", row.if_index)}), lines{row.report}) << row.type;
        pfx->obj.next = real;
        EXPECT_TRUE(rig.log_has(row.log)) << row.log;
    }
}
