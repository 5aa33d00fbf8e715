#include "core/lcfwd_vdc.h"
#include "core/ufib_err.h"
#include "persist/lcfwd_pss_record.h"
#include "persist/lcfwd_pss_vdc.h"
#include "tests/persist/pss_rig.h"

#include <cstring>

struct buffered_store : pss_test {
    static int store(uint32_t kind, uint32_t number, uint32_t vdc_id = 1) {
        lcfwd_pss_record record = {};
        if (lcfwd_pss_record_begin(kind, vdc_id, 4, 4, &record) == 0) return -1;
        std::memcpy(record.key, &number, 4);
        std::memcpy(record.value, &number, 4);
        return lcfwd_pss_record_store(&record);
    }
};

TEST(kinds, have_names_files_and_numbers) {
    const struct {
        uint32_t kind;
        const char *name;
    } names[] = {{0, "gladj"},      {3, "vobj"}, {8, "dcsrif"},        {13, "v6ecmp_tlv"}, {18, "mroute"},
                 {25, "map_cache"}, {32, "frr"}, {34, "mvpn_mti_oif"}, {36, "ufib_table"}};
    for (const auto &row : names) EXPECT_STREQ(lcfwd_get_pss_name(row.kind), row.name);
    for (uint32_t kind : {33u, 37u, 0xffffffffu}) {
        EXPECT_EQ(lcfwd_get_pss_name(kind), nullptr) << kind;
        EXPECT_STREQ(lcfwd_pss_file_name(kind, 1), "");
        EXPECT_STREQ(lcfwd_pss_uri(1, kind), "");
        EXPECT_EQ(lcfwd_pss_service(kind, 1), nullptr);
    }
    EXPECT_STREQ(lcfwd_pss_file_name(35, 2), "vpn_id array_vdc_2") << "the blank stays";
    EXPECT_STREQ(lcfwd_pss_uri(5, 1), "volatile:/dev/shm/lcfwd_prefix_vdc_5");
    EXPECT_EQ(lcfwd_pss_service_id(0, 1), 40);
    EXPECT_EQ(lcfwd_pss_service_id(36, 5), 224);
}

TEST_F(buffered_store, nothing_reaches_the_store_before_the_commit_and_all_does_with_it) {
    EXPECT_EQ(store(LCFWD_PSS_PREFIX, 0x01010101), 1);
    EXPECT_EQ(store(LCFWD_PSS_VOBJ, 0x02020202), 1);
    const uint32_t other = 0x03030303;
    EXPECT_EQ(lcfwd_pss_buf_delete(LCFWD_PSS_PREFIX, 1, {&other, 4}), 1);
    EXPECT_EQ(lcfwd_pss_ops_add_count[LCFWD_PSS_PREFIX], 1u);
    EXPECT_EQ(lcfwd_pss_ops_add_count[LCFWD_PSS_VOBJ], 1u);
    EXPECT_EQ(lcfwd_pss_ops_del_count[LCFWD_PSS_PREFIX], 1u);
    EXPECT_TRUE(rig.records("prefix_vdc_1").empty());
    lcfwd_pss_buf_commit();
    EXPECT_EQ(rig.records("prefix_vdc_1"), (hex_map{{"01010101", "01010101"}}));
    EXPECT_EQ(rig.records("vobj_vdc_1"), (hex_map{{"02020202", "02020202"}}));
    EXPECT_EQ(fake_take(), lines{"pss_buf_commit"}) << "the library flushes its own";
    EXPECT_EQ(lcfwd_pss_staging.used, 0u);
    EXPECT_EQ(lcfwd_pss_ops_add_count[LCFWD_PSS_PREFIX] + lcfwd_pss_ops_del_count[LCFWD_PSS_PREFIX], 0u);
}

TEST_F(buffered_store, flush_does_not_tell_the_library_and_an_empty_one_is_no_error) {
    EXPECT_EQ(store(LCFWD_PSS_PREFIX, 1), 1);
    EXPECT_EQ(lcfwd_flush_pending_pss_updates(), 0);
    EXPECT_EQ(lcfwd_flush_pending_pss_updates(), 0);
    EXPECT_TRUE(fake_take().empty());
    const uint32_t errors = ufib_errors[E_PSS_SAVE];
    lcfwd_pss_buf_commit();
    EXPECT_EQ(ufib_errors[E_PSS_SAVE], errors);
    EXPECT_FALSE(rig.log_has("pss2_ops_exec failed"));
}

