#include "tests/diag/show_rig.h"

#include "diag/show_params.h"
#include "host/address/address.h"
#include "softfwd/softfwd.h"
#include "softfwd/softfwd_config.h"

#include <cstring>
#include <utility>

/* Routes as operators see them: which ones, in which pieces, and what stands behind them; both families. */
struct route_show : vobj_test, testing::WithParamInterface<const family *> {
    route_show() { now = GetParam(); }
    uint32_t routes() const { return v4() ? CMD_SHOW_V4_ROUTES : CMD_SHOW_V6_ROUTES; }
    uint32_t stored() const { return v4() ? CMD_SHOW_V4_PSS_ROUTES : CMD_SHOW_V6_PSS_ROUTES; }
    show_answer ask(const std::vector<show_attr> &attrs = {}) { return show(&rig, routes(), attrs); }
    /* Prefixes of an answer in their order; 'first' of each pair of quotes behind the key. */
    static lines prefixes(const show_answer &answer) {
        static const std::string key = "\"prefix\":\"";
        lines out;
        for (size_t at = answer.json.find(key); at != std::string::npos; at = answer.json.find(key, at)) {
            at += key.size();
            out.push_back(answer.json.substr(at, answer.json.find('"', at) - at));
        }
        return out;
    }
    /* An address or prefix as it is shown: in its shortest form. */
    static std::string shown(const std::string &text) {
        const size_t slash = text.find('/');
        const bytes address = address_bytes(text.substr(0, slash));
        const std::string bits = slash == std::string::npos ? "" : text.substr(slash);
        return (address.size() == 4 ? text.substr(0, slash) : ipv6_addr_str(address.data())) + bits;
    }
    lines dests(const std::vector<unsigned> &numbers) const {
        lines out;
        for (const unsigned n : numbers) out.push_back(shown(dest(n)));
        return out;
    }
    /* Routes over direct next hops, in 'table_id' or the family's own. */
    void fill(unsigned first, unsigned last, uint32_t table_id = 0, uint8_t flags = 0) {
        for (unsigned n = first; n < last; n += 500) {
            std::vector<wire_route> batch;
            for (unsigned i = n; i < last && i < n + 500; i++) {
                batch.push_back(add(f(), dest(i), path(0), ETH1, flags));
                if (table_id != 0) batch.back().table_id = table_id;
            }
            ASSERT_TRUE(load(f(), batch));
        }
        fake_take();
    }
    static show_attr table_attr(uint32_t table_id) { return {CMD_ATTR_TABLE, be32(table_id)}; }
    static show_attr mode(uint8_t number) { return {CMD_ATTR_CLASS, {number}}; }
    show_attr hop(const std::string &address) const { return {CMD_ATTR_NEXT_HOP, address_bytes(address)}; }
    static std::vector<show_attr> one(const std::string &prefix, std::vector<show_attr> more = {}) {
        const size_t slash = prefix.find('/');
        more.push_back({CMD_ATTR_PREFIX, address_bytes(prefix.substr(0, slash))});
        more.push_back({CMD_ATTR_MASK_LENGTH, {static_cast<uint8_t>(std::stoul(prefix.substr(slash + 1)))}});
        return more;
    }
    void refused(const show_answer &answer, uint16_t code, const std::string &reason) {
        EXPECT_EQ(answer.kind, CMD_ANSWER_NOK) << reason;
        EXPECT_EQ(answer.code, code);
        EXPECT_EQ(answer.text, reason);
    }
};
INSTANTIATE_TEST_SUITE_P(, route_show, both_families, family_name);

