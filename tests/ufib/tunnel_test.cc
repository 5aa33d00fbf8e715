/* Tunnel notices: the rewrite, the manager's hold, and what is left when the tunnel goes. */
#include "tests/ufib/control_rig.h"

#include "platform/ufib_pi_tunnel.h"
#include "platform/ufib_platform_calls.h"
#include "softfwd/softfwd.h"
#include "softfwd/softfwd_config.h"
#include "ufib/ufib_tunnel.h"

static bytes tunnel(unsigned operation, unsigned type, uint32_t if_index = TUNNEL1, unsigned flags = 1) {
    bytes out;
    put8(&out, operation);
    put8(&out, type);
    put8(&out, flags);
    put8(&out, 0x40); /* tos */
    put8(&out, 64);   /* ttl */
    put8(&out, 0);
    put16(&out, 0x1234);
    put32(&out, if_index);
    put_bytes(&out, address_bytes("192.0.2.9"));
    put_bytes(&out, address_bytes("198.51.100.1"));
    put_bytes(&out, address_bytes("198.51.100.2"));
    put_bytes(&out, bytes_from_hex("0200000000ee"));
    return out;
}

struct tunnel_test : control_test {
    ufib_adj *tunnel_adj() { return adj("192.0.2.9", TUNNEL1); }
    wire_route over_tunnel() { return add(f, f.prefix, "192.0.2.9", TUNNEL1); }
};
INSTANTIATE_TEST_SUITE_P(v4, tunnel_test, testing::Values(&v4_family));

TEST_P(tunnel_test, a_gre_tunnel_gets_all_fields_others_the_ends_alone) {
    for (unsigned type = 1; type <= 3; type++) {
        rig.send(OPC_TUNNEL, tunnel(1, type));
        const ufib_adj *at = tunnel_adj();
        ASSERT_NE(at, nullptr);
        EXPECT_EQ(ufib_pi_adj_get_format(at), 2u);
        EXPECT_TRUE(ufib_pi_is_v4_tunnel_update(at));
        EXPECT_EQ(ufib_pi_v4adj_tunnel_sa(at), 0xc6336401u);
        EXPECT_EQ(ufib_pi_v4adj_tunnel_da(at), 0xc6336402u);
        EXPECT_EQ(ufib_pi_v4adj_tunnel_df(at), 1u);
        EXPECT_EQ(ufib_pi_v4adj_tunnel_tos(at), type == 1 ? 0x40u : 0u);
        EXPECT_EQ(ufib_pi_v4adj_tunnel_ttl(at), type == 1 ? 64u : 0u);
        EXPECT_EQ(ufib_pi_v4adj_is_tunnel_gre(at), type == 1);
        EXPECT_EQ(ufib_pi_v4adj_is_tunnel_6to4(at), type == 2);
        EXPECT_EQ(ufib_pi_v4adj_is_tunnel_isatap(at), type == 3);
        EXPECT_EQ(ufib_obj_refs(&at->obj), 1u) << "the manager holds it once";
        EXPECT_EQ(ufib_pi_get_tunnel_adj(1, TUNNEL1), at);
        EXPECT_EQ(ufib_pi_v4_adj_get_frm_if_idx_nh(1, TUNNEL1, 0xc0000209), at);
        uint32_t end = 0;
        EXPECT_EQ(ufib_pi_get_v4_tunnel_src(1, TUNNEL1, &end), 0);
        EXPECT_EQ(end, 0xc6336401u);
    }
    EXPECT_EQ(calls({"update_tunnel"}).size(), 3u);
    EXPECT_EQ(rig.records("v4adj_vdc_1").size(), 1u);
    EXPECT_EQ(rig.records("v4adj_vdc_1").begin()->second.substr(0, 2), "02");
}

