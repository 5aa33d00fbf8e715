/* Brackets, writes that complete late, and failures on purpose. */
#include "tests/softfwd/softfwd_rig.h"

struct fault : softfwd_rig {
    uint32_t table = 0;
    fake_adj next;
    std::vector<fake_prefix> model;

    void begin() {
        start(0);
        table = api.insert_v4_table(vdc, table_id, nullptr, 0);
        next = adj(1);
        (void)api.all_writes_ready();
        model.reserve(1000);
    }
    fake_prefix *add(uint32_t n) {
        model.push_back(prefix("10.0.0.0/24", &next));
        model.back().address += n << 8;
        insert(table, &model.back());
        return &model.back();
    }
    bool forwards(uint32_t n) {
        return lookup(("10.0." + std::to_string(n) + ".1").c_str()).hop.action == SOFTFWD_FORWARD;
    }
};

TEST_F(fault, a_batch_of_writes_completes_a_bracket) {
    begin();
    softfwd_config_get()->write_batch = 256;
    int ready = 0;
    for (uint32_t i = 0; i < 600; i++) add(i), ready += api.one_write_ready();
    EXPECT_EQ(api.all_writes_ready(), 1);
    softfwd_config_get()->never_ready = true;
    for (uint32_t i = 600; i < 900; i++) add(i), ready += api.one_write_ready();
    EXPECT_EQ(ready, 2);
    EXPECT_EQ(api.all_writes_ready(), 0);
    EXPECT_EQ(counters().brackets, 6u);
}

TEST_F(fault, the_write_log_tells_operation_effect_and_bracket) {
    begin();
    const uint32_t from = softfwd_log_sequence() + 1;
    fake_prefix *pfx = add(1);
    const uint32_t handle = pfx->handle;
    insert(table, pfx);
    (void)api.all_writes_ready();
    remove(table, pfx);
    softfwd_log_entry log[8];
    ASSERT_EQ(softfwd_log_read(from, log, 8), 3u);
    EXPECT_EQ(log[0].op, SOFTFWD_OP_INSERT_V4_PREFIX);
    EXPECT_EQ(log[0].effect, SOFTFWD_EFFECT_INSTALL);
    EXPECT_EQ(log[1].effect, SOFTFWD_EFFECT_UPDATE);
    EXPECT_EQ(log[2].op, SOFTFWD_OP_DELETE_V4_PREFIX);
    EXPECT_EQ(log[2].effect, SOFTFWD_EFFECT_REMOVE);
    EXPECT_EQ(log[2].handle, handle);
    EXPECT_EQ(log[1].bracket + 1, log[2].bracket);
    EXPECT_EQ(softfwd_log_read(softfwd_log_sequence() + 1, log, 8), 0u);
    for (uint32_t i = 0; i < SOFTFWD_LOG_ENTRIES; i++) insert(table, pfx);
    ASSERT_EQ(softfwd_log_read(from, log, 1), 1u);
    EXPECT_EQ(log[0].sequence, softfwd_log_sequence() - SOFTFWD_LOG_ENTRIES + 1) << "older ones are lost";
}

TEST_F(fault, the_nth_call_and_a_handle_are_refused) {
    begin();
    ASSERT_TRUE(softfwd_fault_nth(SOFTFWD_OP_INSERT_V4_PREFIX, 2, 2));
    EXPECT_NE(add(0)->handle, 0u);
    EXPECT_EQ(add(1)->handle, 0u);
    EXPECT_EQ(add(2)->handle, 0u);
    fake_prefix *pfx = add(3);
    const uint32_t handle = pfx->handle;
    ASSERT_NE(handle, 0u);
    EXPECT_FALSE(forwards(1));
    ASSERT_TRUE(softfwd_fault_handle(SOFTFWD_OP_INSERT_V4_PREFIX, handle));
    EXPECT_EQ(insert(table, pfx), 0u);
    EXPECT_FALSE(forwards(3)) << "the process has no handle to remove it by";
    softfwd_fault_clear();
    EXPECT_NE(insert(table, pfx), 0u);
    ASSERT_TRUE(
        softfwd_fault_nth(SOFTFWD_OP_INSERT_ADJ, 1) && softfwd_fault_nth(SOFTFWD_OP_INSERT_V6_TABLE, 1) &&
        softfwd_fault_nth(SOFTFWD_OP_ADJ_STATS, 1) && softfwd_fault_nth(SOFTFWD_OP_DELETE_V4_PREFIX, 1) &&
        softfwd_fault_nth(SOFTFWD_OP_UPDATE_V4_NH, 1));
    fake_adj other;
    EXPECT_EQ(insert(&other), 0u);
    EXPECT_EQ(api.insert_v6_table(vdc, 1, nullptr, 0), 0u);
    ufib_platform_stats row = {&next, next.handle, 0, 0, 0};
    EXPECT_LT(api.adj_get_stats(&row, 1), 0);
    EXPECT_LT(api.update_v4prefix_nh(pfx), 0);
    EXPECT_LT(api.delete_v4_prefix(table, pfx), 0);
    EXPECT_TRUE(forwards(3));
    expect_integrity();
}

