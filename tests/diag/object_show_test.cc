#include "tests/diag/show_rig.h"

#include "core/lcfwd_log.h"
#include "core/ufib_trace.h"
#include "host/interfaces/interfaces.h"
#include "ufib/ufib_ecmp.h"

#include <arpa/inet.h>

/* Adjacencies, groups, virtual objects, interfaces: what stands behind the routes, piece by piece, both families. */
struct object_show : vobj_test, testing::WithParamInterface<const family *> {
    object_show() { now = GetParam(); }
    uint32_t adj_command() const { return v4() ? CMD_SHOW_V4_ADJACENCY : CMD_SHOW_V6_ADJACENCY; }
    show_answer ask(uint32_t command, const std::vector<show_attr> &attrs = {}) {
        return show(&rig, command, attrs);
    }
    void hosts(unsigned first, unsigned count, uint32_t if_index = ETH1) {
        std::vector<wire_route> routes;
        for (unsigned n = first; n < first + count; n++)
            routes.push_back(add(f(), dest(n), path(n), if_index));
        ASSERT_TRUE(load(f(), routes));
    }
    /* The address of a path as shows write it. */
    std::string text_of(unsigned n) const {
        char out[64];
        return inet_ntop(v4() ? AF_INET : AF_INET6, address_bytes(path(n)).data(), out, sizeof out);
    }
    static uint32_t objects(const show_answer &answer) {
        return static_cast<uint32_t>(times(answer.json, "\"references\":"));
    }
};
INSTANTIATE_TEST_SUITE_P(, object_show, both_families, family_name);

TEST_P(object_show, adjacencies_come_in_pieces_and_each_once) {
    hosts(0, 200);
    hosts(200, 50, ETH2);
    const show_answer all = ask(adj_command());
    const uint32_t globals = objects(all) - 250;
    EXPECT_EQ(all.kind, CMD_ANSWER_DONE);
    EXPECT_EQ(all.pieces, 3u);
    EXPECT_EQ(globals, times(all.json, "\"global\":true"));
    for (unsigned n : {0u, 99u, 100u, 199u, 200u, 249u})
        EXPECT_EQ(times(all.json, "\"" + text_of(n) + "\""), 1u) << n;

    const struct {
        std::vector<show_attr> attrs;
        uint32_t objects, pieces;
    } cases[] = {
        {{{CMD_ATTR_LIMIT, be32(5)}}, 5, 1},
        {{{CMD_ATTR_LIMIT, be32(120)}}, 120, 2},
        {{{CMD_ATTR_IF_INDEX, be32(ETH2)}}, 50, 1},
        {{{CMD_ATTR_IF_INDEX, be32(ETH1)}},
         200,
         3}, /* exactly two full pieces: an empty third one ends the show */
        {{{CMD_ATTR_IF_INDEX, be32(ETH1 + 7)}}, 0, 1},
        {{{CMD_ATTR_NEXT_HOP, address_bytes(path(7))}, {CMD_ATTR_DETAIL, {}}}, 1, 1},
        {{{CMD_ATTR_NEXT_HOP, address_bytes(path(7))}, {CMD_ATTR_IF_INDEX, be32(ETH1)}}, 1, 1},
    };
    for (const auto &row : cases) {
        const show_answer answer = ask(adj_command(), row.attrs);
        EXPECT_EQ(objects(answer), row.objects) << answer.text;
        EXPECT_EQ(answer.pieces, row.pieces);
    }
    const show_answer none =
        ask(adj_command(), {{CMD_ATTR_NEXT_HOP, address_bytes(path(7))}, {CMD_ATTR_IF_INDEX, be32(ETH2)}});
    EXPECT_EQ(none.kind, CMD_ANSWER_NOK);
    EXPECT_EQ(none.code, 4);
    EXPECT_EQ(none.text, "no such adjacency");
}

/* The walk stands on an adjacency that goes before the next piece is asked for. */
TEST_P(object_show, walk_goes_on_behind_an_adjacency_that_is_gone) {
    hosts(0, 150);
    show_answer first = show(&rig, adj_command(), {}, {}, 1);
    ASSERT_EQ(first.kind, CMD_ANSWER_MORE);
    std::vector<wire_route> gone;
    for (unsigned n = 80; n < 110; n++) gone.push_back(remove(f(), dest(n)));
    ASSERT_TRUE(load(f(), gone));
    const show_answer rest = show(&rig, adj_command(), {}, first.cookie);
    EXPECT_EQ(rest.kind, CMD_ANSWER_DONE);
    EXPECT_EQ(times(first.json + rest.json, "\"" + text_of(149) + "\""), 1u);
    EXPECT_EQ(times(rest.json, "\"" + text_of(109) + "\""), 0u);
    first.cookie[100] ^= 1;
    EXPECT_EQ(show(&rig, adj_command(), {}, bytes(first.cookie.begin(), first.cookie.end() - 1)).code, 5);
    EXPECT_EQ(show(&rig, CMD_SHOW_ECMP, {}, first.cookie).code, 5) << "a cookie of another show";
}

