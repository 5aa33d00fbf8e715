/* Restarts: what stood stands again, under the same handles, and nothing is written; what cannot be used goes. */
#include "tests/ufib/ha_routes.h"

#include "persist/lcfwd_pss.h"
#include "platform/ufib_platform.h"
#include "softfwd/softfwd_check.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_pss_read.h"
#include "ufib/ufib_record.h"
#include "ufib/ufib_rnh.h"
#include "ufib/ufib_route.h"

#include <cstring>
#include <malloc.h>

class ufib_ha : public ha_routes_test {};
INSTANTIATE_TEST_SUITE_P(families, ufib_ha, both_families, family_name);

TEST_P(ufib_ha, routes_of_every_sort_reattach_without_a_write) {
    ASSERT_TRUE(load(f, sorts(), 7));
    expect_clean_restart();
    neighbour({.address = f.hop, .if_index = ETH1, .mac = MAC});
    neighbour({.address = f.hop2, .if_index = ETH2, .mac = MAC});
    neighbour({.address = f.hop2, .if_index = ETH1, .mac = MAC}); /* of no route */
    expect_clean_restart();
    neighbour({.address = f.hop, .if_index = ETH1});
    neighbour({.address = f.hop2,
               .if_index = ETH2}); /* attached: it gleans now, and not only because of the route */
    expect_clean_restart();
    neighbour({.address = f.hop2, .if_index = ETH1, .flags = 0x01}); /* its interface goes down */
    expect_clean_restart();
}

TEST_P(ufib_ha, a_tag_comes_back_with_its_route) {
    ASSERT_TRUE(load(f, {add(f, prefix(f, 0))}));
    const bytes record = wire_route_v1(add(f, prefix(f, 0)));
    const ufib_xpi tagged = {.mac = {}, .flags = UFIB_XPI_TAG, .if_index = 0, .tag = 77};
    ASSERT_EQ(ufib_route_add(ufib_families[f.index], ufib_vdc_get(1), f.table,
                             reinterpret_cast<const route_rec *>(record.data()), 1, nullptr, UFIB_HOLDER_SGRP,
                             &tagged),
              0u);
    (void)ufib_platform_all_writes_ready();
    expect_clean_restart();
    EXPECT_EQ(route(0)->sgt, 77);
}

/* What an interface that is down hides shows when its neighbour leaves. */
TEST_P(ufib_ha, a_next_hop_of_an_interface_that_went_down_gleans_again) {
    ASSERT_TRUE(load(f, {add(f, prefix(f, 0))}));
    neighbour({.address = f.hop, .if_index = ETH1, .mac = MAC});
    neighbour({.address = f.hop, .if_index = ETH1, .flags = 0x80});
    expect_clean_restart();
    neighbour({.address = f.hop, .if_index = ETH1});
    const ufib_adj *adj = ufib_adj_get_first(ufib_vdc_get(1), ufib_families[f.index]);
    EXPECT_EQ(adj->flags & (UFIB_ADJ_GLEAN | UFIB_ADJ_DROP), UFIB_ADJ_GLEAN);
}

TEST_P(ufib_ha, updates_and_deletes_of_the_past_leave_nothing) {
    ASSERT_TRUE(load(f, sorts()));
    std::vector<wire_route> changes = {add(f, prefix(f, 0), f.hop2, ETH2), remove(f, prefix(f, 1)),
                                       add(f, prefix(f, 10)), add(f, prefix(f, 12), f.hop, ETH1, ATTACHED)};
    ASSERT_TRUE(load(f, changes, 9));
    expect_clean_restart();
    ASSERT_TRUE(load(f, {remove(f, prefix(f, 0)), remove(f, prefix(f, 12))}, 9));
    expect_clean_restart();
}

