#include "tests/diag/show_rig.h"
#include "ufib/ufib_bintrace.h"

#include <ctime>

/* Histories belong to the process: what one test records is gone with its process. */
struct history_show : vobj_test {
    show_answer ask(uint32_t command, const std::vector<show_attr> &attrs = {}) {
        return show(&rig, command, attrs);
    }
    show_answer hist(uint32_t history, const bytes &key = {}) {
        return key.empty() ? ask(CMD_HISTORY_SHOW(history))
                           : ask(CMD_HISTORY_SHOW(history), {{CMD_ATTR_HISTORY_KEY, key}});
    }
    std::string conf(uint32_t history) { return ask(CMD_HISTORY_CONF(history)).text; }
    show_answer steer(uint32_t command, uint32_t history, uint32_t value, const bytes &key = {}) {
        std::vector<show_attr> attrs = {{CMD_ATTR_HISTORY, be32(history)}, {CMD_ATTR_VALUE, be32(value)}};
        if (!key.empty()) attrs.push_back({CMD_ATTR_HISTORY_KEY, key});
        return ask(command, attrs);
    }
    static bool has(const std::string &text, const std::string &what) {
        return text.find(what) != std::string::npos;
    }
    /* Key of a prefix history. */
    bytes key(const std::string &prefix) const {
        const size_t slash = prefix.find('/');
        bytes out = {static_cast<uint8_t>(std::stoul(prefix.substr(slash + 1)))};
        put32(&out, f().table);
        const bytes address = address_bytes(prefix.substr(0, slash));
        out.insert(out.end(), address.begin(), address.end());
        return out;
    }
    std::string clock_text() const {
        const auto seconds = static_cast<time_t>(rig.clock.wall_ns / 1000000000);
        return std::string(ctime(&seconds)).substr(0, 24);
    }
    static std::string hex(uint32_t number) {
        char text[16];
        std::snprintf(text, sizeof text, "%#8x", number);
        return text;
    }
    uint32_t histories[2][3] = {{CMD_HISTORY_V4_PFX, CMD_HISTORY_V4_RNH, CMD_HISTORY_V4_ADJ},
                                {CMD_HISTORY_V6_PFX, CMD_HISTORY_V6_RNH, CMD_HISTORY_V6_ADJ}};
};

TEST_F(history_show, an_empty_history_has_its_closing_line_alone) {
    const show_answer answer = hist(CMD_HISTORY_V4_PFX);
    EXPECT_EQ(answer.text, "Number of entries displayed: 0\n");
    EXPECT_EQ(answer.json, "{\"entries\":[],\"entries_displayed\":0}\n");
    EXPECT_EQ(UFIB_V4_PFX_BT_ADD_REC(nullptr, UFIB_BT_CREATE), -1);
    EXPECT_EQ(UFIB_V6_RNH_BT_ADD_REC(nullptr, UFIB_BT_CREATE), -1);
    EXPECT_EQ(UFIB_V4_ADJ_BT_ADD_REC(nullptr, UFIB_BT_CREATE), -1);
    EXPECT_EQ(UFIB_ECMP_BT_ADD_REC(nullptr, UFIB_BT_CREATE), -1);
    EXPECT_EQ(UFIB_VOBJ_BT_ADD_REC(nullptr, UFIB_BT_CREATE), -1);
    EXPECT_EQ(hist(CMD_HISTORY_V4_PFX).text, "Number of entries displayed: 0\n");
    EXPECT_EQ(conf(CMD_HISTORY_V4_PFX), "Enable: yes\n"
                                        "Max Number of Entries: 4096\n"
                                        "Current Number of Entries: 0\n"
                                        "Max Number of Records per entry: 8\n"
                                        "Defined filters:\nNo filter defined\n"
                                        "Defined sticky entries:\nNo sticky entry defined\n");
}