TEST_P(route_show, comes_in_pieces_of_a_hundred) {
    fill(0, 250);
    const show_answer all = ask();
    EXPECT_EQ(all.kind, CMD_ANSWER_DONE);
    EXPECT_EQ(all.pieces, 3u);
    EXPECT_EQ(prefixes(all).size(), 250u);
    for (const unsigned n : {0u, 99u, 100u, 199u, 200u, 249u}) EXPECT_EQ(prefixes(all)[n], shown(dest(n)));
    EXPECT_EQ(times(all.text, "Next-hop "), 1u) << "heads once";
    EXPECT_NE(all.text.find("Prefixes shown: 250\n"), std::string::npos);

    const show_answer five = ask({{CMD_ATTR_LIMIT, be32(5)}});
    EXPECT_EQ(prefixes(five), dests({0, 1, 2, 3, 4}));
    EXPECT_EQ(five.pieces, 1u);
    EXPECT_EQ(five.text.find("Displaying upto 5 routes as requested by the user\n"), 0u);
    EXPECT_EQ(prefixes(ask({{CMD_ATTR_LIMIT, be32(120)}})).size(), 120u);

    /* What the cookie names goes, and something comes, before the next piece. */
    const show_answer first = show(&rig, routes(), {}, {}, 1);
    ASSERT_TRUE(load(f(), {remove(f(), dest(99)), remove(f(), dest(100)), add(f(), dest(300), path(0))}));
    const lines rest = prefixes(show(&rig, routes(), {}, first.cookie));
    EXPECT_EQ(rest.size(), 150u);
    EXPECT_EQ(rest.front(), shown(dest(101)));
}

/* A filter that lets nothing through looks at 2000 prefixes a piece, no more. */
TEST_P(route_show, a_filter_without_a_match_ends_its_pieces_too) {
    fill(0, 4500);
    const show_answer none = ask({mode(UFIB_SHOW_ADJ_DROP)});
    EXPECT_EQ(none.pieces, 3u);
    EXPECT_EQ(prefixes(none), lines());
    ASSERT_TRUE(load1(add(f(), dest(4400), path(0), ETH1, 4)));
    const show_answer late = ask({mode(UFIB_SHOW_ADJ_DROP)});
    EXPECT_EQ(prefixes(late), dests({4400}));
    EXPECT_EQ(times(late.text, "Next-hop "), 1u) << "heads, though the first piece has no row";
}

/* So does the work with routes of many paths. */
TEST_P(route_show, wide_routes_make_small_pieces) {
    std::vector<wire_route> wide;
    for (unsigned n = 0; n < 70; n++) {
        wide.push_back(add(f(), dest(n), path(0)));
        for (unsigned p = 1; p < 64; p++) wide.back().hops.push_back({.address = path(p), .if_index = ETH1});
    }
    for (const wire_route &route : wide) ASSERT_TRUE(load1(route));
    const show_answer all = ask();
    EXPECT_EQ(all.pieces, 3u);
    EXPECT_EQ(prefixes(all).size(), 70u);
    EXPECT_EQ(times(all.json, "\"if_index\""), 70u * 64);
}

TEST_P(route_show, modes_choose_by_path_and_state) {
    wire_route both = add(f(), dest(2), path(0), ETH1);
    both.hops.push_back({.address = path(2), .if_index = ETH2});
    ASSERT_TRUE(load(f(), {over(0, {0}), add(f(), dest(0), path(0), ETH1), add(f(), dest(1), path(1), ETH2),
                           both, add(f(), dest(3), path(3), ETH1, 4), add(f(), dest(4), path(4), ETH1, 2),
                           add(f(), dest(5), path(5), ETH1, 1), recursive(6, {through(0)})}));
    neighbour({path(0), ETH1, "020000000001"});
    const show_attr eth1 = {CMD_ATTR_IF_INDEX, be32(ETH1)}, eth2 = {CMD_ATTR_IF_INDEX, be32(ETH2)};
    const std::string inside = v4() ? "20.0.2.77/32" : "2001:db8:0:2::77/128";
    const struct {
        const char *name;
        std::vector<show_attr> attrs;
        std::vector<unsigned> want;
    } cases[] = {
        {"all", {mode(14)}, {0, 1, 2, 3, 4, 5, 6}},
        {"interface", {eth2}, {1, 2}},
        {"next hop", {hop(path(0))}, {0, 2, 6}},
        {"recursive next hop", {hop(rnh(0))}, {6}},
        {"adjacency", {hop(path(0)), eth1}, {0, 2, 6}},
        {"adjacency, none", {hop(path(0)), eth2}, {}},
        {"attached", {mode(UFIB_SHOW_ATTACHED)}, {5}},
        {"unresolved", {mode(UFIB_SHOW_UNRESOLVED)}, {1, 2}},
        {"drop", {mode(UFIB_SHOW_ADJ_DROP)}, {3}},
        {"glean", {mode(UFIB_SHOW_ADJ_GLEAN)}, {5}},
        {"punt", {mode(UFIB_SHOW_ADJ_PUNT)}, {4}},
        {"exact", one(dest(4)), {4}},
        {"longest", one(inside, {{CMD_ATTR_LONGEST, {}}}), {2}},
        {"longer", one(v4() ? "20.0.4.0/22" : "2001:db8:0:4::/62", {{CMD_ATTR_LONGER, {}}}), {4, 5, 6}},
        {"longer, from itself on", one(dest(6), {{CMD_ATTR_LONGER, {}}}), {6}},
    };
    for (const auto &row : cases) {
        const show_answer answer = ask(row.attrs);
        EXPECT_EQ(answer.kind, CMD_ANSWER_DONE) << row.name;
        EXPECT_EQ(prefixes(answer), dests(row.want)) << row.name;
    }
    EXPECT_EQ(prefixes(ask({{CMD_ATTR_RNH, {}}})), lines({shown(rnh_prefix(0))}));
}