TEST_F(buffered_store, uncommitted_operations_die_with_the_process_and_committed_ones_do_not) {
    EXPECT_EQ(store(LCFWD_PSS_PREFIX, 0x11111111), 1);
    lcfwd_pss_buf_commit();
    EXPECT_EQ(store(LCFWD_PSS_PREFIX, 0x22222222), 1);
    ASSERT_EQ(rig.restart(), 0);
    EXPECT_EQ(rig.records("prefix_vdc_1"), (hex_map{{"11111111", "11111111"}}));
    EXPECT_NE(lcfwd_pss_service(LCFWD_PSS_PREFIX, 1), nullptr);
    EXPECT_EQ(store(LCFWD_PSS_PREFIX, 0x33333333), 1);
    lcfwd_pss_buf_commit();
    EXPECT_EQ(rig.records("prefix_vdc_1").size(), 2u);
}

TEST_F(buffered_store, handles_that_are_not_valid_are_counted) {
    const struct {
        uint32_t kind, vdc;
    } cases[] = {{33, 1},
                 {37, 1},
                 {LCFWD_PSS_RPF, 1},
                 {LCFWD_PSS_PREFIX, 0},
                 {LCFWD_PSS_PREFIX, 6},
                 {LCFWD_PSS_PREFIX, 2}};
    for (const auto &c : cases) {
        ufib_errno = 0;
        EXPECT_EQ(store(c.kind, 1, c.vdc), 0);
        EXPECT_EQ(ufib_errno, 4390968u) << c.kind << " " << c.vdc;
        EXPECT_EQ(lcfwd_pss_buf_delete(c.kind, c.vdc, {"abcd", 4}), 0);
        EXPECT_EQ(ufib_errno, 4390969u);
        EXPECT_EQ(lcfwd_pss_store(c.kind, c.vdc, {"abcd", 4}, {"x", 1}), 0);
        EXPECT_EQ(ufib_errno, 4390968u);
        EXPECT_EQ(lcfwd_pss_delete(c.kind, c.vdc, {"abcd", 4}), 0);
        EXPECT_EQ(ufib_errno, 4390969u);
        EXPECT_EQ(lcfwd_pss_close_file(c.vdc, c.kind), 0);
    }
}

TEST_F(buffered_store, switched_off_store_reports_success_and_counts_nothing) {
    EXPECT_EQ(store(LCFWD_PSS_PREFIX, 0x01010101), 1);
    lcfwd_pss_buf_commit();
    ufib_disable_pss = true;
    EXPECT_EQ(store(LCFWD_PSS_PREFIX, 0x02020202), 1);
    EXPECT_EQ(lcfwd_pss_buf_delete(LCFWD_PSS_PREFIX, 1, {"\1\1\1\1", 4}), 1);
    EXPECT_EQ(lcfwd_pss_store(LCFWD_PSS_PREFIX, 1, {"abcd", 4}, {"x", 1}), 1);
    EXPECT_EQ(lcfwd_pss_delete(LCFWD_PSS_PREFIX, 1, {"\1\1\1\1", 4}), 1);
    EXPECT_EQ(lcfwd_pss_ops_add_count[LCFWD_PSS_PREFIX], 0u);
    lcfwd_pss_buf_commit();
    EXPECT_EQ(lcfwd_pss_staging.used, 0u) << "staging is emptied all the same";
    EXPECT_EQ(rig.records("prefix_vdc_1").size(), 1u);
}

TEST_F(buffered_store, immediate_forms_do_not_wait_for_a_commit) {
    EXPECT_EQ(lcfwd_pss_store(LCFWD_PSS_PREFIX, 1, {"abcd", 4}, {"xyz", 3}), 1);
    EXPECT_EQ(rig.records("prefix_vdc_1"), (hex_map{{"61626364", "78797a"}}));
    EXPECT_EQ(lcfwd_pss_delete(LCFWD_PSS_PREFIX, 1, {"abcd", 4}), 1);
    EXPECT_TRUE(rig.records("prefix_vdc_1").empty());
    EXPECT_EQ(lcfwd_pss_delete(LCFWD_PSS_PREFIX, 1, {"abcd", 4}), 0) << "absent";
}