TEST_P(ufib_ha, a_hundred_restarts_are_as_one) {
    wire_route group = add(f, prefix(f, 40)), recursive = add(f, prefix(f, 41));
    group.hops.push_back({.address = f.hop2, .if_index = ETH1});
    recursive.hops = {{.address = f.hop2, .flags = 0x01, .table_id = f.table}};
    ASSERT_TRUE(load(f, sorts()));
    ASSERT_TRUE(load(f, {group, recursive}));
    neighbour({.address = f.hop, .if_index = ETH1, .mac = MAC});
    const auto everything = [this] {
        return ha_model_text() + std::to_string(writes()) + " " + std::to_string(softfwd_image_digest()) +
               store_text();
    };
    for (int i = 0; i < 50; i++) restart(); /* until what grows once has grown */
    const std::string once = everything();
    const size_t memory = mallinfo2().uordblks;
    for (int i = 0; i < 100; i++) restart();
    EXPECT_LT(mallinfo2().uordblks, memory + 4096);
    EXPECT_EQ(everything(), once);
    EXPECT_EQ(model_findings(rig), "");
}

TEST_P(ufib_ha, a_replay_and_a_stale_delete_equal_a_fresh_load) {
    const std::string via = f.index == 0 ? "10.99.0." : "2001:db8:99::",
                      hop3 = f.index == 0 ? "192.0.2.3" : "fe80::3";
    const char *full = f.index == 0 ? "/32" : "/128";
    /* Route n to its k-th way: one neighbour, two, or a recursive next hop. */
    const auto way = [&](unsigned n, unsigned k) {
        wire_route route = add(f, prefix(f, n));
        const wire_hop hops[] = {{.address = f.hop, .if_index = ETH1},
                                 {.address = k % 2 == 0 ? f.hop2 : hop3, .if_index = ETH1}};
        route.hops = {hops[k % 2]};
        if (n % 3 == 1) route.hops = {hops[0], hops[1]};
        if (n % 3 == 2)
            route.hops = {{.address = via + std::to_string(1 + k % 4), .flags = 0x01, .table_id = f.table}};
        return route;
    };
    const auto load_all = [&](uint8_t epoch, auto way_of) {
        std::vector<wire_route> routes;
        for (unsigned k = 1; k < 5; k++)
            if (epoch == 1 || k != 3)
                routes.push_back(
                    add(f, via + std::to_string(k) + full, k % 2 == 0 ? f.hop : hop3, ETH1, 0x20));
        for (unsigned n = 0; n < 600; n++)
            if (const int k = way_of(n); k >= 0) routes.push_back(way(n, static_cast<unsigned>(k)));
        rig.send(OPC_DOWNLOAD, wire_download(1));
        ASSERT_TRUE(load(f, routes, epoch));
        rig.send(OPC_DOWNLOAD, wire_download(2));
    };
    /* A tenth is gone, a tenth goes another way. */
    const auto later = [](unsigned n) { return n % 10 == 7 ? -1 : n % 10 == 3 ? 1 : 0; };
    load_all(1, [](unsigned) { return 0; });
    neighbour({.address = f.hop, .if_index = ETH1, .mac = MAC});
    expect_clean_restart();
    EXPECT_GE(stats(f).routes_recovered, 600u);
    load_all(2, later);
    rig.send(OPC_STALE_DELETE, wire_stale_delete(static_cast<uint8_t>(f.afi), 0, 2));
    rig.advance_seconds(3);
    EXPECT_EQ(lookup(f, address(f, 0)), "forward");
    EXPECT_EQ(lookup(f, address(f, 7)), "no route");
    EXPECT_EQ(model_findings(rig), "");
    expect_clean_restart();
    const std::string replayed = ha_routes_text();
    from_nothing();
    load_all(2, later);
    EXPECT_EQ(ha_routes_text(), replayed);
}

