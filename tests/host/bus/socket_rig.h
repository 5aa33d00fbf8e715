/* tests/host/bus/socket_rig.h: a process's end of the bus over real sockets, in a private root directory; the
 * test itself plays the clients. */
#pragma once

#include "host/bus/bus.h"
#include "host/bus/bus_client.h"
#include "host/bus/bus_frame.h"
#include "host/bus/fu_mts.h"
#include "host/bus/run_directory.h"
#include "host/system/root.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

struct socket_rig : testing::Test {
    static constexpr uint32_t SYS = 198, UCAST = 200;
    std::string root;
    uint32_t sys = 0, ucast = 0;

    void SetUp() override {
        char folder[] = "/tmp/lcfwd-bus-XXXXXX";
        ASSERT_NE(mkdtemp(folder), nullptr);
        root = folder;
        host_root_set(folder);
        start();
    }
    void TearDown() override {
        mts_reset();
        host_root_set(nullptr);
        std::filesystem::remove_all(root);
    }
    void start() {
        const mts_config config;
        ASSERT_EQ(mts_start(&config), 0) << mts_error_text();
        sys = bind(SYS);
        ucast = bind(UCAST);
    }
    static uint32_t bind(uint32_t sap) {
        const uint32_t options[3] = {1, 4096, 378};
        const int64_t handle = mts_bind(4, sap, options, "test");
        EXPECT_GT(handle, 0) << mts_error_text();
        return static_cast<uint32_t>(handle);
    }
    /* A connection of a client that writes its own bytes. */
    static int raw_connect(uint32_t sap) {
        int directory = -1;
        sockaddr_un address;
        socklen_t length = 0;
        const int fd = socket(AF_UNIX, SOCK_SEQPACKET, 0);
        EXPECT_EQ(run_directory_open(1, false, &directory), 0);
        EXPECT_EQ(run_directory_address(1, directory, sap, &address, &length), 0);
        EXPECT_EQ(connect(fd, reinterpret_cast<const sockaddr *>(&address), length), 0);
        close(directory);
        return fd;
    }
    static std::vector<uint8_t> frame_of(uint32_t opcode, size_t payload_size = 0) {
        mts_msg message = {};
        message.opcode = opcode;
        message.flags = MTS_FLAG_REQUEST;
        message.token = opcode;
        message.payload_size = static_cast<uint32_t>(payload_size);
        std::vector<uint8_t> frame(BUS_FRAME_HEADER + payload_size, 0x5a);
        bus_frame_encode(&message, BUS_FRAME_MESSAGE, frame.data());
        return frame;
    }
    static void raw_send(int fd, const std::vector<uint8_t> &frame) {
        EXPECT_EQ(send(fd, frame.data(), frame.size(), MSG_NOSIGNAL), static_cast<ssize_t>(frame.size()));
    }
    /* Receives the opcodes that wait on a queue; 'answer' sends each back an answer of so many bytes (-1 =
     * none). */
    static std::vector<uint32_t> serve(uint32_t queue, int answer = -1) {
        std::vector<uint32_t> opcodes;
        const std::vector<uint8_t> bytes(answer < 0 ? 0 : static_cast<size_t>(answer));
        EXPECT_EQ(mts_wait(0), 0);
        for (mts_msg *message = nullptr; fu_mts_recv(queue, &message, 1, 0) == 0; fu_mts_drop(message)) {
            opcodes.push_back(mts_opc_get(message));
            if (answer >= 0) (void)fu_mts_send_response(queue, bytes.data(), bytes.size(), message, 0);
        }
        return opcodes;
    }
};