/* The bytes that tools of the field know, and the texts. */
TEST_F(history_show, a_prefix_tells_its_life_after_it_is_gone) {
    for (const family *each : {&v4_family, &v6_family}) {
        now = each;
        const std::string before = clock_text();
        ASSERT_TRUE(load1(add(f(), f().prefix)));
        const ufib_pfx *pfx = find(f().prefix, false);
        const uint32_t handle = pfx->obj.handle, next = pfx->obj.next->handle;
        bt_desc *desc = v4() ? &ufib_pfx_v4_global : &ufib_pfx_v6_global;
        bt_pos pos = {};
        const bt_entry *entry = bt_get_entry(desc, key(f().prefix).data());
        ASSERT_NE(entry, nullptr);
        const auto *record = static_cast<const uint8_t *>(bt_get_first_record(desc, entry, &pos));
        bytes wanted;
        for (const uint32_t word : {v4() ? 2u : 3u, static_cast<uint32_t>(rig.clock.wall_ns / 1000000000),
                                    handle, next, v4() ? 5u : 6u, 1u, 0u, 1u})
            put32(&wanted, word);
        EXPECT_EQ(bytes(record, record + 32), wanted);
        second();
        ASSERT_TRUE(load1(add(f(), f().prefix)));
        ASSERT_TRUE(load1(remove(f(), f().prefix)));
        char table[16];
        std::snprintf(table, sizeof table, "0x%x", f().table);
        const std::string middle = "  " + hex(handle) + "   " + (v4() ? "V4 adj    " : "V6 adj    ") + " " +
                                   hex(next) + "       1    ";
        EXPECT_EQ(hist(histories[f().index][0], key(f().prefix)).text,
                  "PREFIX " + std::string(f().prefix) + " TABLE_ID " + table + "\n" +
                      "       Time                 ha_handle  next_obj  next_obj_HH  NH_cnt    operation\n" +
                      "  " + before + middle + "Create\n" + "  " + clock_text() + middle + "Update\n" + "  " +
                      clock_text() + middle + "Destroy\n" + "Number of entries displayed: 1\n");
        EXPECT_EQ(find(f().prefix, false), nullptr);
    }
    const std::string by_time = ask(CMD_SHOW_HISTORY_TIME).text;
    EXPECT_TRUE(has(by_time, "V4 PFX: PREFIX 10.1.0.0/16 TABLE_ID 0x1\nTime:")) << by_time;
    EXPECT_TRUE(has(by_time, "next_obj:V4 adj\nnext_obj_HH:")) << by_time;
    EXPECT_TRUE(has(by_time, "   NH_cnt:1   operation:Destroy\n\n"));
    EXPECT_LT(by_time.find("V4 PFX: PREFIX 10.1.0.0/16"), by_time.find("V6 PFX: PREFIX 2001:db8:1::/48"));
}

TEST_F(history_show, a_prefix_without_next_object_has_type_and_handle_zero) {
    ASSERT_TRUE(load1(add(f(), f().prefix)));
    ufib_pfx *pfx = find(f().prefix, false);
    ufib_obj *next = std::exchange(pfx->obj.next, nullptr);
    EXPECT_EQ(UFIB_V4_PFX_BT_ADD_REC(pfx, 7), 0);
    pfx->obj.next = next;
    EXPECT_TRUE(has(hist(CMD_HISTORY_V4_PFX).text, "   Unknown           0       1    Unknown\n"));
    /* Behind a tunnel stands what it leads to. */
    ufib_obj tunnel = {UFIB_OBJ_MPLS_TE_ADJ, 99, next};
    pfx->obj.next = &tunnel;
    EXPECT_EQ(UFIB_V4_PFX_BT_ADD_REC(pfx, UFIB_BT_UPDATE), 0);
    pfx->obj.next = next;
    EXPECT_TRUE(
        has(hist(CMD_HISTORY_V4_PFX).text, "   TE LDP     " + hex(next->handle) + "       1    Update\n"));
}