TEST_P(ufib_ha, groups_are_found_again_by_all_who_share_them) {
    softfwd_config_get()->caps.host_ecmp_supported = 1;
    const auto several = [this](const std::string &to, const std::vector<std::string> &hops,
                                uint8_t flags = 0) {
        wire_route route = add(f, to, hops[0], ETH1, flags);
        route.hops.clear();
        for (const std::string &hop : hops) route.hops.push_back({.address = hop, .if_index = ETH1});
        return route;
    };
    const std::string hop3 = f.index == 0 ? "192.0.2.3" : "fe80::3";
    ASSERT_TRUE(
        load(f, {several(prefix(f, 0), {f.hop, f.hop2}), several(prefix(f, 1), {f.hop, f.hop2}),
                 several(prefix(f, 2), {f.hop2, f.hop}), several(prefix(f, 3), {f.hop, f.hop2, hop3}),
                 several(prefix(f, 4), {f.hop, f.hop2}, DROP), several(prefix(f, 5), {f.hop, hop3}, ATTACHED),
                 several(f.prefix3, {f.hop, f.hop2}), add(f, prefix(f, 6)),
                 several(prefix(f, 7), {f.hop2, hop3}, DROP), several(prefix(f, 8), {f.hop2, hop3})}));
    expect_clean_restart();
    ASSERT_TRUE(load(f, {remove(f, prefix(f, 7))})) << "who made the group drop is gone, the group is not";
    expect_clean_restart();
    neighbour({.address = f.hop, .if_index = ETH1, .mac = MAC});
    neighbour({.address = hop3, .if_index = ETH1, .mac = MAC});
    expect_clean_restart();
    EXPECT_EQ(route(0)->obj.next, route(1)->obj.next);
    ASSERT_TRUE(load(f, {remove(f, prefix(f, 0)), remove(f, prefix(f, 1)), remove(f, prefix(f, 2)),
                         remove(f, prefix(f, 3)), remove(f, f.prefix3)}));
    expect_clean_restart();
}

TEST_P(ufib_ha, recursive_routes_keep_their_groups) {
    const std::string via = f.index == 0 ? "10.99.0.1" : "2001:db8:99::1";
    const std::string via2 = f.index == 0 ? "10.99.0.2" : "2001:db8:99::2";
    const std::string full = f.index == 0 ? "/32" : "/128";
    const auto over = [this](const std::string &to, const std::vector<std::string> &hops) {
        wire_route route = add(f, to);
        route.hops.clear();
        for (const std::string &hop : hops)
            route.hops.push_back({.address = hop, .flags = 0x01, .table_id = f.table});
        return route;
    };
    const auto resolved = [&](const std::string &to, const std::vector<std::string> &hops) {
        wire_route route = add(f, to + full, hops[0], ETH1, 0x20);
        route.hops.clear();
        for (const std::string &hop : hops) route.hops.push_back({.address = hop, .if_index = ETH1});
        return route;
    };
    const bytes info(24, 0x5a); /* extra information comes with the first route of a group */
    const auto info_of = [this](unsigned n) {
        const uint8_t *xri = ufib_obj_to_vobj(route(n)->obj.next)->xri;
        return hex_from_bytes(bytes(xri, xri + 24));
    };
    wire_route first = over(prefix(f, 1), {via, via2});
    first.hops[0].xri = info;
    ASSERT_TRUE(
        load(f, {over(prefix(f, 0), {via}), first, over(prefix(f, 2), {via, via2}), add(f, prefix(f, 9))}));
    EXPECT_EQ(info_of(2), hex_from_bytes(info));
    expect_clean_restart(); /* next hops that no route confirms */
    EXPECT_EQ(info_of(2), hex_from_bytes(info));
    ASSERT_TRUE(load(f, {resolved(via, {f.hop}), resolved(via2, {f.hop, f.hop2})}));
    neighbour({.address = f.hop, .if_index = ETH1, .mac = MAC});
    neighbour({.address = f.hop2, .if_index = ETH1, .mac = MAC});
    rig.advance_seconds(2);
    expect_clean_restart();
    EXPECT_EQ(route(1)->obj.next, route(2)->obj.next);
    /* What labels look at; and rows of every sort. */
    const ufib_vobj_fec *view = ufib_vobj_fec_paths_add(ufib_obj_to_vobj(route(2)->obj.next));
    ASSERT_NE(view, nullptr);
    lcfwd_pss_buf_commit();
    const uint32_t view_handle = view->new_handle;
    wire_route mixed = over(prefix(f, 3), {via, via2});
    mixed.hops[0].flags |= 0x10;
    mixed.hops[0].segment = 4711;
    mixed.hops[1].flags |= 0x04;
    ASSERT_TRUE(load(f, {mixed}));
    expect_clean_restart();
    view = ufib_obj_to_vobj(route(2)->obj.next)->fec;
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(view->new_handle, view_handle);
    EXPECT_EQ(view->old_handle, 0u);
    ufib_vobj_fec_destroy(nullptr, const_cast<ufib_obj *>(&view->obj));
    ASSERT_TRUE(load(f, {remove(f, via2 + full, 0x20), remove(f, prefix(f, 0)), remove(f, prefix(f, 3))}));
    rig.advance_seconds(2);
    expect_clean_restart(); /* one is marked for deletion, and still used */
    /* Its update had to wait when the process died: it goes on. */
    const auto [key, value] = *rig.records("prefix_rnh_vdc_1").begin();
    bytes waiting = bytes_from_hex(value);
    waiting[0] |= 0x02;
    put(LCFWD_PSS_PREFIX_RNH, bytes_from_hex(key), waiting);
    restart();
    EXPECT_EQ(ufib_rnh_update_pending_list.count, 1u);
    rig.advance_seconds(2);
    EXPECT_EQ(ufib_rnh_update_pending_list.count, 0u);
    EXPECT_EQ(rig.records("prefix_rnh_vdc_1").at(key), value);
    ASSERT_TRUE(load(f, {remove(f, prefix(f, 1)), remove(f, prefix(f, 2))}));
    rig.advance_seconds(2);
    expect_clean_restart();
}

