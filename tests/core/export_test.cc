#include "core/lcfwd_db.h"
#include "core/lcfwd_export.h"
#include "host/engine/engine.h"
#include "tests/core/core_rig.h"

#include <sys/socket.h>
#include <unistd.h>

struct exported : core_test {
    exported() { EXPECT_EQ(rig.start(), 0); }
};

TEST_F(exported, entry_points_give_a_host_their_fixed_results) {
    EXPECT_TRUE(lcfwd_sysmgr_init() == 1 && lcfwd_sysmgr_notify_init() == 1);
    EXPECT_TRUE(lcfwd_other_msg_handler() == 0 && lcfwd_timer_msg_handler() == 0);
    lcfwd_sp_mq_handler();
    EXPECT_EQ(lcfwd_inited_as_library(), 1);
    EXPECT_TRUE(is_lcfwd_lib);
    lcfwd_service_cleanup();
    EXPECT_EQ(fu_counters_get()->cleanups_done, 1u);
}

TEST_F(exported, termination_only_marks_the_process) {
    EXPECT_EQ(application_is_healthy, 1);
    lcfwd_sigterm_signal_handler(15);
    EXPECT_EQ(application_is_healthy, 0);
    lcfwd_on_exit(4);
    EXPECT_TRUE(rig.log_has("graceful_shutdown - shutting down"));
}

TEST_F(exported, socket_buffer_grows_and_each_step_is_told) {
    int sockets[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, sockets), 0);
    int wanted = 4096;
    ASSERT_EQ(setsockopt(sockets[0], SOL_SOCKET, SO_RCVBUF, &wanted, sizeof wanted), 0);
    int before = 0;
    socklen_t length = sizeof before;
    getsockopt(sockets[0], SOL_SOCKET, SO_RCVBUF, &before, &length);
    testing::internal::CaptureStdout();
    lcfwd_sockopt_change(sockets[0]);
    const std::string out = testing::internal::GetCapturedStdout();
    int after = 0;
    getsockopt(sockets[0], SOL_SOCKET, SO_RCVBUF, &after, &length);
    EXPECT_GE(after, before * 4);
    char first[160];
    std::snprintf(first, sizeof first,
                  "lcfwd_sockopt_change: Socket 0x%x Get Sock Opt Retval 0 value %d Length 4\n",
                  static_cast<unsigned>(sockets[0]), before);
    EXPECT_EQ(out.find(first), 0u) << out;
    EXPECT_NE(out.find("Set Sock Opt Retval 0"), std::string::npos);
    EXPECT_TRUE(rig.log_has("Set Sock Opt Retval 0"));
    close(sockets[0]);
    close(sockets[1]);
    lcfwd_sockopt_change(-1);
    EXPECT_TRUE(rig.log_has("Get Sock Opt Retval -1"));
}
