/* What routes do to the model and the platform: calls in their order, the next object by the route's flags, refusals,
 * holders, and the end of tables, interfaces and VDCs. */
#include "host/containers/slab.h"
#include "platform/ufib_pi.h"
#include "platform/ufib_platform.h"
#include "tests/ufib/route_rig.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_idb.h"
#include "ufib/ufib_journal.h"
#include "ufib/ufib_route.h"
#include "ufib/ufib_xpi.h"

#include <map>
#include <set>

constexpr uint32_t TUNNEL1 = 0x22000001;

struct route : route_base {};
INSTANTIATE_TEST_SUITE_P(both, route, both_families, family_name);

TEST_P(route, makes_before_it_breaks) {
    EXPECT_EQ(run(add(f, f.prefix)), (lines{"insert_table T new = 11", "insert_adj H1 if 1 glean new = 12",
                                            "insert_prefix table 11 P1 to 12 new = 13"}));
    EXPECT_EQ(run(add(f, f.prefix)), (lines{"insert_prefix table 11 P1 to 12 update = 13"}))
        << "the same again";
    EXPECT_EQ(ufib_obj_refs(&adj(f.hop)->obj), 1u);
    EXPECT_EQ(run(add(f, f.prefix, f.hop2)),
              (lines{"insert_adj H2 if 1 glean new = 14", "insert_prefix table 11 P1 to 14 update = 13",
                     "delete_adj H1 if 1 12"}))
        << "the old next hop goes when the new state stands";
    EXPECT_EQ(run(add(f, f.prefix2, f.hop2)), (lines{"insert_prefix table 11 P2 to 14 new = 15"}));
    EXPECT_EQ(run(add(f, f.prefix3, f.hop2, ETH2)),
              (lines{"insert_adj H2 if 2 glean new = 16", "insert_prefix table 11 P3 to 16 new = 17"}))
        << "another interface is another next hop";
    EXPECT_EQ(run(remove(f, f.prefix)), (lines{"delete_prefix P1 13"}));
    EXPECT_EQ(run(remove(f, f.prefix2)), (lines{"delete_prefix P2 15", "delete_adj H2 if 1 14"}));
    EXPECT_EQ(run(remove(f, f.prefix2)), lines{"failed"});
    EXPECT_EQ(ufib_errno, 0x420020u);
    EXPECT_EQ(run(remove(f, f.prefix3)), (lines{"delete_prefix P3 17", "delete_adj H2 if 2 16"}));
}

TEST_P(route, in_a_batch_with_an_absent_one_is_worked) {
    EXPECT_EQ(run(remove(f, f.prefix)), lines{"failed"}) << "not even its table is there";
    EXPECT_EQ(ufib_errno, 0x420020u);
    EXPECT_EQ(table(), nullptr) << "a delete makes none";
    EXPECT_FALSE(load(f, {add(f, f.prefix), remove(f, f.prefix3), add(f, f.prefix2)}));
    EXPECT_EQ(fake_entries("prefix").size(), 2u);
    EXPECT_EQ(vdc()->prefix_count, 2u);
    EXPECT_EQ(table()->main.prefix_count, 2u);
    EXPECT_EQ(table()->main.nh_count, 2);
}

struct flag_case {
    uint8_t flags;
    const char *name;
    const uint32_t family::*global; /* the next object; null: an adjacency of its own */
};
static const flag_case flag_cases[] = {
    {0x04, "drop", &family::drop},
    {0x02, "local punts", &family::punt},
    {0x01, "direct gleans", &family::glean},
    {0x07, "drop before punt before glean", &family::drop},
    {0x43, "punt before glean before never stale", &family::punt},
    {0x0c, "drop before attached", &family::drop},
    {0x00, "plain", nullptr},
    {0x10, "ldb is plain", nullptr},
};

TEST_P(route, flags_choose_the_next_object) {
    for (const flag_case &row : flag_cases) {
        SCOPED_TRACE(row.name);
        ASSERT_TRUE(load(f, {add(f, f.prefix, "", ETH1, row.flags)}));
        const uint32_t next = ufib_pi_prefix_get_adj_handle(prefix(f.prefix));
        EXPECT_EQ(fake_entries("adj").size(), row.global != nullptr ? 8u : 9u);
        if (row.global != nullptr) {
            EXPECT_EQ(next, f.*row.global);
            EXPECT_EQ(ufib_idb_search(vdc(), ETH1), nullptr) << "no interface is made for it";
            EXPECT_EQ(run(add(f, f.prefix)).size(), 2u) << "back to a plain one";
        } else {
            EXPECT_EQ(next, adj(f.hop)->obj.handle);
        }
        EXPECT_TRUE(load(f, {remove(f, f.prefix)}));
        EXPECT_EQ(fake_entries("adj").size(), 8u);
        rig.advance_seconds(6);
    }
}