/* The retried operation must not point into staging that the commit in between has given away. */
TEST_F(buffered_store, full_operations_buffer_commits_and_tries_again_with_its_own_bytes) {
    fake_domains.log.clear();
    for (uint32_t i = 0; i < 5120; i++) {
        const uint32_t number = 0x10000 + i;
        ASSERT_EQ(pss2_ops_add_db(pi_dbops, lcfwd_pss_service(LCFWD_PSS_VOBJ, 1)), 0);
        static uint8_t key[5120][4];
        std::memcpy(key[i], &number, 4);
        const pss2_datum datum = {key[i], 4};
        ASSERT_EQ(pss2_ops_add(pi_dbops, 0, &datum, &datum), 0) << i;
    }
    const uint32_t errors = ufib_errors[E_PSS_SAVE];
    ASSERT_NE(lcfwd_pss_buf_allocate(1000), nullptr); /* so that the retry's place is another one */
    EXPECT_EQ(store(LCFWD_PSS_PREFIX, 0x44444444), 0) << "seen as unsaved, though it is in the buffer";
    EXPECT_EQ(ufib_errors[E_PSS_SAVE], errors + 1);
    EXPECT_EQ(fake_take({"all_writes_ready"}).size(), 1u);
    EXPECT_EQ(lcfwd_pss_ops_add_count[LCFWD_PSS_PREFIX], 1u);
    EXPECT_EQ(rig.records("vobj_vdc_1").size(), 5120u);
    EXPECT_EQ(store(LCFWD_PSS_PREFIX, 0x55555555), 1) << "takes the place that the first try had";
    lcfwd_pss_buf_commit();
    EXPECT_EQ(rig.records("prefix_vdc_1"), (hex_map{{"44444444", "44444444"}, {"55555555", "55555555"}}));
    EXPECT_TRUE(rig.log_has("pss2_ops_add failed with rcode 0x40480013 vdc_id 1 pss_type = 1"));
}

TEST_F(buffered_store, full_operations_buffer_retries_a_deletion_too) {
    EXPECT_EQ(store(LCFWD_PSS_PREFIX, 0x01010101), 1);
    lcfwd_pss_buf_commit();
    store_fault_set(STORE_FAULT_ADD, 1, STORE_OPS_FULL);
    EXPECT_EQ(lcfwd_pss_buf_delete(LCFWD_PSS_PREFIX, 1, {"\1\1\1\1", 4}), 0);
    EXPECT_EQ(ufib_errno, 4390969u);
    EXPECT_EQ(lcfwd_pss_ops_del_count[LCFWD_PSS_PREFIX], 1u);
    lcfwd_pss_buf_commit();
    EXPECT_TRUE(rig.records("prefix_vdc_1").empty());
}

static store_fault_point fail_point;
TEST_F(buffered_store, second_failure_is_given_up_with_its_own_text) {
    const struct {
        store_fault_point point;
        const char *text;
    } cases[] = {
        {STORE_FAULT_ADD_DB, "pss2_ops_add_db failed  2nd try with rcode 0x40480001 vdc_id 1 pss_type = 1"},
        {STORE_FAULT_ADD, "pss2_ops_add failed  2nd try with rcode 0x40480001 vdc_id 1 pss_type = 1"}};
    for (const auto &c : cases) {
        fail_point = c.point;
        store_fault_set(STORE_FAULT_ADD, 1, STORE_OPS_FULL);
        fake.on_all_writes = [] { store_fault_set(fail_point, 1, STORE_BAD_ARGUMENT); };
        EXPECT_EQ(store(LCFWD_PSS_PREFIX, 0x66666666), 0);
        EXPECT_TRUE(rig.log_has(c.text)) << c.text;
        EXPECT_EQ(lcfwd_pss_ops_add_count[LCFWD_PSS_PREFIX], 0u);
        fake.on_all_writes = nullptr;
        lcfwd_pss_buf_commit();
    }
    EXPECT_TRUE(rig.records("prefix_vdc_1").empty());
}

TEST_F(buffered_store, other_failures_are_not_tried_again) {
    for (store_fault_point point : {STORE_FAULT_ADD_DB, STORE_FAULT_ADD}) {
        store_fault_set(point, 1, STORE_BAD_ARGUMENT);
        EXPECT_EQ(store(LCFWD_PSS_PREFIX, 1), 0);
        EXPECT_EQ(ufib_errno, 4390968u);
    }
    EXPECT_TRUE(fake_take({"all_writes_ready"}).empty());
    EXPECT_TRUE(rig.log_has("pss2_ops_add_db failed with rcode 0x40480001 vdc_id 1 pss_type = 1"));
}