TEST_P(route_show, detail_tells_why_a_route_forwards_where_it_does) {
    wire_hop hop = through(0);
    hop.xri = bytes(24, 0);
    hop.xri[19] = 65;
    hop.xri[23] = 66;
    ASSERT_TRUE(load(f(), {over(0, {0, 1}), recursive(0, {hop}), add(f(), dest(1), path(5), ETH2)}));
    neighbour({path(0), ETH1, "020000000001"});
    const show_answer answer = ask({{CMD_ATTR_DETAIL, {}}});
    const std::string vobj_id = std::to_string(vobj_of(0)->id);
    for (const std::string &text :
         {"Prefix " + shown(dest(0)) + ", No of paths: 1, Update time: ", std::string("Next object: vobj"),
          "   Vobj id: " + vobj_id + "   orig_as: 65   peer_as: 66\n",
          "   recursive " + shown(rnh_prefix(0)) + " in table ", std::string("resolved by ecmp\n"),
          "   via " + shown(path(0)) +
              ", interface Ethernet1/1, labels [], state resolved, rewrite [02:00:00:00:00:01]",
          "   via " + shown(path(5)) + ", interface Ethernet1/2, labels [], state glean, rewrite []"})
        EXPECT_NE(answer.text.find(text), std::string::npos) << text << "\n" << answer.text;
    EXPECT_EQ(answer.text.find("Next-hop "), std::string::npos) << "no columns";
    const show_answer brief = ask();
    EXPECT_NE(brief.json.find("\"vobj_id\":" + vobj_id), std::string::npos);
    EXPECT_NE(brief.json.find("\"rewrite\":\"02:00:00:00:00:01\""), std::string::npos);
}

/* The show checks the model: what is missing is said, and the walk goes on. */
TEST_P(route_show, a_missing_adjacency_is_an_error_line) {
    const std::pair<uint8_t, const char *> cases[] = {{4, "ERROR: MISSING DROP ADJACENCY\n"},
                                                      {2, "ERROR: MISSING PUNT ADJACENCY\n"},
                                                      {9, "ERROR: MISSING ATTACHED ADJACENCY\n"},
                                                      {0, "ERROR: MISSING ADJACENCY\n"}};
    for (const auto &[flags, text] : cases) {
        ASSERT_TRUE(load(f(), {add(f(), dest(0), path(0), ETH1, flags), add(f(), dest(1), path(1))}));
        rig.between_steps();
        ufib_pfx *pfx = find(dest(0), false);
        ufib_obj *next = std::exchange(pfx->obj.next, nullptr);
        for (const bool detail : {false, true}) {
            const show_answer answer =
                ask(detail ? std::vector<show_attr>{{CMD_ATTR_DETAIL, {}}} : std::vector<show_attr>{});
            EXPECT_EQ(times(answer.text, text), 1u) << answer.text;
            EXPECT_EQ(prefixes(answer), dests({0, 1}));
        }
        pfx->obj.next = next;
    }
}