TEST_P(route, never_stale_shares_one_adjacency_that_comes_and_goes) {
    ASSERT_TRUE(load(f, {add(f, f.prefix, "", ETH1, 0x40), add(f, f.prefix2, f.hop2, ETH1, 0x40)}));
    EXPECT_EQ(fake_entries("adj").size(), 9u);
    EXPECT_EQ(ufib_obj_refs(&vdc()->global_adj[UFIB_GLOBAL_RECIRCULATE]->obj), 2u) << "none of its own";
    ASSERT_TRUE(load(f, {remove(f, f.prefix, 0x40)}));
    EXPECT_NE(vdc()->global_adj[UFIB_GLOBAL_RECIRCULATE], nullptr);
    ASSERT_TRUE(load(f, {remove(f, f.prefix2, 0x40)}));
    EXPECT_EQ(vdc()->global_adj[UFIB_GLOBAL_RECIRCULATE], nullptr);
    EXPECT_EQ(fake_entries("adj").size(), 8u);
}

TEST_P(route, drop_on_a_tunnel_makes_an_adjacency_that_drops) {
    ASSERT_TRUE(load(f, {add(f, f.prefix, "", TUNNEL1, 0x04)}));
    ASSERT_NE(adj(f.hop, TUNNEL1), nullptr);
    EXPECT_EQ(adj(f.hop, TUNNEL1)->flags, UFIB_ADJ_DROP);
    EXPECT_EQ(adj(f.hop, TUNNEL1)->kind, UFIB_ADJ_TUNNEL);
}

/* An attached next hop drops until its neighbour is known; a plain route over it gleans again. */
TEST_P(route, attached_drops_until_resolved) {
    EXPECT_EQ(run(add(f, f.prefix, "", ETH1, 0x08)).at(1), "insert_adj H1 if 1 drop new = 12");
    EXPECT_EQ(adj(f.hop)->flags & 0x8880, 0x8080u);
    EXPECT_EQ(run(add(f, f.prefix2)), (lines{"insert_prefix table 11 P2 to 12 new = 14"}))
        << "it is reused as it is";
    EXPECT_EQ(run(remove(f, f.prefix, 0x08)),
              (lines{"insert_adj H1 if 1 glean update = 12", "delete_prefix P1 13"}));
    EXPECT_EQ(run(add(f, f.prefix, "", ETH1, 0x08)).at(0), "insert_adj H1 if 1 drop glean update = 12");
    neighbour({f.hop, ETH1, "0200000000aa"});
    EXPECT_EQ(adj(f.hop)->flags & 0x9880, 0x0800u) << "resolved: neither dropping nor gleaning nor attached";
    EXPECT_EQ(run(remove(f, f.prefix, 0x08)), (lines{"delete_prefix P1 15"}));
}

TEST_P(route, two_equal_hops_are_one_path) {
    wire_route twice = add(f, f.prefix);
    twice.hops.push_back(twice.hops[0]);
    EXPECT_EQ(run(twice).back(), "insert_prefix table 11 P1 to 12 new = 13");
    EXPECT_EQ(table()->main.nh_count, 1);
    wire_route host = add(f, f.prefix3);
    host.hops.push_back({.address = f.hop2, .if_index = ETH1});
    EXPECT_EQ(run(host), (lines{"insert_prefix table 11 P3 to 12 new = 14"}))
        << "a host route takes its first path where hosts cannot share load";
    EXPECT_EQ(table()->main.nh_count, 2);
}

/* The two families have tables of their own; a route cannot enter one of the other. */
TEST_P(route, a_table_belongs_to_one_family) {
    const family &other = f.index == 0 ? v6_family : v4_family;
    wire_route stray = add(f, f.prefix);
    stray.table_id = 9;
    ASSERT_TRUE(load(f, {stray}));
    wire_route wrong = add(other, other.prefix);
    wrong.table_id = 9;
    EXPECT_FALSE(load(other, {wrong}));
    wrong.remove = true;
    EXPECT_FALSE(load(other, {wrong}));
    EXPECT_EQ(fake_entries("prefix").size(), 1u);
}