TEST_P(object_show, states_and_rewrites_are_told) {
    hosts(0, 2);
    neighbour({path(0), ETH1, "020000000001"});
    const std::string text = ask(adj_command(), {{CMD_ATTR_DETAIL, {}}}).text;
    EXPECT_NE(text.find("Next-hop " + text_of(0) +
                        ", interface Ethernet1/1, rewrite 02:00:00:00:00:01, state resolved, "
                        "references 2"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("Next-hop " + text_of(1) + ", interface Ethernet1/1, rewrite , state glean"),
              std::string::npos);
    for (const char *state : {"state drop", "state punt"})
        EXPECT_NE(text.find(state), std::string::npos) << state;
}

/* Groups lie in buckets by hash: three that collide do not fit the end of a piece, so one bucket is cut in two. */
TEST_P(object_show, groups_come_with_their_paths_and_each_once) {
    const uint32_t colliding[] = {0x1a010002, 0x1a012101, 0x1a014200};
    for (unsigned n = 0; n < 150; n++) {
        wire_route route = add(f(), dest(n), path(n / 3), colliding[n % 3]);
        route.hops.push_back({.address = path(200), .if_index = ETH2, .table_id = f().table});
        ASSERT_TRUE(load1(route));
    }
    const show_answer all = ask(CMD_SHOW_ECMP);
    EXPECT_EQ(all.pieces, 2u);
    EXPECT_EQ(objects(all), 150u);
    EXPECT_EQ(times(all.json, "\"member_handle\":"), 300u);
    for (unsigned n = 0; n < 150; n++)
        EXPECT_EQ(times(all.json, "{\"handle\":" + std::to_string(pointed_at(n)) + ","), 1u) << n;
    const std::string hash = "\"hash\":" + std::to_string(ufib_ecmp_get_first(ufib_vdc_get(1))->hash) + ",";
    EXPECT_EQ(times(all.json, hash), 3u) << "they do not collide";

    const show_answer first = show(&rig, CMD_SHOW_ECMP, {}, {}, 1);
    for (unsigned n = 0; n < 75; n++) ASSERT_TRUE(load1(remove(f(), dest(n))));
    const std::string both = first.json + show(&rig, CMD_SHOW_ECMP, {}, first.cookie).json;
    for (unsigned n = 75; n < 150; n++)
        EXPECT_EQ(times(both, "{\"handle\":" + std::to_string(pointed_at(n)) + ","), 1u) << n;

    const uint32_t handle = pointed_at(99);
    for (const uint32_t asked : {handle, handle + 1}) {
        const show_answer one = ask(CMD_SHOW_ECMP, {{CMD_ATTR_HANDLE, be32(asked)}, {CMD_ATTR_DETAIL, {}}});
        EXPECT_EQ(objects(one), 1u);
        EXPECT_EQ(times(one.json, "\"" + text_of(33) + "\"") + times(one.json, "\"" + text_of(200) + "\""),
                  2u)
            << one.text;
    }
    EXPECT_EQ(ask(CMD_SHOW_ECMP, {{CMD_ATTR_HANDLE, be32(handle + 100000)}}).text, "no such group");
}

TEST_P(object_show, group_without_an_adjacency_is_an_error_line) {
    wire_route route = add(f(), dest(0), path(0));
    route.hops.push_back({.address = path(1), .if_index = ETH1, .table_id = f().table});
    ASSERT_TRUE(load1(route));
    ufib_ecmp *group = ufib_ecmp_get_first(ufib_vdc_get(1));
    ufib_obj *adj = group->paths[1];
    group->paths[1] = nullptr;
    EXPECT_EQ(times(ask(CMD_SHOW_ECMP).text, "ERROR: MISSING ADJACENCY"), 1u);
    group->paths[1] = adj;
}

TEST_P(object_show, virtual_objects_tell_rows_paths_instances_and_prefixes) {
    ASSERT_TRUE(load1(over(0, {0, 1})));
    load_many(0, 40, {through(0)});
    const ufib_vobj *vobj = vobj_of(0);
    ASSERT_NE(vobj, nullptr);
    bytes id(8);
    id[7] = static_cast<uint8_t>(vobj->id);
    const show_answer steady = ask(CMD_SHOW_VOBJ, {{CMD_ATTR_VOBJ, id}, {CMD_ATTR_DETAIL, {}}});
    EXPECT_EQ(objects(steady), 1u);
    EXPECT_NE(steady.text.find("No of paths: 2, prefixes: 40, references: 40, steady"), std::string::npos)
        << steady.text;
    EXPECT_NE(steady.text.find(rnh_prefix(0) + " table"), std::string::npos);
    for (unsigned n : {0u, 1u})
        EXPECT_NE(steady.text.find(": " + text_of(n) + " Ethernet1/1"), std::string::npos);
    EXPECT_EQ(times(steady.json, "\"prefix\":"), 32u);
    EXPECT_NE(steady.text.find("and 8 more"), std::string::npos);

    ASSERT_TRUE(load1(over(0, {0, 1, 2})));
    const show_answer moving = ask(CMD_SHOW_VOBJ);
    EXPECT_NE(moving.text.find("Virtual objects to be moved: 1"), std::string::npos) << moving.text;
    EXPECT_EQ(times(moving.json, "\"places\":3") + times(moving.json, "\"places\":2"), 2u);
    EXPECT_NE(moving.text.find(", moving"), std::string::npos);
    settle();
    EXPECT_EQ(ask(CMD_SHOW_VOBJ, {{CMD_ATTR_HANDLE, be32(0)}}).text, "no such virtual object");
}

TEST_P(object_show, virtual_objects_come_in_pieces) {
    for (unsigned n = 0; n < 130; n++) {
        ASSERT_TRUE(load1(over(n, {n})));
        ASSERT_TRUE(load1(recursive(n, {through(n)})));
    }
    const show_answer all = ask(CMD_SHOW_VOBJ);
    EXPECT_EQ(all.pieces, 2u);
    EXPECT_EQ(objects(all), 130u);
}

/* Any byte of a cookie may be wrong: there is an answer, and nothing else happens. */
TEST_P(object_show, damaged_cookies_are_answered) {
    for (unsigned n = 0; n < 130; n++) {
        ASSERT_TRUE(load1(over(n, {n})));
        wire_route route = recursive(n, {through(n)});
        ASSERT_TRUE(load1(route));
        route = add(f(), dest(200 + n), path(n), ETH1 + n);
        route.hops.push_back({.address = path(n + 1), .if_index = ETH1 + n, .table_id = f().table});
        ASSERT_TRUE(load1(route));
        UFIB_BL(1, UFIB_TR_UFDM_UP, n);
    }
    for (const uint32_t command : {adj_command(), uint32_t{CMD_SHOW_ECMP}, uint32_t{CMD_SHOW_VOBJ},
                                   uint32_t{CMD_SHOW_INTERFACES}, uint32_t{CMD_SHOW_TRACE}}) {
        const bytes good = show(&rig, command, {}, {}, 1).cookie;
        ASSERT_EQ(good.size(), 256u) << command;
        for (size_t at = 0; at < good.size(); at++)
            for (const uint8_t value : {uint8_t{0}, uint8_t{0x7f}, uint8_t{0xff}}) {
                bytes bad = good;
                bad[at] = value;
                rig.take();
                rig.send(OPC_COMMAND, show_request(command, {}, bad));
                EXPECT_GE(rig.take(OPC_COMMAND).size(), 1u) << command << " byte " << at;
            }
    }
}

TEST_F(vobj_test, interfaces_and_vlans_are_told) {
    constexpr uint32_t VLAN7 = 0x09000007;
    for (uint32_t n = 0; n < 105; n++)
        ASSERT_TRUE(load(f(), {add(f(), dest(n), path(n), n == 0 ? VLAN7 : ETH1 + n)}));
    const show_answer all = show(&rig, CMD_SHOW_INTERFACES);
    EXPECT_EQ(all.pieces, 2u);
    EXPECT_EQ(times(all.json, "\"v4_adjacencies\":1"), 105u);
    EXPECT_NE(
        show(&rig, CMD_SHOW_INTERFACES, {{CMD_ATTR_IF_INDEX, be32(ETH1 + 4)}}).text.find("Ethernet1/5 "),
        std::string::npos);
    EXPECT_EQ(show(&rig, CMD_SHOW_INTERFACES, {{CMD_ATTR_IF_INDEX, be32(4)}}).code, 4);
    const show_answer vlan = show(&rig, CMD_SHOW_FORWARDING_VLAN, {{CMD_ATTR_VLAN, {0, 7}}});
    EXPECT_EQ(times(vlan.json, "\"vlan\":7"), 1u) << vlan.json;
    EXPECT_EQ(show(&rig, CMD_SHOW_FORWARDING_VLAN, {{CMD_ATTR_VLAN, {0, 8}}}).text, "no such vlan");
    EXPECT_EQ(show(&rig, CMD_SHOW_FORWARDING_VLAN, {{CMD_ATTR_VLAN, {8}}}).code, 6);
}