TEST_P(tunnel_test, a_tunnel_that_goes_is_destroyed_or_drops_for_its_routes) {
    rig.send(OPC_TUNNEL, tunnel(1, 1));
    rig.send(OPC_TUNNEL, tunnel(2, 1));
    EXPECT_EQ(tunnel_adj(), nullptr);
    EXPECT_TRUE(rig.records("v4adj_vdc_1").empty());

    ASSERT_TRUE(load(f, {over_tunnel()}));
    rig.send(OPC_TUNNEL, tunnel(1, 1));
    const uint32_t handle = tunnel_adj()->obj.handle;
    EXPECT_EQ(ufib_obj_refs(&tunnel_adj()->obj), 2u);
    rig.send(OPC_TUNNEL, tunnel(2, 1));
    ASSERT_NE(tunnel_adj(), nullptr);
    EXPECT_EQ(tunnel_adj()->obj.handle, handle);
    EXPECT_EQ(ufib_obj_refs(&tunnel_adj()->obj), 1u);
    EXPECT_TRUE(ufib_pi_v4adj_is_drop(tunnel_adj()));
    EXPECT_FALSE(ufib_pi_is_v4_tunnel_update(tunnel_adj())) << "old ends stay";
    rig.send(OPC_TUNNEL, tunnel(1, 2));
    EXPECT_FALSE(ufib_pi_v4adj_is_drop(tunnel_adj()));
    EXPECT_EQ(tunnel_adj()->obj.handle, handle);
}

/* Over the software engine: the encapsulation that another next hop of the tunnel has there. */
struct tunnel_engine_test : tunnel_test {
    tunnel_engine_test() {
        softfwd_config_reset();
        softfwd_config_get()->slot = static_cast<int>(rig.options.slot);
        rig.options.library = softfwd_library();
    }
    ~tunnel_engine_test() override { softfwd_config_reset(); }
    uint8_t type_of(const char *hop) {
        ufib_platform_rewrite rewrite;
        return ufib_platform_get_v4_rewrite_info(adj(hop, TUNNEL1)->obj.handle, &rewrite) == 0
                   ? rewrite.bytes[0]
                   : 0xff;
    }
};
INSTANTIATE_TEST_SUITE_P(both, tunnel_engine_test, both_families, family_name);

TEST_P(tunnel_engine_test, all_next_hops_follow_the_tunnel_also_after_a_restart) {
    rig.send(OPC_TUNNEL, tunnel(1, UFIB_TUNNEL_GRE));
    ASSERT_TRUE(load(f, {add(f, f.prefix, f.hop2, TUNNEL1)}));
    EXPECT_EQ(type_of(f.hop2), UFIB_TUNNEL_GRE);
    ASSERT_EQ(rig.restart(), 0);
    rig.send(OPC_TUNNEL, tunnel(1, UFIB_TUNNEL_6TO4));
    EXPECT_EQ(type_of(f.hop2), UFIB_TUNNEL_6TO4);
    ASSERT_EQ(rig.restart(), 0);
    rig.send(OPC_TUNNEL, tunnel(2, UFIB_TUNNEL_6TO4));
    EXPECT_EQ(type_of(f.hop2), 0) << "nothing goes to the old end";
}

TEST_P(tunnel_test, refused_notices_change_nothing) {
    ASSERT_TRUE(load(f, {add(f, f.prefix2, "192.0.2.9", ETH1)}));
    neighbour({"192.0.2.9", ETH1, "020000000001"});
    struct {
        bytes payload;
        ufib_err_code error;
    } const rows[] = {{tunnel(3, 1), E_TM_INV_OPCODE},      {tunnel(1, 0), E_UNSUPPORTED_TUNNEL},
                      {tunnel(1, 4), E_UNSUPPORTED_TUNNEL}, {tunnel(1, 1, ETH1), E_UNSUPPORTED_TUNNEL},
                      {tunnel(2, 1), E_TM_DEL_NOADJ},       {tunnel(2, 1, ETH1), E_TM_DEL_NOADJ}};
    fake_take();
    for (const auto &row : rows) {
        const uint32_t before = errors(row.error);
        rig.send(OPC_TUNNEL, row.payload);
        EXPECT_EQ(errors(row.error), before + 1);
        EXPECT_EQ(calls({"insert_adj", "update_tunnel"}), lines{});
    }
    const bytes whole = tunnel(1, 1);
    for (size_t size = 0; size < whole.size(); size++)
        EXPECT_EQ(rig.dispatch(OPC_TUNNEL, bytes(whole.begin(), whole.begin() + static_cast<long>(size))),
                  16);
    EXPECT_EQ(tunnel_adj(), nullptr);

    fake.fail_all["insert_adj"] = 1;
    rig.send(OPC_TUNNEL, tunnel(1, 1));
    EXPECT_EQ(tunnel_adj(), nullptr);
    EXPECT_EQ(calls({"update_tunnel"}), lines{});
    EXPECT_EQ(lcfwd_vdc_row(1)->ufib_stats->tunnel_updates, 7u);
}