TEST_F(history_show, neighbours_groups_and_virtual_objects_tell_theirs) {
    for (const family *each : {&v4_family, &v6_family}) {
        now = each;
        ASSERT_TRUE(load1(add(f(), f().prefix)));
        neighbour({f().hop, ETH1, "020000000001"});
        const show_answer adj = hist(histories[f().index][2]);
        EXPECT_TRUE(has(adj.text, std::string(f().hop))) << adj.text;
        EXPECT_TRUE(has(adj.text, "00:00:00:00:00:00  none     Create    glean\n")) << adj.text;
        EXPECT_TRUE(has(adj.text, "02:00:00:00:00:01  am       Update    resolved\n")) << adj.text;
        EXPECT_EQ(times(adj.json, "\"ha_handle\":"), 5u) << "the globals and this one" << adj.text;

        ASSERT_TRUE(load(f(), {over(0, {1, 2}), recursive(0, {through(0)})}));
        const std::string id = std::to_string(vobj_of(0)->id);
        ASSERT_TRUE(load1(over(0, {1, 2, 3})));
        settle();
        ASSERT_TRUE(load(f(), {remove(f(), dest(0)), no_rnh(0)}));
        const std::string vobj = hist(CMD_HISTORY_VOBJ).text;
        EXPECT_TRUE(has(vobj, "VOBJ id " + id + "\n")) << vobj;
        for (const char *operation : {"Create", "Update", "Destroy"})
            EXPECT_TRUE(has(vobj, operation)) << vobj;
        const std::string rnh = hist(histories[f().index][1]).text;
        EXPECT_TRUE(has(rnh, "PREFIX " + rnh_prefix(0))) << rnh;
        EXPECT_TRUE(has(rnh, "Create\n") && has(rnh, "Update\n") && has(rnh, "Destroy\n")) << rnh;
        const show_answer ecmp = hist(CMD_HISTORY_ECMP);
        EXPECT_TRUE(has(ecmp.text, "      path  2: " + std::string(v4() ? "10.0.0.4 " : "fe80::4 ")))
            << ecmp.text;
        EXPECT_TRUE(has(ecmp.text, "Destroy\n")) << ecmp.text;
    }
    const show_answer all = ask(CMD_SHOW_HISTORY_TIME, {{CMD_ATTR_LIMIT, be32(3)}});
    const size_t end = all.text.find("Number of records displayed: 3\n");
    ASSERT_NE(end, std::string::npos) << all.text;
    EXPECT_EQ(times(all.json, "\"history\":"), 3u);
    EXPECT_TRUE(has(ask(CMD_SHOW_HISTORY_TIME).text, all.text.substr(0, end) + "Number")) << "the newest";
}

/* 125 entries end with a cookie and a piece that is empty but for its end. */
TEST_F(history_show, many_entries_come_in_pieces) {
    load_many(0, 125, {through(0)});
    const show_answer exact = hist(CMD_HISTORY_V4_PFX);
    EXPECT_EQ(exact.pieces, 2u);
    EXPECT_TRUE(has(exact.text, "Number of entries displayed: 125\n"));
    EXPECT_EQ(exact.json.rfind("]"), exact.json.find("],\"entries_displayed\":125}")) << "one list";
    load_many(125, 5000, {through(0)});
    const show_answer full = hist(CMD_HISTORY_V4_PFX);
    EXPECT_EQ(full.pieces, 33u);
    EXPECT_TRUE(has(full.text, "Number of entries displayed: 4096\n"));
    EXPECT_FALSE(has(full.text, "PREFIX " + dest(903) + " ")) << "the oldest have made room";
    EXPECT_TRUE(has(full.text, "PREFIX " + dest(904) + " "));
    const show_answer by_time = ask(CMD_SHOW_HISTORY_TIME);
    EXPECT_LT(by_time.text.find("PREFIX " + dest(904) + " "),
              by_time.text.find("PREFIX " + dest(4999) + " "));
    EXPECT_EQ(times(by_time.text, "V4 PFX: "), 4096u);
    const show_answer last = ask(CMD_SHOW_HISTORY_TIME, {{CMD_ATTR_LIMIT, be32(300)}});
    EXPECT_EQ(times(last.text, "V4 PFX: "), 300u);
    EXPECT_EQ(last.text.find("V4 PFX: "), last.text.find("V4 PFX: PREFIX " + dest(4700) + " "));
    /* What is removed between two pieces is no stumbling block. */
    show_answer part = show(&rig, CMD_HISTORY_SHOW(CMD_HISTORY_V4_PFX), {}, {}, 1);
    const show_answer cleared = show(&rig, CMD_HISTORY_V4_PFX, {}, {}, 1);
    EXPECT_EQ(cleared.code, 0) << "a get of a clear is nobody's";
    rig.send(OPC_COMMAND, show_request(CMD_HISTORY_V4_PFX, {}, {}, 1, CMD_ACTION_SET));
    part = show(&rig, CMD_HISTORY_SHOW(CMD_HISTORY_V4_PFX), {}, part.cookie);
    EXPECT_EQ(part.text, "Number of entries displayed: 125\n");
    EXPECT_TRUE(has(conf(CMD_HISTORY_V4_PFX), "Current Number of Entries: 0\n"));
}

