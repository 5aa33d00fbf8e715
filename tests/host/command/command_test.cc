#include "tests/host/command/command_rig.h"

#include <cerrno>

using command = command_rig;

/* VDC 2, get, number 0x10001, cookie "ab", attributes 5 (u16 7) and 2 ("red"). */
static const bytes whole_request = {0, 2,  1, 0, 0, 1, 0, 1, 0, 0, 0, 2, 'a', 'b', 0,  2,
                                    0, 17, 0, 5, 0, 2, 0, 7, 0, 2, 0, 3, 'r', 'e', 'd'};

TEST_F(command, a_request_is_taken_apart) {
    cmd_handle *handle = request(whole_request);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(cmd_req_vdc_get(handle), 2u);
    EXPECT_TRUE(cmd_req_action_is_get(handle));
    EXPECT_EQ(cmd_req_cmdId_getnext(handle), 0x10001u);
    EXPECT_EQ(cmd_req_cmdId_getnext(handle), 0u);
    uint32_t length = 0;
    const void *cookie = cmd_req_cookie_get(handle, &length);
    EXPECT_EQ(std::string(static_cast<const char *>(cookie), length), "ab");
    cmd_attr attr;
    uint64_t number = 0;
    ASSERT_EQ(cmd_req_attr_getnext(handle, &attr), 0);
    EXPECT_EQ(attr.type, 5);
    EXPECT_EQ(cmd_attr_number(&attr, &number), 0);
    EXPECT_EQ(number, 7u);
    ASSERT_EQ(cmd_req_attr_getnext(handle, &attr), 0);
    EXPECT_EQ(cmd_attr_number(&attr, &number), EBADMSG);
    EXPECT_EQ(cmd_req_attr_getnext(handle, &attr), ENOENT);
    char name[8];
    cmd_req_route_context_get(handle, name, sizeof name);
    EXPECT_STREQ(name, "red");
    cmd_req_route_context_get(handle, name, 3);
    EXPECT_STREQ(name, "re");
}

TEST_F(command, a_request_cut_anywhere_is_refused_or_has_fewer_attributes) {
    for (size_t size = 0; size < whole_request.size(); size++) {
        cmd_handle *handle =
            request(bytes(whole_request.begin(), whole_request.begin() + static_cast<ptrdiff_t>(size)));
        if (size < 14) {
            EXPECT_EQ(handle, nullptr) << size;
            continue;
        }
        ASSERT_NE(handle, nullptr) << size;
        cmd_attr attr;
        EXPECT_EQ(cmd_req_attr_getnext(handle, &attr), size == 14 ? ENOENT : EBADMSG) << size;
        char name[8];
        cmd_req_route_context_get(handle, name, sizeof name);
        EXPECT_STREQ(name, "default") << size;
    }
}

TEST_F(command, lengths_and_actions_that_lie_are_refused) {
    bytes long_cookie = whole_request, huge_cookie = whole_request, no_action = whole_request;
    long_cookie[11] = 21;
    huge_cookie[8] = 0xff;
    no_action[2] = 3;
    for (const bytes &payload : {long_cookie, huge_cookie, no_action}) EXPECT_EQ(request(payload), nullptr);
    EXPECT_EQ(cmd_counters_get()->bad_requests, 3u);
    bytes payload(2000);
    EXPECT_EQ(cmd_request_write(payload.data(), 11, 1, CMD_ACTION_SET, 1, nullptr, 0, nullptr, 0), 0u);
    EXPECT_EQ(cmd_request_write(payload.data(), 2000, 1, CMD_ACTION_SET, 1, payload.data(),
                                CMD_COOKIE_MAX + 1, nullptr, 0),
              0u);
}

TEST_F(command, each_kind_of_answer_has_its_bytes) {
    struct {
        int (*answer)(cmd_handle *);
        bytes want;
    } const rows[] = {
        {cmd_rep_send_ok, {1, 0, 0, 0, 0, 0, 0, 0}},
        {cmd_rsp_send_ok, {1, 0, 0, 0, 0, 0, 0, 0}},
        {[](cmd_handle *h) { return cmd_rep_send_nok(h, 0x103, "no"); },
         {2,   0,   1, 3, 0, 0, 0,   0,   1,   1,   0,   19,  0,  2,
          '%', 's', 1, 5, 0, 2, 'e', 'r', 'r', 'o', 'r', 'n', 'o'}},
        {[](cmd_handle *h) {
             cmd_prt(h, "a%s", cmd_u32(258));
             return cmd_prt_send(h);
         },
         {3, 0, 0, 0, 0, 0, 0, 0, 1, 1, 0, 17, 0, 3, 'a', '%', 's', 2, 0, 0, 4, 0, 0, 1, 2}},
        {[](cmd_handle *h) {
             cmd_prt_row_begin(h);
             cmd_prt_row_end(h);
             return cmd_prt_send_cookie(h, "xyz", 3);
         },
         {4, 0, 0, 0, 0, 0, 0, 3, 'x', 'y', 'z', 5, 0, 0, 6, 0, 0, 6, 0, 0, 6, 0, 0}},
    };
    for (const auto &row : rows) {
        cmd_handle *handle = request();
        ASSERT_NE(handle, nullptr);
        EXPECT_EQ(row.answer(handle), 0);
        cmd_answer answer;
        ASSERT_TRUE(take(&answer));
        EXPECT_EQ(answer_bytes, row.want);
    }
}

