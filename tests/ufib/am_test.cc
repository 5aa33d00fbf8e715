/* Notices of the adjacency manager: the states of an adjacency, who holds it, and the interface that goes down. */
#include "core/lcfwd_db.h"
#include "platform/ufib_platform.h"
#include "tests/ufib/ufib_rig.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_idb.h"

#include <cstring>

static constexpr const char *MAC = "0200000000aa";

struct neighbours : ufib_family_test {
    ufib_vdc *vdc() const { return ufib_vdc_get(1); }
    ufib_adj *adj(const char *hop) const {
        ufib_adj_key key = {ETH1, {}};
        const bytes address = address_bytes(hop);
        std::memcpy(key.address, address.data(), address.size());
        return ufib_adj_search(vdc(), ufib_families[f.index], key);
    }
    uint32_t refs(const char *hop) const { return ufib_obj_refs(&adj(hop)->obj); }
    /* "state holders references" of an adjacency. */
    std::string state(const char *hop) const {
        const ufib_adj *at = adj(hop);
        if (at == nullptr) return "gone";
        std::string out;
        for (const auto &[bit, name] : {std::pair{UFIB_ADJ_RESOLVED, "resolved "},
                                        {UFIB_ADJ_GLEAN, "glean "},
                                        {UFIB_ADJ_DROP, "drop "},
                                        {UFIB_ADJ_PEER_GW, "gateway "}})
            if ((at->flags & bit) != 0) out += name;
        return out + std::to_string(at->holders) + " " + std::to_string(refs(hop));
    }
    int notice(const std::vector<wire_neighbour> &rows) {
        fake_take();
        return rig.dispatch(OPC_AM_NOTICE, wire_am_notice(rows));
    }
};
INSTANTIATE_TEST_SUITE_P(both, neighbours, both_families, family_name);

TEST_P(neighbours, a_route_and_the_manager_share_an_adjacency) {
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    EXPECT_EQ(state(f.hop), "glean 0 1");
    const uint32_t handle = adj(f.hop)->obj.handle;
    notice({{f.hop, ETH1, MAC}});
    EXPECT_EQ(state(f.hop), "resolved 1 2");
    notice({{f.hop, ETH1, "0200000000bb"}});
    EXPECT_EQ(state(f.hop), "resolved 1 2") << "told again: rewritten, no further reference";
    EXPECT_EQ(fake_take({"insert_adj", f.prefix_slot}).size(), 1u) << "and no route is touched";
    EXPECT_EQ(adj(f.hop)->obj.handle, handle);
    notice({{f.hop, ETH1}});
    EXPECT_EQ(state(f.hop), "glean 0 1") << "no stale MAC stays";
    notice({{f.hop, ETH1}});
    EXPECT_EQ(state(f.hop), "glean 0 1") << "again: nothing to drop";
    notice({{f.hop, ETH1, MAC}});
    ASSERT_TRUE(load(f, {remove(f, f.prefix)}));
    EXPECT_EQ(state(f.hop), "resolved 1 1") << "held by the manager alone";
    EXPECT_EQ(adj(f.hop)->obj.handle, handle);
    notice({{f.hop, ETH1}});
    EXPECT_EQ(state(f.hop), "gone");
    EXPECT_EQ(fake_count("delete_adj"), 1u);
}

TEST_P(neighbours, the_manager_may_come_first) {
    notice({{f.hop, ETH1, MAC}});
    EXPECT_EQ(state(f.hop), "resolved 1 1");
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    EXPECT_EQ(state(f.hop), "resolved 1 2");
    EXPECT_EQ(fake_count("insert_adj"), 1u) << "the route takes it as it stands";
    ASSERT_TRUE(load(f, {remove(f, f.prefix)}));
    EXPECT_EQ(state(f.hop), "resolved 1 1");
}

TEST_P(neighbours, only_the_manager_sets_and_clears_the_peer_gateway) {
    notice({{f.hop, ETH1, MAC, 0x04}});
    EXPECT_EQ(state(f.hop), "resolved gateway 1 1");
    ASSERT_TRUE(load(f, {add(f, f.prefix, "", ETH1, 0x08)}));
    EXPECT_EQ(state(f.hop), "resolved gateway 1 2");
    notice({{f.hop, ETH1, MAC}});
    EXPECT_EQ(state(f.hop), "resolved 1 2");
}

TEST_P(neighbours, an_interface_that_goes_down_drops) {
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    notice({{f.hop, ETH1, MAC}, {f.hop2, ETH1, MAC}});
    notice({{f.hop, ETH1, "", 0x80}});
    EXPECT_EQ(state(f.hop), "glean drop 0 1") << "a route needs it: it stays and drops";
    EXPECT_EQ(state(f.hop2), "gone") << "nobody needs it";
    EXPECT_EQ(fake_count("one_write_ready"), 3u) << "one each, and one for the entry";
    EXPECT_EQ(fake_count("all_writes_ready"), 2u);
    notice({{f.hop, ETH1, MAC}});
    EXPECT_EQ(state(f.hop), "resolved 1 2") << "up again";
    notice({{f.hop, ETH2, "", 0x80}});
    EXPECT_EQ(state(f.hop), "resolved 1 2") << "an interface that is not known";
}