TEST_F(history_show, cookies_come_from_outside) {
    load_many(0, 130, {through(0)});
    const show_answer part = show(&rig, CMD_HISTORY_SHOW(CMD_HISTORY_V4_PFX), {}, {}, 1);
    ASSERT_EQ(part.cookie.size(), 136u);
    const show_answer by_time = show(&rig, CMD_SHOW_HISTORY_TIME, {}, {}, 1);
    ASSERT_EQ(by_time.cookie.size(), 136u);
    const auto code = [&](uint32_t command, bytes cookie, size_t at, uint8_t value) {
        if (at < cookie.size()) cookie[at] = value;
        return show(&rig, command, {}, cookie).code;
    };
    const uint32_t hist_v4 = CMD_HISTORY_SHOW(CMD_HISTORY_V4_PFX);
    EXPECT_EQ(code(hist_v4, bytes(135), 0, 0), 5);
    EXPECT_EQ(code(hist_v4, part.cookie, 0, 1), 5) << "of another history";
    EXPECT_EQ(code(hist_v4, part.cookie, 22, 10), 5) << "of another length";
    EXPECT_EQ(code(hist_v4, by_time.cookie, 136, 0), 5);
    EXPECT_EQ(code(CMD_SHOW_HISTORY_TIME, part.cookie, 136, 0), 5);
    EXPECT_EQ(code(CMD_SHOW_HISTORY_TIME, by_time.cookie, 16, 13), 5) << "a row that nobody has";
    EXPECT_EQ(code(CMD_SHOW_HISTORY_TIME, by_time.cookie, 16, 200), 5);
    EXPECT_EQ(code(hist_v4, part.cookie, 136, 0), 0);
}

TEST_F(history_show, filters_sticky_entries_and_the_switch) {
    const uint32_t v4 = CMD_HISTORY_V4_PFX;
    EXPECT_EQ(steer(CMD_SET_HISTORY_FILTER, v4, 1, key("10.2.0.0/16")).kind, CMD_ANSWER_OK);
    EXPECT_EQ(steer(CMD_SET_HISTORY_STICKY, v4, 1, key("10.3.0.0/16")).kind, CMD_ANSWER_OK);
    ASSERT_TRUE(load(f(), {add(f(), "10.1.0.0/16"), add(f(), "10.2.0.0/16")}));
    EXPECT_TRUE(has(conf(v4), "Current Number of Entries: 2\n"));
    EXPECT_TRUE(has(conf(v4), "Defined filters:\nPREFIX 10.2.0.0/16 TABLE_ID 0x1\n"
                              "Defined sticky entries:\nPREFIX 10.3.0.0/16 TABLE_ID 0x1\n"));
    EXPECT_EQ(steer(CMD_SET_HISTORY_FILTER, v4, 0, key("10.2.0.0/16")).kind, CMD_ANSWER_OK);
    EXPECT_EQ(steer(CMD_SET_HISTORY_STICKY, v4, 0, key("10.3.0.0/16")).kind, CMD_ANSWER_OK);
    EXPECT_EQ(steer(CMD_SET_HISTORY_ENABLE, v4, 0).kind, CMD_ANSWER_OK);
    ASSERT_TRUE(load(f(), {add(f(), "10.1.0.0/16")}));
    EXPECT_TRUE(has(conf(v4), "Enable: no\n"));
    EXPECT_TRUE(has(conf(v4), "Current Number of Entries: 1\n")) << "off: nothing new; not sticky: gone";

    EXPECT_EQ(steer(CMD_SET_HISTORY_FILTER, v4, 0, key("10.2.0.0/16")).code, 4);
    EXPECT_EQ(steer(CMD_SET_HISTORY_ENABLE, 1, 1).code, 4);
    EXPECT_EQ(steer(CMD_SET_HISTORY_ENABLE, v4, 2).code, 6);
    EXPECT_EQ(steer(CMD_SET_HISTORY_FILTER, v4, 1).code, 6) << "no key";
    EXPECT_EQ(steer(CMD_SET_HISTORY_STICKY, v4, 1, bytes(8)).code, 6) << "a key of another length";
    EXPECT_EQ(hist(v4, bytes(21)).code, 6);
    for (unsigned i = 0; i < 17; i++)
        EXPECT_EQ(steer(CMD_SET_HISTORY_FILTER, v4, 1, key(dest(i))).code, i < 16 ? 0 : 8);
}

TEST_F(history_show, a_restart_begins_anew_with_what_it_takes_over) {
    ASSERT_TRUE(load(f(), {add(f(), f().prefix), add(f(), f().prefix2)}));
    ASSERT_TRUE(load1(remove(f(), f().prefix2)));
    ASSERT_EQ(rig.restart(), 0);
    const std::string text = hist(CMD_HISTORY_V4_PFX).text;
    EXPECT_EQ(times(text, "Create\n"), 1u) << text;
    EXPECT_TRUE(has(text, "Number of entries displayed: 1\n"));
}