TEST_F(command, a_second_terminal_answer_is_dropped) {
    cmd_handle *handle = request();
    EXPECT_EQ(cmd_rep_send_ok(handle), 0);
    EXPECT_NE(cmd_prt(handle, "late"), 0);
    EXPECT_NE(cmd_prt_send_nok(handle, 1, "%s", "late"), 0);
    cmd_answer answer;
    ASSERT_TRUE(take(&answer));
    EXPECT_EQ(answer.kind, CMD_ANSWER_OK);
    EXPECT_FALSE(take(&answer));
    EXPECT_EQ(cmd_counters_get()->second_answers, 1u);
    EXPECT_EQ(cmd_counters_get()->answers, 1u);
    EXPECT_NE(request(), nullptr); /* the next request is not touched by it */
    EXPECT_EQ(cmd_rep_send_ok(handle), 0);
}

TEST_F(command, a_cookie_comes_back_with_the_next_request) {
    std::string cookie(256, 'c');
    cookie[5] = '\0';
    EXPECT_EQ(cmd_prt_send_cookie(request(), cookie.data(), CMD_COOKIE_MAX + 1), EINVAL);
    EXPECT_EQ(cmd_prt_send_cookie(request(), cookie.data(), 256), 0);
    cmd_answer answer;
    ASSERT_TRUE(take(&answer));
    ASSERT_EQ(answer.kind, CMD_ANSWER_MORE);
    const std::string back(reinterpret_cast<const char *>(answer.cookie), answer.cookie_length);
    uint32_t length = 0;
    const void *got = cmd_req_cookie_get(request(1, back), &length);
    EXPECT_EQ(std::string(static_cast<const char *>(got), length), cookie);
    EXPECT_EQ(cmd_req_cookie_get(request(), &length), nullptr);
    EXPECT_EQ(length, 0u);
}

TEST_F(command, output_beyond_one_message_leaves_in_parts_and_loses_nothing) {
    cmd_handle *handle = request();
    std::string want;
    cmd_prt_list_begin(handle, "rows");
    for (uint32_t i = 0; i < 20000; i++) {
        cmd_prt_row_begin(handle);
        EXPECT_EQ(cmd_prt(handle, "row %s\n", cmd_u32(i, "n")), 0);
        cmd_prt_row_end(handle);
        want += "row " + std::to_string(i) + "\n";
    }
    EXPECT_EQ(cmd_prt_send(handle), 0); /* with the list still open */
    cmd_answer last;
    EXPECT_EQ(output(CMD_FORM_TEXT, &last), want);
    EXPECT_EQ(last.kind, CMD_ANSWER_DONE);
    EXPECT_GT(cmd_counters_get()->parts, 5u);
}

TEST_F(command, a_piece_that_no_message_holds_is_refused_and_the_largest_fits) {
    cmd_handle *handle = request();
    const std::string big(CMD_ANSWER_MAX, 'b'), large(64000, 'l');
    EXPECT_EQ(cmd_prt(handle, "%s", cmd_text(big.c_str())), EINVAL);
    EXPECT_EQ(cmd_prt(handle, "%s", cmd_text(large.c_str())), 0);
    EXPECT_EQ(cmd_prt(handle, "%s", cmd_text(large.c_str())), 0);
    for (int i = 0; i < 16; i++) EXPECT_EQ(cmd_prt_object_begin(handle, "o"), 0);
    EXPECT_EQ(cmd_prt_object_begin(handle, "o"), EINVAL);
    EXPECT_EQ(cmd_prt_list_end(handle), EINVAL);
    EXPECT_EQ(cmd_prt_send(handle), 0);
    cmd_answer last;
    EXPECT_EQ(output(CMD_FORM_TEXT, &last), large + large);
}

TEST_F(command, an_answer_that_the_bus_refuses_is_counted) {
    cmd_handle *handle = request();
    mts_local_hook_set([](void *, const mts_msg *) { return ENOBUFS; }, nullptr);
    EXPECT_EQ(cmd_prt_send(handle), -1);
    EXPECT_EQ(cmd_counters_get()->send_failures, 1u);
    mts_local_hook_set(nullptr, nullptr);
}