TEST_P(ufib_ha, a_walk_that_a_restart_interrupts_is_thereby_finished) {
    const std::string via = f.index == 0 ? "10.99.0.1" : "2001:db8:99::1";
    const std::string full = f.index == 0 ? "/32" : "/128";
    wire_route confirm = add(f, via + full, f.hop, ETH1, 0x20);
    std::vector<wire_route> routes = {confirm};
    for (unsigned n = 0; n < 20; n++) {
        wire_route route = add(f, prefix(f, n));
        route.hops = {{.address = via, .flags = 0x01, .table_id = f.table}};
        routes.push_back(route);
    }
    ASSERT_TRUE(load(f, routes));
    neighbour({.address = f.hop, .if_index = ETH1, .mac = MAC});
    neighbour({.address = f.hop2, .if_index = ETH1, .mac = MAC});
    confirm.hops.push_back({.address = f.hop2, .if_index = ETH1});
    ASSERT_TRUE(load(f, {confirm})); /* another size: a second group, and a walk that has not begun */
    restart();
    EXPECT_EQ(model_findings(rig), "");
    EXPECT_EQ(lookup(f, address(f, 3)), "forward");
    EXPECT_EQ(rig.records("vobj_vdc_1").size(), 1u);
    expect_clean_restart();
}

TEST_P(ufib_ha, a_large_store_is_read_back_without_an_alarm) {
    std::vector<wire_route> routes;
    for (unsigned n = 0; n < 400; n++) {
        routes.push_back(add(f, prefix(f, n)));
        const std::string via = (f.index == 0 ? "10.99." + std::to_string(n / 200) + "." : "2001:db8:99::") +
                                std::to_string(1 + n % 200) + (f.index != 0 && n >= 200 ? ":1" : "");
        routes.back().hops = {{.address = via, .flags = 0x01, .table_id = f.table}};
    }
    ASSERT_TRUE(load(f, routes));
    expect_clean_restart();
    EXPECT_FALSE(rig.log_has("Trigger PSS and hardware commit"));
    /* Nor do all routes behind one next hop move with one. */
    for (unsigned n = 0; n < 2600; n++) {
        if (n % 500 == 0) routes.clear();
        routes.push_back(add(f, prefix(f, 400 + n)));
        routes.back().hops = {{.address = f.hop2, .flags = 0x01, .table_id = f.table}};
        if (routes.size() == 500 || n == 2599) {
            ASSERT_TRUE(load(f, routes));
        }
    }
    wire_route confirm = add(f, f.hop2 + std::string(f.index == 0 ? "/32" : "/128"), f.hop, ETH1, 0x20);
    ASSERT_TRUE(load(f, {confirm}));
    confirm.hops.push_back({.address = f.hop, .if_index = ETH2});
    ASSERT_TRUE(load(f, {confirm}));
    rig.advance_seconds(2);
    EXPECT_FALSE(rig.log_has("Trigger PSS and hardware commit"));
}