TEST_F(buffered_store, failing_execute_is_counted_and_everything_starts_anew) {
    EXPECT_EQ(store(LCFWD_PSS_PREFIX, 1), 1);
    store_fault_set(STORE_FAULT_EXEC, 1, STORE_IO);
    const uint32_t errors = ufib_errors[E_PSS_SAVE];
    lcfwd_pss_buf_commit();
    EXPECT_EQ(ufib_errors[E_PSS_SAVE], errors + 1);
    EXPECT_TRUE(rig.log_has("pss2_ops_exec failed with 0x40480009"));
    EXPECT_EQ(fake_take(), lines{"pss_buf_commit"}) << "the library is told in all cases";
    EXPECT_EQ(lcfwd_pss_staging.used, 0u);
    EXPECT_EQ(lcfwd_pss_ops_add_count[LCFWD_PSS_PREFIX], 0u);
    EXPECT_EQ(store(LCFWD_PSS_PREFIX, 2), 1);
    lcfwd_pss_buf_commit();
    EXPECT_EQ(rig.records("prefix_vdc_1").size(), 1u);
}

TEST_F(buffered_store, buffer_that_cannot_be_made_anew_fails_stores_until_it_can) {
    store_fault_set(STORE_FAULT_INIT, 1, STORE_IO);
    EXPECT_EQ(lcfwd_flush_pending_pss_updates(), STORE_IO);
    EXPECT_TRUE(rig.log_has("pss2_ops_init failed with 0x40480009"));
    EXPECT_EQ(store(LCFWD_PSS_PREFIX, 1), 0);
    EXPECT_TRUE(rig.log_has("pss2_ops_add_db failed with rcode 0x"));
    lcfwd_flush_pending_pss_updates();
    EXPECT_EQ(store(LCFWD_PSS_PREFIX, 1), 1);
}

TEST_F(buffered_store, opening_reports_what_failed) {
    store_fault_set(STORE_FAULT_OPEN, 1, STORE_IO);
    EXPECT_EQ(lcfwd_pss_open(1, LCFWD_PSS_RPF, 4, 4), 0);
    EXPECT_EQ(lcfwd_pss_service(LCFWD_PSS_RPF, 1), nullptr);
    EXPECT_TRUE(rig.log_has("ERROR - failed to open PSS file for vdc 1"));
    store_fault_set(STORE_FAULT_MAX_DBSIZE, 1, STORE_IO);
    EXPECT_EQ(lcfwd_pss_open(1, LCFWD_PSS_RPF, 4, 4), 0);
    EXPECT_TRUE(rig.log_has("ERROR - Failed to set the MAX dbsize for vdc 1"));
    EXPECT_NE(lcfwd_pss_service(LCFWD_PSS_RPF, 1), nullptr) << "open all the same";
    pss2_service *service = nullptr;
    EXPECT_EQ(lcfwd_pss_open_file(6, LCFWD_PSS_RPF, 4, 4, &service), 0);
    EXPECT_EQ(lcfwd_pss_open_file(1, 33, 4, 4, &service), 0);
    EXPECT_EQ(service, nullptr);
}

TEST_F(buffered_store, deleted_vdc_takes_its_databases_along) {
    EXPECT_EQ(store(LCFWD_PSS_PREFIX, 1), 1);
    lcfwd_pss_buf_commit();
    rig.send(OPC_VDC_DELETE, wire_vdc(1));
    EXPECT_EQ(lcfwd_pss_service(LCFWD_PSS_PREFIX, 1), nullptr);
    rig.vdc(1);
    EXPECT_TRUE(rig.records("prefix_vdc_1").empty());
}

TEST_F(buffered_store, vdcs_keep_their_records_apart) {
    rig.vdc(5);
    EXPECT_EQ(store(LCFWD_PSS_PREFIX, 0x01010101, 1), 1);
    EXPECT_EQ(store(LCFWD_PSS_PREFIX, 0x05050505, 5), 1);
    lcfwd_pss_buf_commit();
    EXPECT_EQ(rig.records("prefix_vdc_1"), (hex_map{{"01010101", "01010101"}}));
    EXPECT_EQ(rig.records("prefix_vdc_5"), (hex_map{{"05050505", "05050505"}}));
}

TEST_F(buffered_store, label_base_is_an_entry_of_eight_bytes_under_key_2) {
    uint32_t base = 9;
    EXPECT_EQ(lcfwd_pss_get_pervpn_ilm_base(&base), 0);
    EXPECT_EQ(lcfwd_pss_insert_pervpn_ilm_base(0x01020304), 1);
    EXPECT_EQ(rig.records("generic"), (hex_map{{"02000000", "0403020100000000"}}));
    EXPECT_EQ(lcfwd_pss_get_pervpn_ilm_base(&base), 1);
    EXPECT_EQ(base, 0x01020304u);
}
