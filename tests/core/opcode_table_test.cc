#include "core/lcfwd_handlers.h"
#include "core/lcfwd_opcodes.h"
#include "tests/core/core_rig.h"

#include "core/lcfwd_mts.h"
#include "host/bus/bus.h"

struct opcode_table : core_test {};

static const mts_row *merged_row(uint32_t opcode, size_t nth = 0) {
    for (uint32_t i = 0; i < lcfwd_sizeof_mts_msg_info_array; i++) {
        if (mts_msg_info_ptr[i].opcode == opcode && nth-- == 0) return &mts_msg_info_ptr[i];
    }
    return nullptr;
}

/* A sender's message goes to the queue and with the delivery options that the other side was built for. */
static const struct {
    uint32_t opcode;
    uint32_t flags;
    uint32_t queue;
    fu_handler handler;
} golden_rows[] = {
    {1530, 0x4001, 1, nullptr},
    {185, 0, 1, nullptr},
    {74767, 0x5, 3, ufib_ufdm_v4_route_update},
    {74768, 0x5, 3, ufib_ufdm_v6_route_update},
    {74766, 0x5, 3, ufib_fu_am_notification},
    {75793, 0x4005, 6, nullptr},
    {74753, 0x4004, 6, ufib_fu_ufdm_statistics_poll},
    {77832, 0x4, 3, nullptr},
    {74763, 0x5, 3, nullptr},
    {485, 0x5, 2, lcfwd_fu_vdc_create},
    {488, 0x5, 2, lcfwd_fu_vdc_delete},
    {62488, 0x5, 3, lcfwd_fu_lc_inserted},
    {31747, 0x5, 3, lcfwd_fu_lc_removed},
    {74755, 0x5, 3, ufib_fu_delete_stale_routes},
    {77833, 0x5, 5, nullptr},
    {8931, 0x5, 4, lcfwd_handle_feature_set_notif},
    {75787, 0x5, 4, mfib_fu_mfdm_download},
    {77849, 0x5, 6, ufib_nve_peer_get_mac_counters},
    {7679, 0, 7, lcfwd_fu_cmi_message},
};

TEST_F(opcode_table, rows_have_their_queue_flags_and_handler) {
    ASSERT_EQ(rig.start(), 0);
    EXPECT_EQ(lcfwd_sizeof_mts_msg_info_array, 4u + 83u + 2u);
    for (const auto &want : golden_rows) {
        const mts_row *row = merged_row(want.opcode);
        ASSERT_NE(row, nullptr) << want.opcode;
        EXPECT_EQ(row->flags, want.flags) << want.opcode;
        EXPECT_EQ(row->queue, want.queue) << want.opcode;
        EXPECT_EQ(row->active, want.handler) << want.opcode;
        EXPECT_EQ(row->standby, nullptr) << want.opcode;
    }
    EXPECT_EQ(mts_msg_info_ptr[0].opcode, 1530u) << "system rows come first";
    EXPECT_EQ(mts_msg_info_ptr[4].opcode, 74767u);
    EXPECT_EQ(merged_row(77843, 1), &mts_msg_info_ptr[lcfwd_sizeof_mts_msg_info_array - 1])
        << "command rows come last, and repeat one opcode";
}

TEST_F(opcode_table, delivery_options_follow_the_flags) {
    ASSERT_EQ(rig.start(), 0);
    const mts_row *made = mts_msg_info_ptr;
    EXPECT_EQ(lcfwd_create_mts_opc_list(), 0);
    EXPECT_EQ(mts_msg_info_ptr, made) << "it is made once";
    const struct {
        uint32_t queue, opcode, value;
    } wants[] = {{fib_q_mts_ucast, 74767, 17}, {fib_q_mts_lp, 74753, 16}, {fib_q_mts_cmi, 7679, 0},
                 {fib_q_mts_sys, 1530, 1},     {fib_q_mts_lp, 75792, 17}, {fib_q_mts_ucast, 77832, 16}};
    for (const auto &want : wants) {
        uint32_t value = 99;
        ASSERT_TRUE(mts_options_get(want.queue, want.opcode, &value)) << want.opcode;
        EXPECT_EQ(value, want.value) << want.opcode;
    }
    mts_row row = {4242, 0xf, 3, nullptr, nullptr, {}};
    EXPECT_EQ(lcfwd_mts_set_msg_options(&row), 0);
    uint32_t value = 0;
    EXPECT_FALSE(mts_options_get(fib_q_mts_ucast, 4242, &value)) << "bit 3: no option at all";
    row.flags = 0x7;
    EXPECT_EQ(lcfwd_mts_set_msg_options(&row), 0);
    ASSERT_TRUE(mts_options_get(fib_q_mts_ucast, 4242, &value));
    EXPECT_EQ(value, 19u);
}