TEST_F(fault, late_writes_show_when_they_complete_and_report_through_the_cookies) {
    softfwd_config_get()->async = true;
    softfwd_config_get()->async_every = 4;
    begin();
    for (uint32_t i = 0; i < 3; i++) {
        EXPECT_NE(add(i)->handle, 0u);
        EXPECT_EQ(api.one_write_ready(), 0);
    }
    EXPECT_FALSE(forwards(0));
    add(3);
    EXPECT_EQ(api.one_write_ready(), 1) << "the fourth call completes them";
    for (uint32_t i = 0; i < 4; i++) EXPECT_TRUE(forwards(i));
    EXPECT_TRUE(fake_cookie_v4.processed);
    EXPECT_EQ(fake_cookie_v4.results, std::vector<int>(4, 0));
    fake_cookie_v4.init();
    for (uint32_t i = 4; i < 35; i++) add(i);
    EXPECT_FALSE(forwards(33)) << "the thirtieth waits";
    EXPECT_TRUE(forwards(34)) << "the cookie is full: written at once";
    EXPECT_EQ(api.all_writes_ready(), 1);
    EXPECT_TRUE(forwards(33));
    expect_integrity();
}

TEST_F(fault, a_late_failure_leaves_no_entry_new_or_old) {
    softfwd_config_get()->async = true;
    begin();
    fake_prefix *old = add(0);
    (void)api.all_writes_ready();
    fake_cookie_v4.init();
    ASSERT_TRUE(forwards(0));
    const uint8_t address[4] = {10, 0, 2, 0};
    ASSERT_TRUE(softfwd_fault_late_prefix(ADDRESS_FAMILY_V4, address, 24) && softfwd_fault_late_nth(1));
    insert(table, old);
    for (uint32_t i = 1; i < 4; i++) add(i);
    fake_prefix *gone = &model[3];
    EXPECT_EQ(remove(table, gone), 0) << "deleted in the same batch";
    EXPECT_EQ(api.all_writes_ready(), 1);
    EXPECT_EQ(fake_cookie_v4.results, (std::vector<int>{-1, 0, -1, 1}));
    for (uint32_t i = 0; i < 4; i++) EXPECT_EQ(forwards(i), i == 1) << i;
    EXPECT_EQ(counters().late_failures, 2u);
    EXPECT_EQ(softfwd_prefix_count(ADDRESS_FAMILY_V4), 1u);
    expect_integrity();
}

TEST_F(fault, both_families_wait_and_a_cleared_cookie_gets_no_stale_result) {
    softfwd_config_get()->async = true;
    begin();
    const uint32_t table6 = api.insert_v6_table(vdc, table6_id, nullptr, 0);
    fake_adj next6 = adj(2, false);
    fake_prefix six = prefix("2001:db8::/32", &next6), gone = prefix("2001:db9::/32", &next6);
    insert(table6, &six), insert(table6, &gone), add(1);
    fake_prefix *pfx = &model.back();
    fake_cookie_v4.init();
    fake_prefix stranger;
    fake_cookie_v4.entries.push_back(&stranger), fake_cookie_v4.results.push_back(1);
    pfx->next = nullptr;
    EXPECT_NE(insert(table, pfx), 0u) << "changed while it waits";
    EXPECT_EQ(remove(table6, &gone), 0);
    (void)api.all_writes_ready();
    EXPECT_EQ(fake_cookie_v4.results[0], 1) << "another prefix has the place now";
    EXPECT_EQ(fake_cookie_v6.entries[1], nullptr);
    EXPECT_EQ(fake_cookie_v6.results[0], 0);
    EXPECT_TRUE(fake_cookie_v6.processed);
    EXPECT_EQ(lookup("10.0.1.1").hop.action, SOFTFWD_DROP);
    EXPECT_EQ(lookup("2001:db8::1").hop.if_index, 1002u);
    EXPECT_EQ(lookup("2001:db9::1").hop.action, SOFTFWD_NO_ROUTE);
    expect_integrity();
}

TEST_F(fault, the_integrity_check_finds_a_next_object_that_was_removed) {
    softfwd_config_get()->check_integrity = true;
    begin();
    fake_prefix *pfx = add(1);
    EXPECT_EQ(api.delete_adj(&next), 0);
    (void)api.all_writes_ready();
    EXPECT_EQ(counters().violations, 1u);
    pfx->next = nullptr;
    insert(table, pfx);
    expect_integrity();
}