TEST_P(tunnel_test, a_rewrite_filled_by_a_library_reads_back) {
    ufib_adj object = {};
    object.obj.type_refs = UFIB_OBJ_V4ADJ;
    object.kind = UFIB_ADJ_TUNNEL;
    ufib_platform_rewrite *rewrite = &object.rewrite;
    ufib_pi_rew_set_tunnel_sgrp(rewrite);
    EXPECT_TRUE(ufib_pi_v4adj_is_tunnel_sgrp(&object));
    ufib_pi_rew_set_tunnel_encap_gre(rewrite);
    ufib_pi_rew_set_tunnel_df(rewrite, true);
    ufib_pi_rew_set_tunnel_tos(rewrite, 0xb8);
    ufib_pi_rew_set_tunnel_ttl(rewrite, 17);
    ufib_pi_rew_set_tunnel_ttl_cfgd(rewrite, true);
    ufib_pi_rew_set_tunnel_v4sa(rewrite, 0x0a000001);
    ufib_pi_rew_set_tunnel_v4da(rewrite, 0x0a000002);
    ufib_pi_rew_set_smac(rewrite, bytes_from_hex("ffffffffffff").data()); /* has no room here */
    EXPECT_EQ(ufib_pi_v4adj_tunnel_da(&object), 0x0a000002u);
    EXPECT_EQ(ufib_pi_v4adj_tunnel_sa(&object), 0x0a000001u);
    EXPECT_EQ(ufib_pi_v4adj_tunnel_tos(&object), 0xb8u);
    EXPECT_EQ(ufib_pi_v4adj_tunnel_ttl(&object), 17u);
    ufib_pi_rew_set_tunnel_df(rewrite, false);
    EXPECT_EQ(ufib_pi_v4adj_tunnel_df(&object), 0u);

    EXPECT_EQ(ufib_pi_rew_set_tunnel_v6da(rewrite, address_bytes("2002:c000:0201::1").data()), 0);
    EXPECT_EQ(ufib_pi_v4adj_tunnel_da(&object), 0xc0000201u);
    EXPECT_EQ(ufib_pi_rew_set_tunnel_v6sa(rewrite, address_bytes("fe80::5efe:c000:0203").data()), 0);
    EXPECT_EQ(ufib_pi_v4adj_tunnel_sa(&object), 0xc0000203u);
    EXPECT_EQ(ufib_pi_rew_set_tunnel_v6sa(rewrite, address_bytes("::ffff:c000:0204").data()), 0);
    EXPECT_EQ(ufib_pi_v4adj_tunnel_sa(&object), 0xc0000204u);
    EXPECT_EQ(ufib_pi_rew_set_tunnel_v6sa(rewrite, address_bytes("2001:db8::1").data()), -1);
    EXPECT_EQ(ufib_pi_v4adj_tunnel_sa(&object), 0xc0000204u);

    object.kind = UFIB_ADJ_PLAIN;
    EXPECT_EQ(ufib_pi_v4adj_tunnel_ttl(&object), 0u) << "a MAC is no encapsulation";
    EXPECT_FALSE(ufib_pi_v4adj_is_tunnel_gre(nullptr));
}