TEST_P(neighbours, an_interface_that_is_deleted_waits_for_its_end) {
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    notice({{f.hop, ETH1, MAC, 0x10}});
    EXPECT_EQ(state(f.hop), "glean drop 0 1");
    rig.advance_seconds(6);
    EXPECT_NE(ufib_idb_search(vdc(), ETH1), nullptr) << "a route still needs it";
    ASSERT_TRUE(load(f, {remove(f, f.prefix)}));
    notice({{f.hop, ETH1, "", 0x10}});
    rig.advance_seconds(6);
    EXPECT_EQ(ufib_idb_search(vdc(), ETH1), nullptr);
    EXPECT_TRUE(rig.log_has(f.index == 0 ? "Deleting V4 idb 0x1a010001" : "Deleting V6 idb 0x1a010001"));
}

TEST_P(neighbours, entries_that_cannot_be_are_skipped) {
    bytes odd = wire_am_notice({{f.hop, ETH1, MAC}, {f.hop2, ETH1, MAC}, {f.hop, ETH1}});
    odd[8 + 2] = 7; /* family of the first */
    fake_take();
    EXPECT_EQ(rig.dispatch(OPC_AM_NOTICE, odd), 0);
    EXPECT_EQ(errors(E_AM_API_INVALID_AFI), 1u);
    EXPECT_TRUE(rig.log_has("am notification with invalid l3 afi"));
    EXPECT_EQ(errors(E_AM_MISSING_ADJ), 1u);
    EXPECT_TRUE(rig.log_has(std::string("destroying a non existing adj ") + f.hop));
    EXPECT_EQ(state(f.hop2), "resolved 1 1") << "the rest is worked";
    EXPECT_EQ(fake_count("one_write_ready"), 3u);
    bytes down = wire_am_notice({{f.hop2, ETH1, "", 0x80}});
    down[8 + 2] = 7;
    EXPECT_EQ(rig.dispatch(OPC_AM_NOTICE, down), 0);
    EXPECT_EQ(errors(E_AM_API_INVALID_AFI), 2u) << "an interface cannot go down in no family";
    notice({{f.index == 0 ? "0.0.0.0" : "::", ETH1}});
    EXPECT_EQ(errors(E_AM_MISSING_ADJ), 1u) << "an empty address is ignored";
    EXPECT_EQ(notice({}), 0);
    EXPECT_EQ(errors(E_AM_API), 1u);
    EXPECT_TRUE(rig.log_has("am notification has 0 entries"));
    EXPECT_EQ(fake_count("all_writes_ready"), 0u);
}

TEST_P(neighbours, the_platform_may_decline_a_new_one) {
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    ufib_platform_table.adj_required = [](uint32_t vdc_id, uint32_t if_index, uint32_t afi, uint32_t,
                                          uint32_t) { return vdc_id != 1 || if_index != ETH1 || afi > 2; };
    notice({{f.hop2, ETH1, MAC}, {f.hop, ETH1, MAC}});
    EXPECT_EQ(state(f.hop2), "gone");
    EXPECT_EQ(state(f.hop), "resolved 1 2") << "one that is there is not asked about";
    ASSERT_TRUE(load(f, {add(f, f.prefix2, f.hop2)})) << "nor does a route ask";
}

TEST_P(neighbours, are_not_heard_while_updates_are_stopped_nor_for_an_inactive_vdc) {
    lcfwd_stop_update = true;
    EXPECT_EQ(notice({{f.hop, ETH1, MAC}}), 0);
    lcfwd_stop_update = false;
    EXPECT_TRUE(rig.log_has("ERROR: lcfwd_stop_update is on"));
    EXPECT_EQ(rig.dispatch(OPC_AM_NOTICE, wire_am_notice({{f.hop, ETH1, MAC}}), {.vdc = 2}), 0);
    EXPECT_EQ(state(f.hop), "gone");
    EXPECT_EQ(fake_count("insert_adj"), 0u);
}

/* One that the library asks to let go dies with its last route, though the manager holds it. */
TEST_P(neighbours, the_platform_may_release_the_managers_hold) {
    notice({{f.hop, ETH1, MAC}});
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    ufib_platform_table.adj_del_am_lock = [](void *) { return true; };
    ASSERT_TRUE(load(f, {remove(f, f.prefix)}));
    EXPECT_EQ(state(f.hop), "gone");
}