/* ---- refusals ---- */

struct refusal : route_base {};
INSTANTIATE_TEST_SUITE_P(both, refusal, both_families, family_name);

TEST_P(refusal, of_a_table) {
    fake.fail_at[f.table_slot] = 1;
    EXPECT_EQ(run(add(f, f.prefix)), (lines{"failed", "insert_table T new = 0"}));
    EXPECT_EQ(errors(E_TABLE_HW_INSTALL), 1u);
    ASSERT_NE(table(), nullptr) << "it stays in software";
    EXPECT_EQ(run(add(f, f.prefix)).size(), 3u) << "and the next route completes it";
    EXPECT_EQ(vdc()->table_count, 3u);
}

TEST_P(refusal, of_a_new_next_hop) {
    fake.fail_at["insert_adj"] = 1;
    EXPECT_EQ(run(add(f, f.prefix)),
              (lines{"failed", "insert_table T new = 11", "insert_adj H1 if 1 glean new = 0"}));
    EXPECT_EQ(errors(E_ADJ_HW_INSTALL), 1u);
    EXPECT_EQ(prefix(f.prefix), nullptr);
    EXPECT_EQ(adj(f.hop), nullptr);
    EXPECT_NE(ufib_idb_search(vdc(), ETH1), nullptr);
    rig.advance_seconds(6);
    EXPECT_EQ(ufib_idb_search(vdc(), ETH1), nullptr);
    EXPECT_EQ(table(), nullptr) << "empty again";
}

TEST_P(refusal, of_another_next_hop_leaves_the_old_one) {
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    fake.fail_at["insert_adj"] = 1;
    EXPECT_EQ(run(add(f, f.prefix, f.hop2)), (lines{"failed", "insert_adj H2 if 1 glean new = 0"}));
    EXPECT_EQ(ufib_pi_prefix_get_adj_handle(prefix(f.prefix)), adj(f.hop)->obj.handle);
}

TEST_P(refusal, of_a_new_prefix_removes_what_it_made) {
    fake.fail_at[f.prefix_slot] = 1;
    EXPECT_EQ(run(add(f, f.prefix)),
              (lines{"failed", "insert_table T new = 11", "insert_adj H1 if 1 glean new = 12",
                     "insert_prefix table 11 P1 to 12 new = 0", "delete_adj H1 if 1 12"}));
    EXPECT_EQ(errors(E_PFX_HW_INSTALL), 1u);
    EXPECT_EQ(vdc()->prefix_count, 0u);
    EXPECT_EQ(rig.records("prefix_vdc_1").size(), 0u);
}

/* The library takes the entry of a refused rewrite away; nothing of the prefix may remain, its records neither. */
TEST_P(refusal, of_a_rewrite_destroys_the_prefix_and_its_records) {
    consistent = false; /* the old next hop waited for the new state, which never stood: it stays */
    ASSERT_TRUE(load(f, {add(f, f.prefix, "", ETH1, 0x01), add(f, f.prefix2)}));
    EXPECT_EQ(rig.records("dcsrif_vdc_1").size(), 1u);
    fake.fail_at[f.prefix_slot] = 1;
    EXPECT_EQ(run(add(f, f.prefix, f.hop2, ETH1, 0x01)).at(0), "failed");
    EXPECT_EQ(prefix(f.prefix), nullptr);
    EXPECT_EQ(rig.records("prefix_vdc_1").size(), 1u) << "that of the other prefix";
    EXPECT_EQ(rig.records("dcsrif_vdc_1").size(), 0u);
    EXPECT_TRUE(load(f, {add(f, f.prefix)}));
}

/* Hardware that refuses a rewrite goes on with what it had: so does the model, under the old handle. */
TEST_P(refusal, of_an_adjacency_rewrite_keeps_the_handle) {
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    const uint32_t handle = adj(f.hop)->obj.handle;
    fake.fail_at["insert_adj"] = 1;
    neighbour({f.hop, ETH1, "0200000000aa"});
    EXPECT_EQ(adj(f.hop)->obj.handle, handle);
    EXPECT_EQ(adj(f.hop)->holders, 0u) << "the notice got nothing";
    EXPECT_EQ(ufib_obj_refs(&adj(f.hop)->obj), 1u);
    neighbour({f.hop, ETH1, "0200000000aa"});
    EXPECT_EQ(adj(f.hop)->holders, 1u);
    fake.fail_at["insert_adj"] = 1;
    neighbour({f.hop, ETH1});
    EXPECT_EQ(adj(f.hop)->obj.handle, handle);
    consistent = false; /* the entry still has the neighbour */
    fake_take();
    EXPECT_EQ(run(remove(f, f.prefix)).back(), "delete_adj H1 if 1 " + std::to_string(handle));
}

