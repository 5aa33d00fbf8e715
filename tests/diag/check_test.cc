/* The check of model, records and engine: it is quiet when they agree, and names every way in which they do not. */
#include "tests/diag/show_rig.h"

#include "persist/lcfwd_pss.h"
#include "softfwd/softfwd.h"
#include "softfwd/softfwd_check.h"
#include "softfwd/softfwd_config.h"

#include <cstring>

constexpr uint8_t DIRECT_ROUTE = 0x01;

struct check_show : vobj_test, testing::WithParamInterface<const family *> {
    check_show() {
        now = GetParam();
        softfwd_config_reset();
        softfwd_config_get()->slot = 3;
        rig.options.library = softfwd_library();
    }
    ~check_show() override { softfwd_config_reset(); }

    show_answer ask(const std::vector<show_attr> &attrs = {}) {
        return show(&rig, CMD_CHECK_CONSISTENCY, attrs);
    }
    show_answer ask_route(const std::string &prefix, std::vector<show_attr> attrs = {}) {
        const size_t slash = prefix.find('/');
        attrs.push_back({CMD_ATTR_PREFIX, address_bytes(prefix.substr(0, slash))});
        attrs.push_back({CMD_ATTR_MASK_LENGTH, {static_cast<uint8_t>(std::stoul(prefix.substr(slash + 1)))}});
        attrs.push_back({CMD_ATTR_TABLE, be32(f().table)});
        return ask(attrs);
    }
    /* "part: problem" of each row, in order. */
    static lines rows(const show_answer &answer) {
        lines out;
        const auto value = [&answer](const std::string &key, size_t from) {
            const size_t at = answer.json.find("\"" + key + "\":\"", from) + key.size() + 4;
            return answer.json.substr(at, answer.json.find('"', at) - at);
        };
        for (size_t at = answer.json.find("\"part\":"); at != std::string::npos;
             at = answer.json.find("\"part\":", at + 1))
            out.push_back(value("part", at) + ": " + value("problem", at));
        return out;
    }
    static uint32_t checked(const show_answer &answer) {
        const size_t at = answer.json.find("\"checked\":");
        return at == std::string::npos ? 0 : static_cast<uint32_t>(std::stoul(answer.json.substr(at + 10)));
    }
    /* A route of each sort. */
    void load_all() {
        wire_route group = add(f(), dest(1), path(1));
        group.hops.push_back({.address = path(2), .if_index = ETH1, .table_id = f().table});
        ASSERT_TRUE(
            load(f(), {add(f(), dest(0), path(0)), group, add(f(), dest(2), path(0), ETH1, DIRECT_ROUTE),
                       over(0, {1, 2}), recursive(3, {through(0)}), recursive(4, {through(5)})}));
    }
    static void record_put(lcfwd_pss_kind kind, const void *key, uint32_t size, const bytes &value) {
        const pss2_datum at = {key, size}, to = {value.data(), static_cast<uint32_t>(value.size())};
        ASSERT_EQ(pss2_store(lcfwd_pss_service(kind, 1), &at, &to), 0);
    }
    static bytes record_get(lcfwd_pss_kind kind, uint32_t handle) {
        const pss2_datum at = {&handle, sizeof handle};
        pss2_datum value;
        if (pss2_fetch(lcfwd_pss_service(kind, 1), &at, &value) != 0) return {};
        const auto *from = static_cast<const uint8_t *>(value.p);
        return bytes(from, from + value.len);
    }
    static void record_remove(lcfwd_pss_kind kind, uint32_t handle) {
        const pss2_datum at = {&handle, sizeof handle};
        ASSERT_EQ(pss2_delete(lcfwd_pss_service(kind, 1), &at), 0);
    }
    lcfwd_pss_kind adj_kind() const { return v4() ? LCFWD_PSS_V4ADJ : LCFWD_PSS_V6ADJ; }
    lcfwd_pss_kind group_kind() const { return v4() ? LCFWD_PSS_V4ECMP : LCFWD_PSS_V6ECMP; }
};
INSTANTIATE_TEST_SUITE_P(, check_show, both_families, family_name);

