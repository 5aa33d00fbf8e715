/* Virtual objects as such: who shares one, what it records, how it comes and goes. */
#include "tests/ufib/vobj_rig.h"

#include "host/containers/slab.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_pss_vobj.h"

struct vobj_life_test : vobj_test, testing::WithParamInterface<const family *> {
    vobj_life_test() { now = GetParam(); }
    size_t vobjs() const { return fake_entries("vobj").size(); }
    std::string host(unsigned n) const {
        return v4() ? "30.0.0." + std::to_string(n) + "/32" : "2001:db8:33::" + std::to_string(n) + "/128";
    }
};

TEST_P(vobj_life_test, equal_rows_in_equal_order_share_one) {
    ASSERT_TRUE(load(f(), {over(0, {1}), over(1, {2})}));
    ASSERT_TRUE(load(f(), {recursive(0, {through(0), through(1)}), recursive(1, {through(0), through(1)})}));
    EXPECT_EQ(vobj_of(0), vobj_of(1));
    ASSERT_TRUE(load1(recursive(2, {through(1), through(0)})));
    EXPECT_NE(vobj_of(2), vobj_of(0));
    EXPECT_EQ(paths_of(2), paths_of(0)) << "sorted, whatever the rows' order";
    wire_hop backup = through(1, RECURSIVE_HOP | BACKUP_HOP);
    ASSERT_TRUE(load1(recursive(3, {through(0), backup})));
    EXPECT_NE(vobj_of(3), vobj_of(0));
    EXPECT_EQ(vobjs(), 3u);
}

TEST_P(vobj_life_test, host_routes_have_their_own_and_one_path_where_hosts_cannot_share) {
    ASSERT_TRUE(load1(over(0, {1, 2})));
    wire_route route = add(f(), host(1));
    route.hops = {through(0)};
    ASSERT_TRUE(load(f(), {recursive(0, {through(0)}), route}));
    EXPECT_EQ(vobjs(), 2u);
    const ufib_pfx *pfx = find(host(1), false);
    const ufib_vobj *of_host = ufib_obj_to_vobj(pfx->obj.next);
    EXPECT_EQ(of_host->host, 1u);
    EXPECT_EQ(of_host->hash, vobj_of(0)->hash) << "one bucket: the mark lies behind the hashed rows";
    EXPECT_EQ(of_host->cnh_count, 1u);
    EXPECT_EQ(vobj_of(0)->cnh_count, 2u);
}

TEST_P(vobj_life_test, an_unknown_next_hop_drops_until_its_route_comes) {
    wire_hop hop = through(0);
    hop.table_id = f().table + 7; /* no such table yet */
    ASSERT_TRUE(load1(recursive(0, {hop})));
    EXPECT_EQ(paths_of(0), "drop");
    const ufib_table *made = ufib_table_search(ufib_vdc_get(1), f().table + 7);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->obj.handle, 0u) << "in software only";
    EXPECT_EQ(made->rnh.prefix_count, 1u);
    wire_route route = over(0, {3});
    route.table_id = f().table + 7;
    ASSERT_TRUE(load1(route));
    EXPECT_NE(made->obj.handle, 0u);
    EXPECT_EQ(paths_of(0), "3");
}

TEST_P(vobj_life_test, rows_that_can_lead_nowhere_fail_the_route) {
    const family &other = v4() ? v6_family : v4_family;
    ASSERT_TRUE(load(other, {add(other, other.prefix)}));
    const struct {
        const char *name;
        uint32_t table;
    } rows[] = {{"no table", 0}, {"the other family's table", other.table}};
    for (const auto &row : rows) {
        wire_hop hop = through(0);
        hop.table_id = row.table;
        EXPECT_FALSE(load1(recursive(0, {through(1), hop}))) << row.name;
        EXPECT_EQ(find(dest(0), false), nullptr) << row.name;
        EXPECT_EQ(rnh_of(1), nullptr) << "the row before it has gone again: " << row.name;
    }
    EXPECT_EQ(vobjs(), 0u);
}

TEST_P(vobj_life_test, plain_hops_among_recursive_ones_forward) {
    ASSERT_TRUE(load1(over(0, {2})));
    wire_hop plain = {.address = path(1), .if_index = ETH1, .table_id = f().table};
    ASSERT_TRUE(load1(recursive(0, {through(0), plain})));
    EXPECT_EQ(paths_of(0), "1 2");
    ufib_delete_stale_prefixes(table(), 1);
    EXPECT_EQ(paths_of(0), "1 2") << "no route confirms a plain hop's own: it cannot be stale";
    ASSERT_TRUE(load1(remove(f(), dest(0))));
    EXPECT_EQ(rnh_of(0)->rnh->dependents.count, 0u) << "confirmed by a route: it stays";
    EXPECT_EQ(table()->rnh.prefix_count, 1u) << "the plain hop's own has gone with its last row";
}