/* ---- other holders ---- */

struct holders : route_base {
    uint32_t add_as(uint8_t holder, const char *text, const ufib_xpi *xpi = nullptr) {
        const bytes record = wire_route_v1(add(f, text));
        const uint32_t result =
            ufib_route_add(af(), vdc(), f.table, reinterpret_cast<const route_rec *>(record.data()), 1,
                           nullptr, holder, xpi);
        (void)ufib_platform_all_writes_ready();
        return result;
    }
    uint32_t remove_as(uint8_t holder, const char *text) {
        const bytes record = wire_route_v1(remove(f, text));
        const uint32_t result = ufib_route_delete(af(), vdc(), f.table,
                                                  reinterpret_cast<const route_rec *>(record.data()), holder);
        (void)ufib_platform_all_writes_ready();
        return result;
    }
};
INSTANTIATE_TEST_SUITE_P(both, holders, both_families, family_name);

TEST_P(holders, keep_a_route_until_the_last_leaves) {
    for (const uint8_t other : {UFIB_HOLDER_SGRP, UFIB_HOLDER_IPSG, UFIB_HOLDER_ERSPAN}) {
        ASSERT_TRUE(load(f, {add(f, f.prefix)}));
        ASSERT_EQ(add_as(other, f.prefix), 0u);
        EXPECT_FALSE(load(f, {remove(f, f.prefix)}));
        EXPECT_EQ(ufib_errno, 0x41003eu);
        EXPECT_EQ(prefix(f.prefix)->holders, other);
        EXPECT_EQ(fake_entries("prefix").size(), 1u);
        EXPECT_EQ(remove_as(other, f.prefix), 0u);
        EXPECT_EQ(prefix(f.prefix), nullptr);
    }
    EXPECT_TRUE(rig.log_has(std::string(f.name) + " pfx locked, holder_lock = 0x2"));
}

TEST_P(holders, of_tags_and_bindings_bring_them_along) {
    static const ufib_xpi *bound;
    bound = nullptr;
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    ufib_hook.ipsg_create = [](ufib_pfx *, const ufib_xpi *xpi) { bound = xpi; };
    const ufib_xpi tagged = {.mac = {}, .flags = UFIB_XPI_TAG, .if_index = 0, .tag = 77};
    const ufib_xpi untagged = {.mac = {}, .flags = 0x07, .if_index = ETH1, .tag = 78};
    uint16_t tag = 0;
    EXPECT_EQ(add_as(UFIB_HOLDER_IPSG, f.prefix, &tagged), 0u);
    EXPECT_EQ(bound, &tagged);
    EXPECT_LT(ufib_pi_prefix_get_sgt(prefix(f.prefix), &tag), 0) << "a tag comes from its own client alone";
    bound = nullptr;
    EXPECT_EQ(add_as(UFIB_HOLDER_SGRP, f.prefix, &untagged), 0u);
    EXPECT_LT(ufib_pi_prefix_get_sgt(prefix(f.prefix), &tag), 0);
    EXPECT_EQ(add_as(UFIB_HOLDER_SGRP, f.prefix, &tagged), 0u);
    EXPECT_EQ(ufib_pi_prefix_get_sgt(prefix(f.prefix), &tag), 0);
    EXPECT_EQ(tag, 77);
    EXPECT_EQ(bound, nullptr);
    EXPECT_EQ(remove_as(UFIB_HOLDER_SGRP, f.prefix), 0x41003eu);
    EXPECT_LT(ufib_pi_prefix_get_sgt(prefix(f.prefix), &tag), 0) << "and goes with its client";
}