TEST_P(route_show, tables_are_chosen_by_id_or_all) {
    const uint32_t second_table = f().table + 5;
    fill(0, 150);
    fill(0, 120, second_table);
    ASSERT_TRUE(load1(add(f(), dest(400), path(0), ETH1, 0x80))); /* in the wildcard table */
    EXPECT_EQ(prefixes(ask()).front(), shown(dest(400))) << "part of each view";
    EXPECT_EQ(prefixes(ask()).size(), 151u);
    EXPECT_EQ(prefixes(ask({table_attr(f().wildcard)})).size(), 1u);
    EXPECT_EQ(prefixes(ask({table_attr(second_table)})).size(), 121u);
    const show_attr everything = {CMD_ATTR_ALL_VRFS, {}};
    EXPECT_EQ(prefixes(ask({everything})).size(), 151u + 121u + 1u);
    EXPECT_EQ(prefixes(ask(one(dest(7), {everything}))).size(), 2u);
    EXPECT_EQ(prefixes(ask(one(dest(140), {everything}))).size(), 1u);

    /* The table where the walk stands goes before the next piece. */
    const show_answer begun = show(&rig, routes(), {everything}, {}, 2);
    ASSERT_EQ(begun.pieces, 2u);
    std::vector<wire_route> gone;
    for (unsigned n = 0; n < 120; n++) {
        gone.push_back(remove(f(), dest(n)));
        gone.back().table_id = second_table;
    }
    ASSERT_TRUE(load(f(), gone));
    rig.advance_seconds(10);
    EXPECT_LE(prefixes(show(&rig, routes(), {}, begun.cookie)).size(), 2u);

    refused(ask({table_attr(4711)}), 3, "table does not exist");
    refused(ask({table_attr(v4() ? v6_family.table : v4_family.table)}), 3, "table does not exist");
    refused(ask({{CMD_ATTR_VRF, {'n', 'o'}}}), 3, "table does not exist");
    EXPECT_EQ(prefixes(ask({{CMD_ATTR_VRF, {'d', 'e', 'f', 'a', 'u', 'l', 't'}}})).size(), 151u);
    ASSERT_TRUE(load1(remove(f(), dest(400), 0x80)));
    refused(ask({table_attr(f().wildcard)}), 4, "no routes in the table");
    char miss[64];
    std::snprintf(miss, sizeof miss, "no exact match in table %#x", f().table);
    refused(ask(one(dest(200))), 0, miss);
    std::snprintf(miss, sizeof miss, "no match in table %#x", f().table);
    refused(ask(one(dest(200), {{CMD_ATTR_LONGEST, {}}})), 0, miss);
    const show_answer tables = show(&rig, CMD_SHOW_TABLES);
    EXPECT_EQ(tables.kind, CMD_ANSWER_DONE);
    EXPECT_EQ(times(tables.json, "\"routes\":150"), 1u) << tables.text;
}

TEST_P(route_show, a_shared_wildcard_table_is_shown_once) {
    fill(0, 150, 0, 0x80);
    fill(0, 130);
    fake.optimize_wildcard = true;
    const show_answer all = ask({{CMD_ATTR_ALL_VRFS, {}}});
    EXPECT_EQ(all.pieces, 3u);
    EXPECT_EQ(prefixes(all).size(), 280u);
    EXPECT_EQ(prefixes(ask()).size(), 280u);
}

TEST_P(route_show, summary_counts_with_the_wildcard_table) {
    fill(0, 10);
    ASSERT_TRUE(load(f(), {add(f(), dest(400), path(0), ETH1, 0x80), remove(f(), dest(3))}));
    const std::string text = ask({mode(UFIB_SHOW_SUMMARY)}).text;
    for (const char *line : {"Cumulative route updates: 12\n", "Cumulative route inserts: 11\n",
                             "Cumulative route deletes: 1\n", "Total number of routes: 10\n",
                             "Total number of paths : 10\n", "Number of routes per mask-length:\n"})
        EXPECT_NE(text.find(line), std::string::npos) << line << text;
    EXPECT_NE(text.find(v4() ? "/24 : 10" : "/64 : 10"), std::string::npos) << text;
}

