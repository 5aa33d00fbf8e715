/* What is named by family does the same as the one text for both; IPv4 addresses go in as numbers. */
#include "tests/ufib/ufib_rig.h"
#include "ufib/ufib_adj_names.h"
#include "ufib/ufib_ecmp_names.h"
#include "ufib/ufib_prefix_names.h"
#include "ufib/ufib_route_names.h"
#include "ufib/ufib_vdc.h"

using names_test = ufib_test;

TEST_F(names_test, addresses_in_both_forms_find_the_same) {
    ASSERT_TRUE(load(v4_family, {add(v4_family, "10.1.2.0/24")}));
    ASSERT_TRUE(load(v6_family, {add(v6_family, "2001:db8::/32")}));
    ufib_table *v4 = ufib_table_search(ufib_vdc_get(1), ufib_table_get_default_id());
    ufib_table *v6 = ufib_table_search(ufib_vdc_get(1), ufib_v6_table_get_default_id());
    const bytes net = address_bytes("2001:db8::"), host = address_bytes("2001:db8::1");
    const ufib_v4prefix *pfx4 = ufib_v4prefix_search(v4, 0x0a010200, 24);
    const ufib_v6prefix *pfx6 = ufib_v6prefix_search(v6, net.data(), 32);
    ASSERT_TRUE(pfx4 != nullptr && pfx6 != nullptr);
    EXPECT_EQ(ufib_v4prefix_search_l(v4, 0x0a0102ff), pfx4);
    EXPECT_EQ(ufib_v6prefix_search_l(v6, host.data()), pfx6);
    EXPECT_EQ(ufib_v4rnh_search(v4, 0x0a010200, 24), nullptr);
    ufib_pfx *rnh4 = ufib_v4rnh_create(v4, 0x0a010201, 32, nullptr);
    ufib_pfx *rnh6 = ufib_v6rnh_create(v6, host.data(), 128, nullptr);
    EXPECT_EQ(ufib_v4rnh_search(v4, 0x0a010201, 32), rnh4);
    EXPECT_EQ(ufib_v6rnh_search(v6, host.data(), 128), rnh6);
    EXPECT_EQ(ufib_v4prefix_destroy(v4, rnh4) + ufib_v6prefix_destroy(v6, rnh6), 2);
}

/* The label side may keep an adjacency for itself, and install it later. */
TEST_F(names_test, an_adjacency_of_the_label_side_is_installed_when_it_is_asked_for) {
    ufib_vdc *vdc = ufib_vdc_get(1);
    ufib_adj_request request = {};
    request.mpls_only = true;
    ufib_v4adj *adj = ufib_v4adj_create(vdc, nullptr, {ETH1, {10, 0, 0, 1}}, request);
    ASSERT_NE(adj, nullptr);
    fake.fail_at["insert_adj"] = 1;
    EXPECT_FALSE(ufib_v4adj_create_in_hw(adj, 0));
    EXPECT_EQ(errors(E_ADJ_HW_INSTALL), 1u);
    EXPECT_TRUE(ufib_v4adj_create_in_hw(adj, 0));
    EXPECT_TRUE(ufib_v4adj_create_in_hw(adj, 0)) << "once";
    EXPECT_EQ(fake_count("insert_adj"), 2u);
    EXPECT_EQ(ufib_v4adj_destroy(nullptr, adj, false), 1);
}
