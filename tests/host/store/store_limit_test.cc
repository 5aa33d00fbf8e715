/* The soft limit of a database, the hard bound of the store, a full file system. */
#include "tests/host/store/store_rig.h"

class store_limit : public store_rig {
protected:
    pss2_service *service = nullptr;
    void SetUp() override {
        store_rig::SetUp();
        service = open(41, "prefix_vdc_1");
    }
    /* Stores keys from..to-1 with values of 'len' bytes, in one batch. */
    int fill(uint32_t from, uint32_t to, uint32_t len) {
        store_batch batch(queue());
        for (uint32_t i = from; i < to; i++)
            EXPECT_EQ(batch.add(service, PSS2_OP_STORE, u32_key(i), std::string(len, 'v')), 0);
        return pss2_ops_exec(batch.ops);
    }
};

static void note_info(void *ctx, const store_file_info *info) {
    *static_cast<store_file_info *>(ctx) = *info;
}

TEST_F(store_limit, passing_the_soft_limit_is_counted_and_said_once_and_refuses_nothing) {
    ASSERT_EQ(pss2_set_max_dbsize(service, 64 * 1024), 0);
    EXPECT_EQ(fill(0, 1000, 21), 0);
    EXPECT_EQ(log, "");
    for (uint32_t i = 1000; i < 4000; i += 500) EXPECT_EQ(fill(i, i + 500, 21), 0);
    EXPECT_EQ(fill(0, 500, 21), 0) << "rewriting is not coming";
    EXPECT_EQ(log, "lcfwd_prefix_vdc_1: has passed its limit of 65536 bytes; records are still stored\n");
    EXPECT_EQ(all(service).size(), 4000u);
    store_file_info info{};
    ASSERT_EQ(store_inspect_list(folder().c_str(), note_info, &info, nullptr), 0);
    EXPECT_STREQ(info.name, "lcfwd_prefix_vdc_1");
    EXPECT_EQ(info.records, 4000u);
    EXPECT_EQ(info.record_bytes, 4000u * 25);
    EXPECT_EQ(info.soft_limit, 65536u);
    EXPECT_EQ(info.over_limit, 2500u) << "the batch in which the file passed it, and all that followed";
    EXPECT_EQ(info.service_id, 41u);
    EXPECT_EQ(info.value_size, 21u);
    start();
    service = open(41, "prefix_vdc_1");
    EXPECT_EQ(fill(5000, 5001, 21), 0);
    ASSERT_EQ(store_inspect_list(folder().c_str(), note_info, &info, nullptr), 0);
    EXPECT_EQ(info.over_limit, 2501u) << "the count is in the file";
}

TEST_F(store_limit, at_the_hard_bound_what_needs_room_is_refused_and_the_rest_goes_on) {
    ASSERT_EQ(fill(0, 2000, 21), 0);
    store_hard_bound_set(64 * 1024);
    EXPECT_EQ(fill(1990, 2200, 21), STORE_NO_SPACE);
    EXPECT_NE(log.find("bound"), std::string::npos);
    for (uint32_t i = 1990; i < 2000; i++) EXPECT_EQ(get(service, u32_key(i)), std::string(21, 'v'));
    EXPECT_EQ(put(service, u32_key(5), std::string(23, 'w')), 0) << "stays in its slot";
    EXPECT_EQ(put(service, u32_key(6), std::string(300, 'w')), STORE_NO_SPACE);
    EXPECT_EQ(get(service, u32_key(6)), std::string(21, 'v')) << "the old record stays";
    /* Free slots are used to the last one, and deletions in a batch are no promise to others. */
    const store_records before = all(service);
    for (uint32_t i = 0; i < 100; i++) ASSERT_EQ(drop(service, u32_key(i)), 0);
    uint32_t taken = 0;
    while (put(service, u32_key(10000 + taken), std::string(21, 'n')) == 0) taken++;
    EXPECT_GE(taken, 99u);
    EXPECT_LT(taken, 99u + 113);
    store_batch batch(queue());
    ASSERT_EQ(batch.add(service, PSS2_OP_DELETE, u32_key(200)), 0);
    ASSERT_EQ(batch.add(service, PSS2_OP_STORE, u32_key(20000), std::string(21, 'n')), 0);
    ASSERT_EQ(batch.add(service, PSS2_OP_STORE, u32_key(200), std::string(21, 'x')), 0);
    EXPECT_EQ(pss2_ops_exec(batch.ops), STORE_NO_SPACE);
    EXPECT_EQ(get(service, u32_key(200)), std::string(21, 'x'));
    EXPECT_EQ(get(service, u32_key(20000)), "(none)");
    for (uint32_t i = 300; i < 303; i++) ASSERT_EQ(drop(service, u32_key(i)), 0);
    EXPECT_EQ(fill(21000, 21005, 21), STORE_NO_SPACE);
    for (uint32_t i = 21000; i < 21005; i++)
        EXPECT_EQ(get(service, u32_key(i)) == "(none)", i >= 21003) << "three slots, five records";
    store_hard_bound_set(0);
    EXPECT_EQ(fill(30000, 31000, 21), 0);
}

TEST_F(store_limit, a_full_file_system_refuses_records_and_harms_nothing) {
    ASSERT_EQ(fill(0, 100, 21), 0);
    const store_records before = all(service);
    int refused = 0;
    uint32_t next = 100;
    for (uint32_t round = 0; round < 40; round++, next += 500) {
        store_fault_set(STORE_FAULT_GROW, round % 2, 1);
        const int code = fill(next, next + 500, 21);
        ASSERT_TRUE(code == 0 || code == STORE_NO_SPACE);
        refused += code != 0;
    }
    store_fault_set(STORE_FAULT_GROW, 0, 0);
    const store_records found = all(service);
    for (const auto &[key, value] : before) EXPECT_EQ(found.at(key), value);
    EXPECT_EQ(refused == 0, found.size() == 100u + 40 * 500);
    start();
    service = open(41, "prefix_vdc_1");
    EXPECT_EQ(all(service), found);
    EXPECT_EQ(log, "");
}