TEST_P(ufib_ha, what_only_a_client_holds_comes_back_with_its_counts) {
    ASSERT_TRUE(load(f, {add(f, prefix(f, 0))}));
    ufib_vdc *vdc = ufib_vdc_get(1);
    const ufib_family &family = ufib_families[f.index];
    ufib_adj_key key = {ETH2, {}};
    const bytes hop = address_bytes(f.hop2);
    std::copy(hop.begin(), hop.end(), key.address);
    ufib_adj_request request = {};
    request.holder = UFIB_ADJ_HELD_PBR;
    ufib_obj *obj = ufib_get_create_adj(vdc, family, key, request);
    ASSERT_NE(obj, nullptr);
    auto *adj = reinterpret_cast<ufib_adj *>(obj);
    ufib_obj_hold(obj);
    adj->pbr_count = 3;
    ufib_pss_insert_adj(adj);
    ufib_pss_insert_misc(1, obj->handle, {.kind = family.pss_adj, .adj_flags = 0});
    lcfwd_pss_buf_commit();
    EXPECT_EQ(rig.records("misc_vdc_1").size(), 1u);
    expect_clean_restart();
    adj = ufib_adj_search(ufib_vdc_get(1), family, key);
    ASSERT_NE(adj, nullptr);
    EXPECT_EQ(adj->pbr_count, 3u);
    EXPECT_EQ(ufib_obj_refs(&adj->obj), 1u);
    ufib_pss_delete_misc(1, adj->obj.handle);
    lcfwd_pss_buf_commit();
    EXPECT_EQ(rig.records("misc_vdc_1").size(), 0u);
}

TEST_P(ufib_ha, reverse_path_modes_and_stored_tables_come_back) {
    softfwd_config_get()->caps.table_pss_space_len = 3000; /* of the library's own, beside the flags */
    restart();
    ASSERT_TRUE(load(f, {add(f, prefix(f, 0))}));
    for (const char *row : {"03010000", "01020000"}) /* modes 3 and 1 */
        rig.send(74761, bytes_from_hex("000000140000000100000008" + std::string(row) + "1a010002"));
    ufib_table *table = ufib_table_search(ufib_vdc_get(1), f.table);
    table->flags = 0x0a;
    ufib_pss_insert_table(table);
    lcfwd_pss_buf_commit();
    restart();
    const ufib_idb *idb = ufib_idb_search(ufib_vdc_get(1), ETH2);
    ASSERT_NE(idb, nullptr);
    EXPECT_EQ(idb->rpf_mode[0] * 10 + idb->rpf_mode[1], 31);
    EXPECT_EQ(idb->holders, 0x0c);
    EXPECT_EQ(ufib_table_search(ufib_vdc_get(1), f.table)->flags, 0x0a);
    /* The engine has no room for a table that the store knows: its record goes with it. */
    put(LCFWD_PSS_UFIB_TABLE, raw32(f.table + 5), raw32(ufib_families[f.index].table_type));
    softfwd_config_get()->max_tables = softfwd_table_count();
    restart();
    EXPECT_EQ(rig.records("ufib_table_vdc_1").size(), 2u);
    rig.advance_seconds(6);
    EXPECT_EQ(rig.records("ufib_table_vdc_1").size(), 1u);
}

using ufib_ha_v4 = ha_test;

