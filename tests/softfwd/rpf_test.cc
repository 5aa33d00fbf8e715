/* Reverse-path checks of the data plane, and tunnels in look-ups. */
#include "softfwd/softfwd_rpf_check.h"
#include "tests/softfwd/softfwd_rig.h"

#include <arpa/inet.h>

struct softfwd_rpf : softfwd_rig {
    softfwd_rpf() { start(0); }
    ~softfwd_rpf() override { fake_tunnel = fake_tunnel_v6 = nullptr; }

    /* "off", "pass" or "fail". */
    std::string check(const char *source, uint32_t if_index) {
        const bool v6 = strchr(source, ':') != nullptr;
        uint8_t address[16] = {};
        inet_pton(v6 ? AF_INET6 : AF_INET, source, address);
        (void)lookup(source); /* attaches the reader */
        softfwd_rpf_result out;
        EXPECT_EQ(softfwd_rpf_check(reader, v6 ? ADDRESS_FAMILY_V6 : ADDRESS_FAMILY_V4, vdc,
                                    v6 ? table6_id : table_id, if_index, address, &out),
                  0);
        return softfwd_rpf_name(out.verdict);
    }
};

static const struct {
    const char *family, *prefix, *direct, *source, *attached, *unknown;
    bool v4;
} families[] = {
    {"v4", "10.1.0.0/16", "10.2.0.0/16", "10.1.2.3", "10.2.0.7", "11.0.0.1", true},
    {"v6", "2001:db8:1::/48", "2001:db8:2::/48", "2001:db8:1::3", "2001:db8:2::7", "2001:db9::1", false}};

TEST_F(softfwd_rpf, loose_wants_a_route_strict_wants_the_interface) {
    for (const auto &f : families) {
        SCOPED_TRACE(f.family);
        const uint32_t attached_if = f.v4 ? 0x1a000055 : 0x1a000066;
        const uint32_t table = f.v4 ? api.insert_v4_table(vdc, table_id, nullptr, 0)
                                    : api.insert_v6_table(vdc, table6_id, nullptr, 0);
        fake_adj hop = adj(f.v4 ? 1 : 5, f.v4); /* other interfaces for each family */
        fake_prefix route = prefix(f.prefix, &hop);
        ASSERT_NE(insert(table, &route), 0u);
        fake_adj glean = adj(f.v4 ? 2 : 6, f.v4);
        glean.resolved = false;
        glean.glean = true;
        glean.if_index = 0x17000000;
        ASSERT_NE(insert(&glean), 0u);
        fake_prefix direct = prefix(f.direct, &glean);
        direct.direct = true;
        direct.attached = attached_if;
        ASSERT_NE(insert(table, &direct), 0u);

        EXPECT_EQ(check(f.unknown, hop.if_index), "off");
        for (const uint8_t mode : {uint8_t{1}, uint8_t{3}}) {
            for (const uint32_t if_index : {hop.if_index, attached_if})
                ASSERT_EQ(api.update_intf_rpf(vdc, if_index, mode, mode), 0);
            const std::string elsewhere = mode == 3 ? "fail" : "pass";
            EXPECT_EQ(check(f.source, hop.if_index), "pass");
            EXPECT_EQ(check(f.source, attached_if), elsewhere);
            EXPECT_EQ(check(f.attached, attached_if), "pass");
            EXPECT_EQ(check(f.attached, hop.if_index), elsewhere);
            EXPECT_EQ(check(f.unknown, hop.if_index), "fail");
        }
        hop.drop = true;
        ASSERT_NE(insert(&hop), 0u);
        EXPECT_EQ(check(f.source, hop.if_index), "fail") << "a route that drops is none";
        ASSERT_EQ(remove(table, &direct), 0);
        EXPECT_EQ(check(f.attached, attached_if), "fail");
    }
}

TEST_F(softfwd_rpf, modes_are_by_family_outlive_the_process_and_end_with_their_vdc) {
    const uint32_t table = api.insert_v4_table(vdc, table_id, nullptr, 0);
    api.insert_v6_table(vdc, table6_id, nullptr, 0);
    fake_adj hop = adj(1);
    fake_prefix route = prefix("10.1.0.0/16", &hop);
    ASSERT_NE(insert(table, &route), 0u);
    ASSERT_EQ(api.update_intf_rpf(vdc, 0x1a000009, 3, 0), 0);
    ASSERT_EQ(api.update_intf_rpf(2, 0x1a000009, 1, 1), 0);
    EXPECT_EQ(check("10.1.0.1", 0x1a000009), "fail");
    EXPECT_EQ(check("2001:db8::1", 0x1a000009), "off");
    restart();
    EXPECT_EQ(check("10.1.0.1", 0x1a000009), "fail");
    process_api.vdc_delete(2);
    EXPECT_EQ(check("10.1.0.1", 0x1a000009), "fail");
    process_api.vdc_delete(vdc);
    EXPECT_EQ(check("10.1.0.1", 0x1a000009), "off");
}

/* Words that say nothing are taken again, so interfaces may come and go for ever; a full table refuses. */
TEST_F(softfwd_rpf, the_table_of_modes_is_bounded_and_reused) {
    for (uint32_t i = 1; i <= 100000; i++) {
        ASSERT_EQ(api.update_intf_rpf(vdc, i, 1, 1), 0) << i;
        ASSERT_EQ(api.update_intf_rpf(vdc, i, 0, 0), 0) << i;
    }
    uint32_t held = 0;
    while (held < 40000 && api.update_intf_rpf(vdc, 0x2000000 + held, 1, 1) == 0) held++;
    EXPECT_EQ(held, 1u << 15);
    EXPECT_EQ(api.update_intf_rpf(vdc, 0x2000000, 3, 3), 0) << "one that is there can change";
}

TEST_F(softfwd_rpf, a_tunnel_forwards_once_it_was_told_and_every_next_hop_over_it_follows) {
    const uint32_t table = api.insert_v6_table(vdc, table6_id, nullptr, 0);
    fake_adj hop = adj(3, false);
    hop.format = 2;
    hop.resolved = false;
    hop.if_index = 0x22000001;
    ASSERT_NE(insert(&hop), 0u);
    fake_prefix route = prefix("2001:db8:1::/48", &hop);
    ASSERT_NE(insert(table, &route), 0u);
    EXPECT_EQ(lookup("2001:db8:1::1").hop.action, SOFTFWD_DROP) << "no encapsulation yet";

    fake_adj told = {};
    told.format = 2;
    told.if_index = hop.if_index;
    told.tunnel_type = 3;
    told.tunnel_source = 0x0a000001;
    told.tunnel_destination = 0x0a000002;
    fake_tunnel = &told;
    fake_tunnel_v6 = &hop;
    EXPECT_EQ(api.update_tunnel(vdc, hop.if_index), 1);
    const softfwd_result result = lookup("2001:db8:1::1");
    EXPECT_EQ(result.hop.action, SOFTFWD_FORWARD);
    EXPECT_STREQ(softfwd_tunnel_name(result.tunnel.type), "isatap");
    EXPECT_EQ(result.tunnel.destination, 0x0a000002u);

    ufib_platform_rewrite rewrite;
    ASSERT_EQ(api.get_rewrite_info(hop.handle, &rewrite), 0);
    EXPECT_EQ(rewrite.bytes[0], 3) << "what a restart learns again";
    EXPECT_TRUE(api.consistency_check_v6_adj(&hop));
    told.tunnel_destination++;
    EXPECT_FALSE(api.consistency_check_v6_adj(&hop));
}