TEST_P(route_show, stored_routes_come_with_their_records) {
    fill(0, 120);
    ASSERT_TRUE(load(f(), {over(0, {0}), add(f(), dest(130), path(0), ETH1, 4)}));
    const show_answer all = show(&rig, stored());
    EXPECT_EQ(all.pieces, 2u);
    EXPECT_EQ(prefixes(all).size(), 121u);
    EXPECT_EQ(times(all.json, "\"error\""), 0u) << all.text;
    EXPECT_EQ(times(all.json, "\"flags\":4,"), 1u);
    EXPECT_NE(all.json.find("\"route_records\":121"), std::string::npos);
    EXPECT_NE(all.json.find("\"rnh_records\":1"), std::string::npos);
    const show_answer recursive_ones = show(&rig, stored(), {{CMD_ATTR_RNH, {}}});
    EXPECT_EQ(prefixes(recursive_ones), lines({shown(rnh_prefix(0))}));
    EXPECT_EQ(times(recursive_ones.json, "\"error\""), 0u);
    ufib_pfx *pfx = find(dest(130), false);
    const uint32_t handle = std::exchange(pfx->obj.handle, 0x7777u);
    EXPECT_EQ(times(show(&rig, stored()).text, "ERROR: MISSING RECORD\n"), 1u);
    pfx->obj.handle = 0;
    const uint8_t holders = std::exchange(pfx->holders, UFIB_HOLDER_FEC);
    EXPECT_EQ(times(show(&rig, stored()).text, "ERROR: "), 0u) << "what a label holds is in no record";
    pfx->holders = holders;
    pfx->obj.handle = handle;
}

TEST_P(route_show, attributes_of_a_wrong_length_are_refused) {
    fill(0, 1);
    const std::pair<uint16_t, std::vector<size_t>> good[] = {{CMD_ATTR_ALL_VRFS, {0}},
                                                             {CMD_ATTR_TABLE, {4}},
                                                             {CMD_ATTR_PREFIX, {v4() ? 4u : 16u}},
                                                             {CMD_ATTR_MASK_LENGTH, {1}},
                                                             {CMD_ATTR_LONGER, {0}},
                                                             {CMD_ATTR_LONGEST, {0}},
                                                             {CMD_ATTR_IF_INDEX, {4}},
                                                             {CMD_ATTR_NEXT_HOP, {v4() ? 4u : 16u}},
                                                             {CMD_ATTR_CLASS, {1}},
                                                             {CMD_ATTR_LIMIT, {4}},
                                                             {CMD_ATTR_DETAIL, {0}},
                                                             {CMD_ATTR_RNH, {0}},
                                                             {CMD_ATTR_VLAN, {2}},
                                                             {CMD_ATTR_HANDLE, {4}},
                                                             {CMD_ATTR_VOBJ, {8}},
                                                             {CMD_ATTR_STATISTICS, {0}}};
    for (const auto &[id, lengths] : good)
        for (const size_t length : {0u, 1u, 2u, 3u, 4u, 5u, 8u, 15u, 16u, 17u, 65u}) {
            const show_answer answer = ask({{id, bytes(length, 1)}});
            EXPECT_EQ(answer.code == 6, length != lengths[0]) << id << " of " << length;
            EXPECT_EQ(answer.pieces, 1u);
        }
    for (const int number : {0, 3, 4, 5, 6, 7, 10, 15, 255})
        refused(ask({mode(static_cast<uint8_t>(number))}), 6, "bad attribute");
    refused(ask(one(v4() ? "10.0.0.0/33" : "2001:db8::/129")), 6, "bad attribute");
    refused(ask({{CMD_ATTR_VRF, bytes(65, 'x')}}), 6, "bad attribute");
    EXPECT_EQ(prefixes(ask({{9999, bytes(70, 1)}})), dests({0})) << "an unknown attribute is skipped";
}