TEST_P(vobj_life_test, labels_and_backups_of_rows) {
    ASSERT_TRUE(load(f(), {over(0, {1}), over(1, {2})}));
    wire_hop labelled = through(0), segment = through(1, RECURSIVE_HOP | 0x10);
    labelled.labels = {77};
    segment.segment = 4711;
    ASSERT_TRUE(load1(recursive(0, {labelled, segment})));
    EXPECT_EQ(paths_of(0), "2") << "a label needs a label path, a segment does not";
    EXPECT_EQ(vobj_of(0)->cnhs[0].label, 4711u);
    EXPECT_EQ(vobj_of(0)->cnhs[0].flags, UFIB_CNH_SEGMENT);
}

TEST_P(vobj_life_test, a_refused_install_leaves_nothing) {
    fake.fail_all["insert_vobj"] = 1;
    EXPECT_FALSE(load1(recursive(0, {through(0), through(1)})));
    EXPECT_EQ(errors(E_VOBJ_HW_INSTALL), 1u);
    EXPECT_EQ(rnh_of(0), nullptr);
    EXPECT_EQ(ufib_vobj_get_first(ufib_vdc_get(1)), nullptr);
    fake.fail_all.clear();
    ASSERT_TRUE(load1(recursive(0, {through(0)})));
    slab_fail_nth("ufib vobj allocator", 1);
    EXPECT_FALSE(load1(recursive(1, {through(1)})));
    EXPECT_EQ(errors(E_VOBJ_SLAB_ALLOC), 1u);
    EXPECT_EQ(rnh_of(1), nullptr);
    EXPECT_TRUE(rig.log_has("failed to alloc vobj dbel, hash "));
}

TEST_P(vobj_life_test, the_record_byte_by_byte) {
    wire_hop backup = through(1, RECURSIVE_HOP | BACKUP_HOP);
    backup.labels = {0x01020304};
    ASSERT_TRUE(load(f(), {over(0, {1, 2}), recursive(0, {through(0), backup})}));
    const auto records = rig.records("vobj_vdc_1");
    ASSERT_EQ(records.size(), 1u);
    bytes want(8 + 4);
    const auto host_order = [&want](uint32_t value) {
        for (int i = 0; i < 4; i++) put8(&want, value >> (8 * i) & 255);
    };
    host_order(vobj_of(0)->new_handle);
    host_order(0);
    host_order(0);
    put8(&want, 0);
    put8(&want, 2);
    put8(&want, 2);
    put_zeros(&want, 29);
    for (unsigned row = 0; row < 2; row++) {
        bytes address = address_bytes(rnh(row));
        if (v4()) std::reverse(address.begin(), address.end());
        address.resize(16);
        put_bytes(&want, address);
        host_order(row == 0 ? 0 : 0x01020304);
        host_order(f().table);
        put8(&want, (v4() ? 0x20 : 0) | 0x40 | (row == 0 ? 0x80 : 0));
        put8(&want, v4() ? 32 : 128);
        put_zeros(&want, 2);
    }
    EXPECT_EQ(records.begin()->second, hex_from_bytes(want));
    const auto prefixes = rig.records("prefix_vdc_1");
    ASSERT_EQ(prefixes.size(), 1u);
    EXPECT_EQ(prefixes.begin()->second.substr(14, 4), "0209") << "two paths of a virtual object";
    ASSERT_TRUE(load1(remove(f(), dest(0))));
    EXPECT_TRUE(rig.records("vobj_vdc_1").empty());
}

TEST_P(vobj_life_test, sixty_four_rows_and_not_one_more) {
    std::vector<wire_route> rnhs;
    std::vector<wire_hop> hops;
    for (unsigned n = 0; n < 64; n++) {
        rnhs.push_back(over(n, {n}));
        hops.push_back(through(n));
    }
    ASSERT_TRUE(load(f(), rnhs));
    ASSERT_TRUE(load1(recursive(0, hops)));
    EXPECT_EQ(vobj_of(0)->cnh_count, 64u);
    EXPECT_EQ(rig.records("vobj_vdc_1").begin()->second.size(), 2 * 1848u);
    hops.push_back(through(64));
    EXPECT_FALSE(load1(recursive(1, hops)));
}