TEST_P(holders, of_labels_and_sources_keep_a_prefix_in_software) {
    consistent = false; /* clients that are not there hold the prefixes */
    for (const auto &[holder, global] : {std::pair{UFIB_HOLDER_FEC, af().global_drop},
                                         std::pair{UFIB_HOLDER_MCAST_SRC, af().global_mcast_src}}) {
        ASSERT_TRUE(load(f, {add(f, f.prefix)}));
        prefix(f.prefix)->holders |= holder;
        EXPECT_EQ(run(remove(f, f.prefix)).at(0).substr(0, 16), "delete_prefix P1");
        ufib_pfx *kept = prefix(f.prefix);
        ASSERT_NE(kept, nullptr);
        EXPECT_EQ(kept->obj.handle, 0u);
        EXPECT_EQ(kept->obj.next, &vdc()->global_adj[global]->obj);
        EXPECT_EQ(rig.records("prefix_vdc_1").size(), 0u);
        ASSERT_TRUE(load(f, {add(f, f.prefix)})) << "a later add takes it up again";
        EXPECT_EQ(prefix(f.prefix), kept);
        kept->holders = UFIB_HOLDER_UFDM;
        ASSERT_TRUE(load(f, {remove(f, f.prefix)}));
    }
}

TEST_P(holders, a_refused_write_leaves_a_labelled_prefix_at_drop) {
    consistent = false;
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    prefix(f.prefix)->holders |= UFIB_HOLDER_FEC;
    fake.fail_at[f.prefix_slot] = 1;
    EXPECT_FALSE(load(f, {add(f, f.prefix, f.hop2)}));
    ASSERT_NE(prefix(f.prefix), nullptr);
    EXPECT_EQ(prefix(f.prefix)->holders, UFIB_HOLDER_FEC);
    EXPECT_EQ(prefix(f.prefix)->obj.next, &vdc()->global_adj[af().global_drop]->obj);
    EXPECT_EQ(rig.records("prefix_vdc_1").size(), 0u);
}

/* ---- ends ---- */

struct ends : route_base {};
INSTANTIATE_TEST_SUITE_P(both, ends, both_families, family_name);

TEST_P(ends, an_empty_table_waits_five_seconds) {
    ASSERT_TRUE(load(f, {add(f, f.prefix), remove(f, f.prefix)}));
    rig.advance_ms(4900);
    EXPECT_NE(table(), nullptr);
    rig.advance_ms(200);
    EXPECT_EQ(table(), nullptr);
    EXPECT_EQ(vdc()->table_count, 2u);
    EXPECT_EQ(fake_entries("table").size(), 2u) << "the wildcard tables stay";
    EXPECT_EQ(rig.traces(1, "started table delete-pending timer").size(), 1u);
}

TEST_P(ends, a_table_or_interface_that_is_used_again_survives) {
    ASSERT_TRUE(load(f, {add(f, f.prefix), remove(f, f.prefix), add(f, f.prefix2), remove(f, f.prefix2)}));
    rig.advance_ms(3000);
    ASSERT_TRUE(load(f, {add(f, f.prefix3)}));
    const ufib_table *before = table();
    const ufib_idb *interface = ufib_idb_search(vdc(), ETH1);
    rig.advance_seconds(6);
    EXPECT_EQ(table(), before);
    EXPECT_EQ(table()->flags, 0u) << "nor was it asked to go";
    EXPECT_EQ(ufib_idb_search(vdc(), ETH1), interface);
    ASSERT_TRUE(load(f, {remove(f, f.prefix3)}));
    rig.advance_seconds(6);
    EXPECT_EQ(table(), nullptr);
    EXPECT_EQ(ufib_idb_search(vdc(), ETH1), nullptr);
}

TEST_P(ends, waiting_entries_of_a_vdc_that_is_gone_find_nothing) {
    ASSERT_TRUE(load(f, {add(f, f.prefix), remove(f, f.prefix)}));
    rig.send(OPC_VDC_DELETE, wire_vdc(1));
    rig.advance_seconds(6);
    rig.vdc(1);
    ASSERT_TRUE(load(f, {add(f, f.prefix), remove(f, f.prefix)}));
    rig.send(OPC_VDC_DELETE, wire_vdc(1));
    rig.vdc(1);
    ASSERT_TRUE(load(f, {add(f, f.prefix)}));
    rig.advance_seconds(6);
    EXPECT_NE(table(), nullptr) << "the entry found the new table, which is in use";
}