/* Whatever stands in a cookie, the answer is a piece of a show or "bad cookie". */
TEST_P(route_show, cookies_are_checked) {
    fill(0, 150);
    const bytes cookie = show(&rig, routes(), {}, {}, 1).cookie;
    ASSERT_EQ(cookie.size(), 256u);
    for (const size_t length : {1u, 255u, 257u, 512u}) {
        bytes other = cookie;
        other.resize(length);
        refused(show(&rig, routes(), {}, other), 5, "bad cookie");
    }
    for (const uint32_t command :
         {stored(), CMD_SHOW_TABLES + 0u, v4() ? CMD_SHOW_V6_ROUTES + 0u : CMD_SHOW_V4_ROUTES})
        refused(show(&rig, command, {}, cookie), 5, "bad cookie");
    size_t bad = 0;
    for (size_t at = 0; at < cookie.size(); at++)
        for (const int value : {0x01, 0x80, 0xff}) {
            bytes other = cookie;
            other[at] = static_cast<uint8_t>(other[at] ^ value);
            const show_answer answer = show(&rig, routes(), {}, other, 1);
            ASSERT_EQ(answer.pieces, 1u) << at;
            bad += answer.code == 5 ? 1 : 0;
        }
    EXPECT_GT(bad, 256u) << "most bytes have few good values";
    ufib_show_params params;
    std::memcpy(&params, cookie.data(), sizeof params);
    params.at_mask_len = f().index == 0 ? 33 : 129;
    bytes other(sizeof params);
    std::memcpy(other.data(), &params, sizeof params);
    refused(show(&rig, routes(), {}, other), 5, "bad cookie");
}

TEST_P(route_show, security_shows_have_rows_where_their_services_are) {
    fill(0, 3);
    if (v4()) find(dest(1), false)->tag_flags = UFIB_TAG_VALID;
    if (v4()) find(dest(1), false)->sgt = 700;
    const show_answer tags = show(&rig, CMD_SHOW_V4_SECURITY_SGT),
                      macs = show(&rig, CMD_SHOW_V4_SECURITY_MAC);
    EXPECT_EQ(prefixes(macs), lines());
    EXPECT_EQ(prefixes(tags), v4() ? dests({1}) : lines());
    EXPECT_EQ(times(tags.json, "\"sgt\":700"), v4() ? 1u : 0u);
}

/* Over the software engine: what it holds is told beside the model. */
struct engine_show : route_show {
    engine_show() {
        softfwd_config_reset();
        softfwd_config_get()->slot = static_cast<int>(rig.options.slot);
        rig.options.library = softfwd_library();
    }
    ~engine_show() override { softfwd_config_reset(); }
};
INSTANTIATE_TEST_SUITE_P(, engine_show, both_families, family_name);

TEST_P(engine_show, entries_of_the_engine_stand_beside_the_model) {
    wire_route group = add(f(), dest(1), path(0));
    group.hops.push_back({.address = path(1), .if_index = ETH2});
    ASSERT_TRUE(load(f(), {add(f(), dest(0), path(0)), group, over(0, {0}), recursive(2, {through(0)})}));
    const std::vector<show_attr> detail = {{CMD_ATTR_DETAIL, {}}};
    const show_answer answer = ask(detail);
    EXPECT_EQ(times(answer.text, "   Engine: entry "), 3u) << answer.text;
    EXPECT_EQ(times(answer.text, " leads to group "), 2u);
    EXPECT_EQ(times(answer.text, " leads to adjacency "), 1u);
    EXPECT_EQ(times(answer.json, "\"engine\":{\"handle\":"), 3u);
    EXPECT_EQ(times(ask({detail[0], {CMD_ATTR_RNH, {}}}).text, "ERROR"), 0u) << "has no entry, needs none";
    EXPECT_EQ(show(&rig, CMD_SHOW_FORWARDING_VLAN).json, "{\"vlans\":[]}\n");
    EXPECT_EQ(times(show(&rig, CMD_SHOW_FORWARDING_VLAN).text, "Nothing to show\n"), 1u);
    const uint32_t adjacencies = v4() ? CMD_SHOW_V4_ADJACENCY : CMD_SHOW_V6_ADJACENCY;
    EXPECT_GE(times(show(&rig, adjacencies, detail).text, "   Engine: adjacency "), 5u)
        << "two and the globals";
    EXPECT_EQ(times(show(&rig, CMD_SHOW_ECMP, detail).text, ", 2 of 2 places in use\n"), 1u);
    EXPECT_EQ(times(show(&rig, CMD_SHOW_VOBJ, detail).text, ", 1 of 1 places in use\n"), 1u);
    ufib_pfx *pfx = find(dest(0), false);
    const uint32_t handle = std::exchange(pfx->obj.handle, 0x7777u);
    EXPECT_EQ(times(ask(detail).text, "   Engine: ERROR: NO ENTRY\n"), 1u);
    pfx->obj.handle = handle;
}
