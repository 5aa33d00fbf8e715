/* Aged routes: the answer's bytes, more than one message, unknown tables. */
#include "tests/ufib/control_rig.h"

static bytes aged_request(uint32_t table_id, unsigned afi) {
    bytes out;
    put32(&out, table_id);
    put8(&out, afi);
    return out;
}

/* The header of an answer for a card of slot 3, which counts as 4. */
static std::string header(uint32_t table_id, size_t total, size_t count, unsigned flags) {
    bytes out;
    put32(&out, table_id);
    put32(&out, static_cast<uint32_t>(total));
    put16(&out, static_cast<unsigned>(count));
    put8(&out, flags);
    put8(&out, my_slot);
    put_zeros(&out, 12);
    return hex_from_bytes(out);
}

struct aged_test : control_test {};
INSTANTIATE_TEST_SUITE_P(both, aged_test, both_families, family_name);

TEST_P(aged_test, the_answer_names_what_no_packet_used) {
    ASSERT_TRUE(load(f, {add(f, f.prefix), add(f, f.prefix2), add(f, f.prefix3)}));
    control.used = {"2"};
    const std::string first = f.index == 0 ? "00010005"
                                             "0a010000"
                                             "10"
                                           : "00020011"
                                             "20010db8000100000000000000000000"
                                             "30";
    const std::string third = f.index == 0 ? "00010005"
                                             "0a030303"
                                             "20"
                                           : "00020011"
                                             "20010db8000300000000000000000003"
                                             "80";
    EXPECT_EQ(ask(OPC_AGED, aged_request(f.table, f.afi)),
              header(f.table, 24 + (first.size() + third.size()) / 2, 2, 1) + first + third);
    control.used = {"1", "2", "3"};
    EXPECT_EQ(ask(OPC_AGED, aged_request(f.table, f.afi)), header(f.table, 24, 0, 1));
    EXPECT_EQ(ask(OPC_AGED, aged_request(77, f.afi)), header(77, 24, 0, 3));
    EXPECT_EQ(ask(OPC_AGED, aged_request(f.table, 3 - f.afi)), header(f.table, 24, 0, 3));
    for (size_t size = 0; size < 5; size++) EXPECT_EQ(rig.dispatch(OPC_AGED, bytes(size)), 16);
}

TEST_P(aged_test, a_full_buffer_is_sent_and_a_new_one_begun) {
    const size_t element = f.index == 0 ? 9 : 21;
    const size_t room = (120808 - 24) / element;
    std::vector<wire_route> routes;
    for (size_t i = 0; i <= room; i++) {
        char text[64];
        std::snprintf(text, sizeof text, f.index == 0 ? "10.9.%zu.%zu/32" : "2001:db8:9:%zx::%zx/128", i >> 8,
                      i & 255);
        routes.push_back(add(f, text));
        if (routes.size() == 500 || i == room) {
            ASSERT_TRUE(load(f, routes));
            routes.clear();
        }
    }
    rig.take();
    const uint32_t token = rig.inject(OPC_AGED, aged_request(f.table, f.afi));
    rig.run();
    const auto answers = rig.take(OPC_AGED);
    ASSERT_EQ(answers.size(), 2u);
    for (const rig_message &answer : answers) EXPECT_EQ(answer.token, token);
    EXPECT_EQ(answers[0].payload.size(), 24 + room * element);
    EXPECT_EQ(hex_from_bytes(answers[0].payload).substr(0, 48),
              header(f.table, 24 + room * element, room, 0));
    EXPECT_EQ(hex_from_bytes(answers[1].payload).substr(0, 48), header(f.table, 24 + element, 1, 1));
}