TEST_P(ends, a_vdc_takes_everything_with_it) {
    const uint64_t without = slab_total_in_use();
    rig.vdc(2);
    std::vector<wire_route> routes;
    for (const uint8_t flags : bytes{0x00, 0x01, 0x02, 0x04, 0x08, 0x40, 0x80, 0x20})
        routes.push_back(add(f, f.prefix, f.hop, ETH1 + flags, flags));
    for (uint32_t i = 0; i < routes.size(); i++) routes[i].table_id = f.table + i;
    ASSERT_NE(send(f, 1, batch(f, 1, routes), 2), "");
    rig.send(OPC_AM_NOTICE, wire_am_notice({{f.hop, ETH1, "020000000001"}, {f.hop2, ETH2, "020000000002"}}),
             {.vdc = 2});
    ASSERT_GT(slab_total_in_use(), without + 10);
    std::map<uint32_t, uint32_t> next; /* what the entries of prefixes point at */
    for (const auto &[handle, entry] : fake.entries)
        if (entry.kind == "prefix")
            next[handle] = static_cast<uint32_t>(std::stoul(entry.content.substr(entry.content.rfind(' '))));
    fake_take();
    rig.send(OPC_VDC_DELETE, wire_vdc(2));
    EXPECT_EQ(slab_total_in_use(), without);
    EXPECT_EQ(fake.entries.size(), 10u) << "what VDC 1 has";
    EXPECT_EQ(ufib_vdc_get(2), nullptr);
    EXPECT_TRUE(rig.records("prefix_vdc_2").empty());
    std::set<uint32_t> gone;
    for (const std::string &line : fake_take({"delete_"})) {
        const auto handle = static_cast<uint32_t>(std::stoul(line.substr(line.rfind(' '))));
        if (line.rfind("delete_adj", 0) == 0) gone.insert(handle);
        if (line.rfind(f.delete_slot, 0) == 0) {
            EXPECT_EQ(gone.count(next.at(handle)), 0u) << line;
        }
    }
    EXPECT_GE(gone.size(), 10u);
}

TEST_P(ends, a_vdc_with_locked_prefixes_goes_all_the_same) {
    ASSERT_TRUE(load(f, {add(f, f.prefix), add(f, f.prefix2), add(f, f.prefix3)}));
    prefix(f.prefix)->holders |= UFIB_HOLDER_FEC;
    prefix(f.prefix2)->holders |= UFIB_HOLDER_MCAST_SRC | UFIB_HOLDER_UFDM;
    prefix(f.prefix3)->holders |= UFIB_HOLDER_SGRP | UFIB_HOLDER_IPSG | UFIB_HOLDER_ERSPAN | UFIB_HOLDER_LISP;
    rig.send(OPC_VDC_DELETE, wire_vdc(1));
    EXPECT_EQ(errors(E_DEL_PFX_LOCKED), 2u) << "labels and sources are not released by the deletion";
    EXPECT_EQ(slab_total_in_use(), 0u);
    EXPECT_TRUE(fake.entries.empty());
}

/* ---- references and the journal ---- */

TEST_F(ufib_test, links_take_one_reference_and_never_overwrite) {
    ufib_obj a = {UFIB_OBJ_V4ADJ, 0, nullptr}, b = {UFIB_OBJ_V4ADJ, 0, nullptr};
    ufib_obj *slot = nullptr;
    ufib_obj_link_objects(&slot, nullptr);
    EXPECT_EQ(slot, nullptr);
    ufib_obj_link_objects(&slot, &a);
    ufib_obj_link_objects(&slot, &b);
    EXPECT_EQ(slot, &a);
    EXPECT_EQ(ufib_obj_refs(&a), 1u);
    EXPECT_EQ(ufib_obj_refs(&b), 0u);
    ufib_journal_clear();
    ufib_obj_unlink_objects(&slot, false);
    EXPECT_TRUE(ufib_journal_find_ddel_object(&a)) << "it waits";
    EXPECT_FALSE(ufib_journal_find_ddel_object(&b));
    ufib_journal_forget(&a);
    EXPECT_FALSE(ufib_journal_find_ddel_object(&a)) << "freed by another way";
    ufib_obj_drop(&a);
    EXPECT_EQ(ufib_obj_refs(&a), 0u);
    EXPECT_EQ(ufib_obj_type_of(&a), UFIB_OBJ_V4ADJ) << "a count never runs below 0";
    ufib_journal_clear();
    for (uint32_t i = 0; i < UFIB_JOURNAL_ENTRIES; i++) ufib_journal_log(UFIB_JOURNAL_INSERTED, &b, nullptr);
    ufib_journal_log(UFIB_JOURNAL_DEFERRED_DELETE, &a, nullptr);
    EXPECT_FALSE(ufib_journal_find_ddel_object(&a)) << "the block is full";
    ufib_journal_clear();
}