TEST_P(check_show, is_quiet_when_all_agree) {
    EXPECT_EQ(ask().json.find("\"wrong\":0") == std::string::npos, false);
    load_all();
    const show_answer all = ask();
    EXPECT_EQ(rows(all), lines{}) << all.text;
    EXPECT_NE(all.text.find("all agree"), std::string::npos);
    EXPECT_EQ(rows(ask_route(dest(0))), lines{});
    EXPECT_EQ(checked(ask_route(dest(0))), 2u) << "the route and its adjacency";
    EXPECT_EQ(checked(ask_route(dest(1))), 4u) << "and with a group its paths";
    EXPECT_EQ(checked(ask_route(dest(3))), 5u) << "with a virtual object its rows and what they lead to";
    EXPECT_EQ(checked(ask_route(rnh_prefix(0), {{CMD_ATTR_RNH, {}}})), 4u);
    EXPECT_EQ(checked(ask({{CMD_ATTR_TABLE, be32(f().table)}})), 7u) << "one table";
    const show_answer none = ask_route(dest(9));
    EXPECT_EQ(none.kind, CMD_ANSWER_NOK);
    EXPECT_EQ(none.code, 4u);
    EXPECT_EQ(ask({{CMD_ATTR_PREFIX, {1, 2, 3}}}).code, 6u);
}

TEST_P(check_show, a_route_of_a_shared_table_leads_to_what_its_owner_has) {
    softfwd_config_get()->shared_wildcard_tables = true;
    rig.vdc(2);
    ASSERT_TRUE(load1(add(f(), dest(0), path(0), ETH1, 0x84)));
    rig.send(OPC_VDC_DELETE, wire_vdc(1));
    rig.vdc(1);
    const bytes address = address_bytes(dest(0).substr(0, dest(0).find('/')));
    const show_answer one = ask({{CMD_ATTR_PREFIX, address},
                                 {CMD_ATTR_MASK_LENGTH, {static_cast<uint8_t>(v4() ? 24 : 64)}},
                                 {CMD_ATTR_TABLE, be32(f().wildcard)}});
    EXPECT_EQ(rows(one), lines{});
    EXPECT_EQ(checked(one), 2u) << "the route, and the adjacency that drops";
}

/* Everything that may differ, by what a test does to it: the rows that come are those of the whole check. */
TEST_P(check_show, names_every_difference) {
    load_all();
    ufib_pfx *route = find(dest(0), false);
    const uint32_t handle = route->obj.handle, next = route->obj.next->handle;
    const uint32_t direct = find(dest(2), false)->obj.handle, group = find(dest(1), false)->obj.next->handle;
    const uint32_t vobj = vobj_of(3)->new_handle;
    const struct {
        const char *name;
        lcfwd_pss_kind kind;
        uint32_t key;
        int byte; /* of the record, to be changed; -1: the record goes */
        lines rows;
    } records[] = {
        {"no route record", LCFWD_PSS_PREFIX, handle, -1, {"store: no record"}},
        {"flags", LCFWD_PSS_PREFIX, handle, 0, {"store: flags, low byte"}},
        {"holders", LCFWD_PSS_PREFIX, handle, 1, {"store: holders"}},
        {"epoch", LCFWD_PSS_PREFIX, handle, 2, {"store: epoch"}},
        {"next object", LCFWD_PSS_PREFIX, handle, 3, {"store: next handle"}},
        {"paths", LCFWD_PSS_PREFIX, handle, 7, {"store: paths"}},
        {"type", LCFWD_PSS_PREFIX, handle, 8, {"store: next type"}},
        {"all flags", LCFWD_PSS_PREFIX, handle, 20, {"store: flags"}},
        {"attached interface", LCFWD_PSS_DCSRIF, direct, 0, {"store: attached interface"}},
        {"no attached interface", LCFWD_PSS_DCSRIF, direct, -1, {"store: no interface record"}},
        {"no adjacency record", adj_kind(), next, -1, {"store: no record"}},
        {"adjacency holders", adj_kind(), next, 0, {"store: holders"}},
        {"adjacency interface", adj_kind(), next, 1, {"store: interface", "store: no such object"}},
        {"adjacency address", adj_kind(), next, 5, {"store: next hop", "store: no such object"}},
        {"no group record", group_kind(), group, -1, {"store: no record"}},
        {"group holders", group_kind(), group, 0, {"store: holders"}},
        {"group paths", group_kind(), group, 8, {"store: next hops", "store: no such object"}},
        {"vobj record", LCFWD_PSS_VOBJ, vobj, -1, {"store: no record", "store: number of records"}},
        {"vobj sizes", LCFWD_PSS_VOBJ, vobj, 25, {"store: sizes"}},
        {"vobj rows", LCFWD_PSS_VOBJ, vobj, 56, {"store: next hops"}},
    };
    for (const auto &row : records) {
        const bytes good = record_get(row.kind, row.key);
        bytes bad = good;
        ASSERT_FALSE(good.empty()) << row.name;
        if (row.byte < 0)
            record_remove(row.kind, row.key);
        else
            bad.at(static_cast<size_t>(row.byte)) ^= 0x40, record_put(row.kind, &row.key, 4, bad);
        const show_answer answer = ask();
        EXPECT_EQ(rows(answer), row.rows) << row.name << "\n" << answer.text;
        record_put(row.kind, &row.key, 4, good);
    }
    const uint32_t stranger = 0x00123456;
    const bytes route_record = record_get(LCFWD_PSS_PREFIX, handle),
                adj_record = record_get(adj_kind(), next);
    record_put(LCFWD_PSS_PREFIX, &stranger, 4, route_record);
    record_put(adj_kind(), &stranger, 4, adj_record);
    EXPECT_EQ(rows(ask()), (lines{"store: no such object", "store: another handle"})) << "nobody's records";
    record_remove(LCFWD_PSS_PREFIX, stranger);
    record_remove(adj_kind(), stranger);

    const struct {
        softfwd_damage what;
        uint32_t handle;
        lines rows;
    } damages[] = {{SOFTFWD_DAMAGE_ADDRESS, handle, {"engine: entry differs"}},
                   {SOFTFWD_DAMAGE_NEXT, handle, {"engine: leads elsewhere"}},
                   {SOFTFWD_DAMAGE_MAC, next, {"engine: entry differs"}}};
    for (const auto &row : damages) {
        ASSERT_TRUE(softfwd_damage_entry(row.what, row.handle));
        EXPECT_EQ(rows(ask_route(dest(0))), row.rows);
        ASSERT_TRUE(softfwd_damage_entry(row.what, row.handle));
    }
    EXPECT_EQ(rows(ask()), lines{});
}

