/* tests/host/command/command_rig.h: a client of the command service over the in-process bus: it puts requests in,
 * takes answers out, and renders them. */
#pragma once

#include "host/bus/bus_local.h"
#include "host/bus/fu_mts.h"
#include "host/command/command_render.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

using bytes = std::vector<uint8_t>;

class command_rig : public testing::Test {
protected:
    void SetUp() override {
        mts_config config;
        config.transport = MTS_TRANSPORT_LOCAL;
        ASSERT_EQ(mts_start(&config), 0);
        const uint32_t options[3] = {1, 4096, 378};
        const int64_t bound = mts_bind(4, 203, options, "commands");
        ASSERT_GT(bound, 0);
        queue = static_cast<uint32_t>(bound);
        ASSERT_EQ(cmd_backend_init(queue), 0);
    }
    void TearDown() override {
        if (received != nullptr) mts_drop(received);
        cmd_reset();
        mts_reset();
    }
    /* Receives 'payload' as a request and takes its handle; null when it is refused. */
    cmd_handle *request(bytes payload) {
        mts_msg message{};
        message.opcode = CMD_OPC;
        message.source = {0xfe000001, 500};
        message.destination = {1, 203};
        message.token = 77;
        message.flags = MTS_FLAG_REQUEST;
        message.payload = payload.empty() ? nullptr : payload.data();
        message.payload_size = static_cast<uint32_t>(payload.size());
        EXPECT_EQ(mts_local_inject(&message), 0);
        if (received != nullptr) mts_drop(received);
        received = nullptr;
        EXPECT_EQ(fu_mts_recv(queue, &received, 1, 0), 0);
        cmd_handle *handle = nullptr;
        const int status = cmd_req_handle_get(received, &handle);
        EXPECT_EQ(status == 0, handle != nullptr);
        return handle;
    }
    cmd_handle *request(uint32_t command = 0x10001, const std::string &cookie = "",
                        const bytes &attributes = {}) {
        bytes payload(CMD_REQUEST_HEAD + cookie.size() + attributes.size());
        EXPECT_EQ(cmd_request_write(payload.data(), payload.size(), 2, CMD_ACTION_GET, command, cookie.data(),
                                    static_cast<uint32_t>(cookie.size()), attributes.data(),
                                    static_cast<uint32_t>(attributes.size())),
                  payload.size());
        return request(payload);
    }
    /* The next answer; its bytes stay in 'answer_bytes'. */
    bool take(cmd_answer *answer) {
        mts_msg message;
        if (!mts_local_take(&message, &answer_bytes)) return false;
        EXPECT_EQ(message.token, 77u);
        EXPECT_NE(message.flags & MTS_FLAG_RESPONSE, 0);
        EXPECT_EQ(cmd_answer_read(answer_bytes.data(), answer_bytes.size(), answer), 0);
        return true;
    }
    /* Takes answers up to the terminal one and renders them as one output. */
    std::string output(cmd_form form, cmd_answer *last) {
        std::string out;
        cmd_renderer *renderer = cmd_renderer_create(form, append, &out);
        bool more = true;
        while (more && take(last)) {
            EXPECT_EQ(cmd_renderer_feed(renderer, last->pieces, last->pieces_size), 0);
            more = last->kind == CMD_ANSWER_PART;
        }
        cmd_renderer_finish(renderer);
        return out;
    }
    static void append(void *ctx, const char *text, size_t size) {
        static_cast<std::string *>(ctx)->append(text, size);
    }

    uint32_t queue = 0;
    mts_msg *received = nullptr;
    bytes answer_bytes;
};