TEST_F(ufib_ha_v4, a_tunnel_keeps_its_ends) {
    constexpr uint32_t tunnel = 0x22000001;
    const family &f = v4_family;
    ASSERT_TRUE(load(f, {add(f, f.prefix, "192.0.2.9", tunnel)}));
    rig.send(74764, bytes_from_hex("010101404000000022000001c0000209c6336401c63364020200000000ee"));
    const ufib_adj *adj = ufib_adj_get_first(ufib_vdc_get(1), ufib_v4);
    const bytes ends(adj->rewrite.bytes, adj->rewrite.bytes + 12);
    EXPECT_EQ(lookup(f, "10.1.0.1"), "forward");
    expect_clean_restart();
    adj = ufib_adj_get_first(ufib_vdc_get(1), ufib_v4);
    EXPECT_EQ(bytes(adj->rewrite.bytes, adj->rewrite.bytes + 12), ends);
    EXPECT_EQ(lookup(f, "10.1.0.1"), "forward");
}

using ufib_ha_v6 = ha_test;

/* Whichever record it is: what routes use stays, and a neighbour without a route. */
TEST_F(ufib_ha_v6, a_handle_in_two_files_of_next_objects_is_dropped_in_one) {
    wire_route group = add(v4_family, v4_family.prefix2);
    group.hops.push_back({.address = v4_family.hop2, .if_index = ETH1});
    ASSERT_TRUE(load(v4_family, {add(v4_family, v4_family.prefix), group}));
    ASSERT_TRUE(load(v6_family, {add(v6_family, v6_family.prefix)}));
    neighbour({.address = v6_family.hop2, .if_index = ETH1, .mac = MAC});
    neighbour({.address = v6_family.hop, .if_index = ETH1, .mac = MAC});
    const ufib_adj *v4 = ufib_adj_get_first(ufib_vdc_get(1), ufib_v4),
                   *v6 = ufib_adj_get_first(ufib_vdc_get(1), ufib_v6);
    const auto records = [this](const char *name) { return rig.records(std::string(name) + "_vdc_1"); };
    const struct {
        uint32_t handle;
        lcfwd_pss_kind kind; /* of the record that is wrong */
        const char *found;   /* where the other one is */
    } rows[] = {{v6->obj.handle, LCFWD_PSS_V4ADJ, "v4adj"},
                {ufib_adj_get_next(v6)->obj.handle, LCFWD_PSS_V4ECMP, "v4ecmp"},
                {v4->obj.handle, LCFWD_PSS_V6ADJ, "v4adj"},
                {ufib_ecmp_get_first(ufib_vdc_get(1))->obj.handle, LCFWD_PSS_V6ADJ, "v4ecmp"}};
    const auto adjs4 = records("v4adj"), adjs6 = records("v6adj"), groups = records("v4ecmp");
    const std::string before = ha_model_text();
    for (const auto &row : rows) {
        bytes value =
            row.kind == LCFWD_PSS_V4ECMP ? bytes(524) : bytes(row.kind == LCFWD_PSS_V4ADJ ? 9 : 21, 7);
        if (row.kind == LCFWD_PSS_V4ECMP) value[4] = 1; /* a group of one path */
        const pss2_datum key = {&row.handle, sizeof row.handle},
                         datum = {value.data(), static_cast<uint32_t>(value.size())};
        ASSERT_EQ(pss2_store(lcfwd_pss_service(row.kind, 1), &key, &datum), STORE_OK);
        ASSERT_EQ(rig.restart(), 0);
        char line[96];
        std::snprintf(line, sizeof line, " Found duplicate adj_ha_handle in %s pss: %#x, vdc: 1.", row.found,
                      row.handle);
        EXPECT_TRUE(rig.log_has(line)) << line;
        std::snprintf(line, sizeof line, "Critical error: ha_hdl %#x is invalid", row.handle);
        EXPECT_TRUE(rig.log_has(line)) << line;
        EXPECT_EQ(ha_model_text(), before) << line;
        EXPECT_EQ(model_findings(rig), "") << line;
        EXPECT_TRUE(records("v4adj") == adjs4 && records("v6adj") == adjs6 && records("v4ecmp") == groups);
    }
}