TEST_P(check_show, comes_in_pieces_that_a_changing_model_may_not_break) {
    std::vector<wire_route> many;
    for (unsigned n = 0; n < 4500; n++) many.push_back(add(f(), dest(n), path(n % 4)));
    for (size_t at = 0; at < many.size(); at += 500)
        ASSERT_TRUE(
            load(f(), {many.begin() + static_cast<long>(at), many.begin() + static_cast<long>(at) + 500}));
    const show_answer all = ask();
    EXPECT_EQ(rows(all), lines{});
    EXPECT_EQ(all.pieces, 5u) << "2000 objects each, and a record for each of them";
    EXPECT_EQ(checked(all), 2u * 4504 + 8 + 1);
    for (unsigned n = 0; n < 150; n++)
        (void)softfwd_damage_entry(SOFTFWD_DAMAGE_NEXT, find(dest(n), false)->obj.handle);
    EXPECT_EQ(rows(ask()).size(), 150u);
    EXPECT_EQ(rows(ask({{CMD_ATTR_LIMIT, be32(7)}})).size(), 7u);
    for (unsigned n = 0; n < 150; n++)
        (void)softfwd_damage_entry(SOFTFWD_DAMAGE_NEXT, find(dest(n), false)->obj.handle);

    static check_show *test;
    test = this;
    static unsigned gone;
    gone = 0;
    const show_answer changing = show(&rig, CMD_CHECK_CONSISTENCY, {}, {}, 1000, [] {
        std::vector<wire_route> leaving; /* what the walk stands on, and what it stood on */
        for (unsigned n = 0; n < 500; n++)
            leaving.push_back(test->remove(test->f(), test->dest(1750 + gone + n)));
        gone += 500;
        if (gone <= 2000) {
            ASSERT_TRUE(test->load(test->f(), leaving));
        }
    });
    EXPECT_EQ(rows(changing), lines{});
    EXPECT_EQ(changing.kind, CMD_ANSWER_DONE);
}

TEST_P(check_show, takes_no_cookie_that_it_did_not_give) {
    load_all();
    std::vector<wire_route> many;
    for (unsigned n = 10; n < 2500; n++) many.push_back(add(f(), dest(n), path(0)));
    for (size_t at = 0; at < many.size(); at += 498)
        ASSERT_TRUE(
            load(f(), {many.begin() + static_cast<long>(at), many.begin() + static_cast<long>(at) + 498}));
    const show_answer first = show(&rig, CMD_CHECK_CONSISTENCY, {}, {}, 1);
    ASSERT_EQ(first.cookie.size(), 256u);
    EXPECT_EQ(show(&rig, CMD_CHECK_CONSISTENCY, {}, bytes(first.cookie.begin(), first.cookie.end() - 1)).code,
              5u);
    EXPECT_EQ(show(&rig, CMD_SHOW_ECMP, {}, first.cookie).code, 5u) << "another show's";
    for (size_t at = 0; at < first.cookie.size();
         at++) { /* whatever it says, the walk stays inside the model */
        bytes bad = first.cookie;
        bad[at] ^= 0xff;
        const show_answer answer = show(&rig, CMD_CHECK_CONSISTENCY, {}, bad, 3);
        EXPECT_TRUE(answer.kind == CMD_ANSWER_DONE || answer.kind == CMD_ANSWER_MORE || answer.code == 5)
            << at;
        EXPECT_EQ(rows(answer), lines{}) << at;
    }
}
