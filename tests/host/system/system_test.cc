#include "host/system/system.h"

#include "host/system/mtrack.h"
#include "host/system/root.h"
#include "host/timer/clock.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

class system_service : public testing::Test {
protected:
    void TearDown() override {
        host_system_reset();
        host_root_set(nullptr);
        host_clock_reset();
    }
};

TEST_F(system_service, a_root_lies_before_every_path_and_too_long_names_are_refused) {
    char out[16];
    struct {
        const char *root, *want;
    } const rows[] = {
        {nullptr, "/var/x"}, {"", "/var/x"}, {"/", "/var/x"}, {"/r", "/r/var/x"}, {"/r//", "/r/var/x"}};
    for (const auto &row : rows) {
        host_root_set(row.root);
        EXPECT_EQ(host_path("/var/x", out, sizeof out), 0);
        EXPECT_STREQ(out, row.want);
    }
    EXPECT_EQ(host_path("/23456789abcd", out, sizeof out), 0); /* with the root 15 characters */
    EXPECT_EQ(host_path("/23456789abcde", out, sizeof out), ENAMETOOLONG);
    EXPECT_STREQ(out, "");
}

TEST_F(system_service, directories_are_made_private_and_a_file_in_the_way_is_an_error) {
    char root[] = "/tmp/lcfwd_system_XXXXXX";
    ASSERT_NE(mkdtemp(root), nullptr);
    host_root_set(root);
    EXPECT_EQ(host_make_directories("/var/run/deep"), 0);
    EXPECT_EQ(host_make_directories("/var/run/deep"), 0);
    struct stat status;
    ASSERT_EQ(stat((std::string(root) + "/var/run").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
    const int fd = open((std::string(root) + "/var/file").c_str(), O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(fd, 0);
    close(fd);
    EXPECT_EQ(host_make_directories("/var/file"), ENOTDIR);
    EXPECT_EQ(host_make_directories("/var/file/below"), ENOTDIR);
    ASSERT_EQ(std::system((std::string("rm -r ") + root).c_str()), 0);
}

TEST_F(system_service, the_context_of_calls_can_be_set_taken_back_and_refused) {
    EXPECT_EQ(sysmgr_vdc_ctxt_get(), 0u);
    EXPECT_EQ(sysmgr_set_vdc_ctxt(0), EINVAL);
    EXPECT_EQ(sysmgr_set_vdc_ctxt(3), 0);
    EXPECT_EQ(sysmgr_vdc_ctxt_get(), 3u);
    host_system.vdc_ctxt_fails = true;
    EXPECT_NE(sysmgr_set_vdc_ctxt(4), 0);
    EXPECT_EQ(sysmgr_vdc_ctxt_get(), 3u);
    host_system.vdc_ctxt_fails = false;
    EXPECT_EQ(sysmgr_reset_vdc_ctxt(), 0);
    EXPECT_EQ(sysmgr_vdc_ctxt_get(), 0u);
}

TEST_F(system_service, a_yield_is_due_after_the_run_time_and_starts_a_new_one) {
    host_manual_clock clock{1000000000, 0};
    host_manual_clock_set(&clock);
    EXPECT_FALSE(tsp_should_sched_yield());
    host_manual_clock_advance(&clock, 9999999);
    EXPECT_FALSE(tsp_should_sched_yield());
    host_manual_clock_advance(&clock, 1);
    EXPECT_TRUE(tsp_should_sched_yield());
    tsp_sched_yield();
    EXPECT_FALSE(tsp_should_sched_yield());
    EXPECT_EQ(host_system_counters_get()->yields, 1u);
    EXPECT_EQ(timer_diff_cycle_in_usec(5000, timer_get_cycles()), (clock.monotonic_ns - 5000) / 1000);
}

TEST_F(system_service, the_newest_capabilities_are_known) {
    for (uint32_t cap = 1; cap <= 65; cap++) confcheck_add_cap(1, cap, 378, 0, 0);
    EXPECT_FALSE(confcheck_has_cap(1));
    EXPECT_TRUE(confcheck_has_cap(2));
    EXPECT_TRUE(confcheck_has_cap(65));
}

TEST_F(system_service, blocks_are_booked_on_their_type) {
    const char *const names[] = {"first", "second"};
    mtrack_fail_next_init();
    EXPECT_EQ(mtrack_init("title", 378, names, 2), ENOMEM);
    EXPECT_EQ(mtrack_init("title", 378, names, MTRACK_TYPES_MAX + 1), EINVAL);
    ASSERT_EQ(mtrack_init("title", 378, names, 2), 0);
    auto *block = static_cast<uint8_t *>(mtrack_calloc(1, 100));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block[99], 0);
    EXPECT_STREQ(mtrack_account_get(1)->name, "second");
    EXPECT_EQ(mtrack_account_get(1)->bytes, 100u);
    EXPECT_EQ(mtrack_calloc(0, SIZE_MAX), nullptr);
    EXPECT_EQ(mtrack_account_get(0)->failures, 1u);
    EXPECT_EQ(mtrack_blocks_in_use(), 1u);
    mtrack_reset();
    mtrack_free(block); /* of before the reset: freed, not booked below zero */
    EXPECT_EQ(mtrack_blocks_in_use(), 0u);
    EXPECT_EQ(mtrack_account_get(MTRACK_TYPES_MAX), nullptr);
}