TEST_P(vobj_life_test, everything_can_go_in_any_order) {
    for (unsigned order = 0; order < 6; order++) {
        ASSERT_TRUE(load(f(), {over(0, {1, 2}), over(1, {3})}));
        load_many(0, 20, {through(0), through(1)});
        ASSERT_TRUE(load1(over(0, {1, 2, 4})));
        if (order % 2 == 0) (void)ufib_dirty_vobjs_do_pfx_backwalk(7);
        const auto routes = [&] {
            for (unsigned n = 0; n < 20; n++) ASSERT_TRUE(load1(remove(f(), dest(order < 3 ? n : 19 - n))));
        };
        if (order % 3 == 0) routes();
        ASSERT_TRUE(load1(no_rnh(0)));
        if (order % 3 == 1) routes();
        ASSERT_TRUE(load1(no_rnh(1)));
        if (order % 3 == 2) routes();
        EXPECT_EQ(vobjs(), 0u);
        EXPECT_EQ(ufib_dirty_vobj_list.count + ufib_vobj_rpf_list.count + ufib_rnh_update_pending_list.count,
                  0u);
        EXPECT_EQ(table()->rnh.prefix_count, 0u);
        EXPECT_EQ(fake_entries("adj").size(), 10u - 2u) << "the globals remain";
    }
}

TEST_P(vobj_life_test, a_vdc_dies_in_the_middle_of_a_move) {
    ASSERT_TRUE(load1(over(0, {1, 2})));
    load_many(0, 20, {through(0)});
    ASSERT_TRUE(load1(over(0, {1, 2, 4})));
    (void)ufib_dirty_vobjs_do_pfx_backwalk(7);
    ASSERT_NE(ufib_vobj_fec_paths_add(vobj_of(0)), nullptr) << "a label leads to it beyond the routes";
    rig.send(OPC_VDC_DELETE, wire_vdc(1));
    EXPECT_EQ(fake_count("delete_vobj_fec 2"), 1u);
    EXPECT_EQ(ufib_dirty_vobj_list.count + ufib_vobj_rpf_list.count + ufib_rnh_update_pending_list.count, 0u);
    EXPECT_TRUE(fake_entries("vobj").empty());
    second();
    rig.vdc(1);
}

TEST_P(vobj_life_test, the_fec_view_keeps_the_object_and_follows_its_instances) {
    ASSERT_TRUE(load(f(), {over(0, {1, 2}), recursive(0, {through(0)})}));
    ufib_vobj *vobj = vobj_of(0);
    ufib_obj *label_next = nullptr;
    ufib_vobj_fec *fec = ufib_vobj_fec_paths_add(vobj);
    ASSERT_EQ(ufib_vobj_fec_paths_add(vobj), fec);
    ufib_obj_link_objects(&label_next, &fec->obj);
    const uint32_t first = fec->new_handle;
    EXPECT_NE(first, 0u);
    ASSERT_TRUE(load1(over(0, {1, 2, 3})));
    EXPECT_EQ(fec->old_handle, first);
    EXPECT_NE(fec->new_handle, first);
    settle();
    EXPECT_EQ(fec->old_handle, 0u);
    ASSERT_TRUE(load1(remove(f(), dest(0))));
    EXPECT_EQ(vobjs(), 1u) << "the label still leads to it";
    ufib_obj_unlink_objects(&label_next, true);
    (void)ufib_platform_all_writes_ready();
    EXPECT_EQ(vobjs(), 0u);
}

TEST_P(vobj_life_test, a_restart_attaches_and_finishes_the_move) {
    ASSERT_TRUE(load1(over(0, {1, 2})));
    load_many(0, 20, {through(0)});
    ASSERT_TRUE(load1(over(0, {1, 2, 4})));
    (void)ufib_dirty_vobjs_do_pfx_backwalk(7);
    ASSERT_EQ(vobjs(), 2u);
    const uint32_t current = vobj_of(0)->new_handle;
    fake_take();
    ASSERT_EQ(rig.restart(), 0);
    ASSERT_NE(vobj_of(0), nullptr);
    EXPECT_EQ(vobj_of(0)->new_handle, current);
    EXPECT_EQ(vobj_of(0)->prefixes.count, 20u);
    EXPECT_EQ(vobjs(), 1u) << "the instance that was being left has gone";
    for (unsigned n = 0; n < 20; n++) EXPECT_EQ(pointed_at(n), current);
    EXPECT_EQ(fake_count("update_prefix_nh"), 13u);
    settle();
}

INSTANTIATE_TEST_SUITE_P(families, vobj_life_test, both_families, family_name);
