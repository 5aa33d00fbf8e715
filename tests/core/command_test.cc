#include "core/lcfwd_cmi.h"
#include "host/command/command.h"
#include "host/command/command_wire.h"
#include "tests/core/core_rig.h"

struct commands : core_test {
    commands() {
        EXPECT_EQ(rig.start(), 0);
        rig.vdc(2);
        calls.clear();
    }
    std::optional<rig_message> request(uint16_t vdc_id, cmd_action action, uint32_t command) {
        uint8_t out[64];
        const size_t size =
            cmd_request_write(out, sizeof out, vdc_id, action, command, nullptr, 0, nullptr, 0);
        return rig.send(OPC_COMMAND, bytes(out, out + size));
    }
    static lines calls;
};
lines commands::calls;

static void back_end(cmd_handle *handle, uint32_t vdc_id) {
    commands::calls.push_back("back end, vdc " + std::to_string(vdc_id));
    cmd_rep_send_ok(handle);
}

static cmd_answer answer_read(const std::optional<rig_message> &message) {
    cmd_answer answer = {};
    EXPECT_TRUE(message.has_value());
    if (!message) return answer;
    EXPECT_EQ(cmd_answer_read(message->payload.data(), message->payload.size(), &answer), 0);
    return answer;
}

TEST_F(commands, vdc_out_of_range_is_refused_and_absent_one_succeeds_empty) {
    for (uint16_t vdc_id : std::initializer_list<uint16_t>{0, 6}) {
        const auto message = request(vdc_id, CMD_ACTION_GET, 0x10037);
        const cmd_answer answer = answer_read(message);
        EXPECT_EQ(answer.kind, CMD_ANSWER_NOK);
        EXPECT_EQ(answer.code, 1);
        const std::string text(message->payload.begin(), message->payload.end());
        EXPECT_NE(text.find("invalid vdc"), std::string::npos);
    }
    EXPECT_EQ(answer_read(request(3, CMD_ACTION_GET, 0x10037)).kind, CMD_ANSWER_OK);
    EXPECT_EQ(answer_read(request(3, CMD_ACTION_SET, 0x10037)).kind, CMD_ANSWER_OK);
    EXPECT_TRUE(calls.empty());
}

TEST_F(commands, set_numbers_reach_their_back_end_and_others_do_nothing) {
    const uint32_t numbers[] = {0x10037, 0x1003f, 0x10047, 0x1004f, 0x10057, 0x1005f, 0x10067, 0x1006a,
                                0x10072, 0x1007a, 0x10082, 0x1008a, 0x10092, 0x1009a, 0x100a2, 0x100a8,
                                0x100a9, 0x100b1, 0x100b9, 0x100c1, 0x100d6, 0x100da, 0x100e8, 0x100f1};
    EXPECT_TRUE(lcfwd_cmi_set_register(numbers[0], nullptr));
    EXPECT_FALSE(request(2, CMD_ACTION_SET, numbers[0])) << "no back-end";
    for (uint32_t number : numbers) EXPECT_TRUE(lcfwd_cmi_set_register(number, back_end)) << number;
    EXPECT_FALSE(lcfwd_cmi_set_register(0x10038, back_end));
    for (uint32_t number : numbers) {
        EXPECT_EQ(answer_read(request(2, CMD_ACTION_SET, number)).kind, CMD_ANSWER_OK) << number;
    }
    EXPECT_EQ(calls.size(), std::size(numbers));
    EXPECT_EQ(calls.back(), "back end, vdc 2");
    EXPECT_FALSE(request(2, CMD_ACTION_SET, 0x10038)) << "an unknown one gets no answer";
    EXPECT_FALSE(request(2, CMD_ACTION_SET, 0));
    EXPECT_EQ(calls.size(), std::size(numbers));
}

static void library_show(cmd_handle *handle, uint32_t vdc_id, uint32_t command) {
    commands::calls.push_back("library " + std::to_string(vdc_id) + " " + std::to_string(command));
    cmd_rep_send_ok(handle);
}

TEST_F(commands, show_numbers_reach_their_back_end_and_others_the_library) {
    static const lcfwd_cmi_row rows[] = {{0x10002, "first", back_end}, {0x10010, "second", back_end}};
    lcfwd_cmi_show_register(rows, std::size(rows));
    fake.show_command = library_show;
    const uint64_t before = cmd_counters_get()->requests;
    for (uint32_t number : {0x10002u, 0x10010u, 0x10003u}) request(2, CMD_ACTION_GET, number);
    EXPECT_EQ(cmd_counters_get()->requests, before + 3) << "a handle is taken twice, a request counted once";
    EXPECT_EQ(calls, (lines{"back end, vdc 2", "back end, vdc 2", "library 2 65539"}));
    lcfwd_cmi_show_register(nullptr, 0);
    request(2, CMD_ACTION_GET, 0x10002);
    EXPECT_EQ(calls.back(), "library 2 65538");
}

TEST_F(commands, message_that_is_no_command_is_rejected) {
    const auto answer = rig.send(OPC_COMMAND, {0, 2, 1});
    ASSERT_TRUE(answer.has_value());
    EXPECT_TRUE(answer->reject);
}