TEST_F(ufib_ha_v6, contexts_are_rebuilt_each_by_itself) {
    rig.vdc(4);
    for (const family *f : {&v4_family, &v6_family})
        for (const uint16_t vdc : {uint16_t{1}, uint16_t{4}})
            EXPECT_NE(send(*f, 1, batch(*f, 1, {add(*f, vdc == 1 ? f->prefix : f->prefix2)}), vdc), "");
    const std::string other = ha_model_text(4);
    expect_clean_restart();
    EXPECT_EQ(ha_model_text(4), other);
    pss2_service *service = nullptr;
    EXPECT_TRUE(ufib_pss_was_vdc_known(4, &service));
    EXPECT_FALSE(ufib_pss_was_vdc_known(2, &service));
}

/* The recording platform gives what hardware would not. */
using ufib_ha_fake = ufib_test;

TEST_F(ufib_ha_fake, host_bits_behind_the_mask_make_no_new_key) {
    for (const family *f : {&v4_family, &v6_family}) ASSERT_TRUE(load(*f, {add(*f, f->prefix)}));
    for (auto &[handle, entry] : fake.entries)
        if (entry.kind == "prefix") entry.route.address[entry.route.mask_len < 32 ? 3 : 15] = 0x55;
    ASSERT_EQ(rig.restart(), 0);
    for (const family *f : {&v4_family, &v6_family}) {
        const std::string prefix = f->prefix, net = prefix.substr(0, prefix.find('/'));
        const ufib_pfx *pfx = ufib_prefix_get_first(&ufib_table_search(ufib_vdc_get(1), f->table)->main);
        ASSERT_NE(pfx, nullptr);
        const bytes is(ufib_pfx_address(pfx), ufib_pfx_address(pfx) + (f->index == 0 ? 4 : 16));
        EXPECT_EQ(hex_from_bytes(is), hex_from_bytes(address_bytes(net)));
    }
    EXPECT_EQ(fake_count("ufib_restart_recovery_start"), 1u);
    EXPECT_EQ(fake_count("ufib_restart_recovery_end"), 1u);
}

/* Most of a route is told twice, by the record and by the route that is formed from it: each has to tell it. */
TEST_F(ufib_ha_fake, flags_of_a_record_become_those_of_a_route) {
    uint8_t value[UFIB_PREFIX_RECORD_SIZE] = {0xff};
    ufib_ha_route record = {};
    ASSERT_TRUE(ufib_ha_save_pi_prefix_info(&record, {value, sizeof value}, 7));
    EXPECT_EQ(record.route_flags, 0xcfu);
    record.route_flags = 0x704; /* it drops */
    for (const ufib_family &family : ufib_families) {
        const route_rec *route = ufib_ha_form_route(family, ufib_vdc_get(1), &record);
        ASSERT_NE(route, nullptr);
        uint32_t flags = 0;
        EXPECT_EQ(ufib_route_get_extended_flgs(route, &flags), 0x1cu);
        EXPECT_EQ(flags, 0x700u);
        EXPECT_EQ(route->opcode, family.index == 0 ? 1 : 3);
        EXPECT_EQ(route->nh_count, 1);
    }
}

TEST_F(ufib_ha_fake, an_entry_that_is_not_taken_back_is_cleaned_out) {
    for (const family *f : {&v4_family, &v6_family}) {
        ASSERT_TRUE(load(*f, {add(*f, f->prefix), add(*f, f->prefix2)}));
        fake.fail_at[f->prefix_slot] = 1;
    }
    fake_take();
    ASSERT_EQ(rig.restart(), 0);
    EXPECT_EQ(fake_count("ha_clean_v4_pfx"), 1u);
    EXPECT_EQ(fake_count("ha_clean_v6_pfx"), 1u);
    EXPECT_EQ(rig.records("prefix_vdc_1").size(), 2u);
    EXPECT_EQ(model_findings(rig), "");
}
