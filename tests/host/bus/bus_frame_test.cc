#include "host/bus/bus_frame.h"
#include "host/bus/frame_fifo.h"

#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <fstream>
#include <random>
#include <string>

/* Written by hand from the page that describes the frame to others. */
static const uint8_t golden[] = {
    'L',  'C',  'F',  'B',  1, 0, 0x00, 0x01,                      /* magic, version, kind, flags: request */
    0x00, 0x01, 0x24, 0x0f, 0, 0, 0,    1,                         /* opcode 74767, version 1 */
    0xfe, 0,    0,    0,    0, 0, 0,    7,    0,    0,    0,    2, /* source node, SAP, VDC */
    0,    0,    0,    3,    0, 0, 0,    200,  0x01, 0x02, 0x03, 0x04, /* destination node, SAP, token */
    0,    0,    0,    2,    0, 0, 0,    0,    0xaa, 0xbb,             /* payload size, reserved, payload */
};

TEST(bus_frame, header_has_the_documented_bytes) {
    uint8_t payload[] = {0xaa, 0xbb};
    mts_msg message = {};
    message.opcode = 74767;
    message.version = 1;
    message.source = {0xfe000000, 7};
    message.source_vdc = 2;
    message.destination = {3, 200};
    message.token = 0x01020304;
    message.flags = MTS_FLAG_REQUEST;
    message.payload = payload;
    message.payload_size = sizeof payload;
    uint8_t header[BUS_FRAME_HEADER];
    bus_frame_encode(&message, BUS_FRAME_MESSAGE, header);
    EXPECT_EQ(memcmp(header, golden, sizeof header), 0);

    uint8_t frame[sizeof golden];
    memcpy(frame, golden, sizeof golden);
    mts_msg read = {};
    bus_frame_kind kind;
    ASSERT_EQ(bus_frame_decode(frame, sizeof frame, &read, &kind), 0);
    EXPECT_EQ(read.opcode, 74767u);
    EXPECT_EQ(read.source.node, 0xfe000000u);
    EXPECT_EQ(read.source_vdc, 2u);
    EXPECT_EQ(read.token, 0x01020304u);
    EXPECT_EQ(read.payload, frame + BUS_FRAME_HEADER);
    EXPECT_EQ(read.payload_size, 2u);
}

TEST(bus_frame, is_refused_when_cut_lengthened_or_altered) {
    mts_msg read = {};
    bus_frame_kind kind;
    for (size_t size = 0; size < sizeof golden; size++) {
        std::vector<uint8_t> frame(golden, golden + size);
        EXPECT_EQ(bus_frame_decode(frame.data(), size, &read, &kind), EBADMSG) << "size " << size;
    }
    for (const size_t at : {0u, 3u, 4u, 5u, 40u, 43u}) {
        std::vector<uint8_t> frame(golden, golden + sizeof golden);
        frame[at] ^= 0x40;
        EXPECT_EQ(bus_frame_decode(frame.data(), frame.size(), &read, &kind), EBADMSG) << "byte " << at;
    }
}

TEST(bus_frame, subscription_matches_by_masked_node_and_sap) {
    const bus_subscription all = {MTS_NODE_UFDM, 0xff00fffe, 0, 0};
    const bus_subscription one = {0xfe010001, 0xffffffff, 190, 0xffffffff};
    const struct {
        mts_address address;
        bool all, one;
    } rows[] = {
        {{0xfe000000, 190}, true, false}, {{0xfe010001, 190}, true, true},   {{0xfe010001, 191}, true, false},
        {{0xfe040001, 0}, true, false},   {{0xfd000000, 190}, false, false}, {{0xfe000002, 0}, false, false},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(bus_subscription_matches(&all, &row.address), row.all) << std::hex << row.address.node;
        EXPECT_EQ(bus_subscription_matches(&one, &row.address), row.one) << std::hex << row.address.node;
    }
}

TEST(frame_fifo, behaves_like_a_queue_of_strings) {
    const uint32_t seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    frame_fifo fifo;
    fifo.count_max = 50;
    fifo.bytes_max = 20'000;
    std::deque<std::pair<uint32_t, std::string>> model;
    for (uint32_t step = 0; step < 20'000; step++) {
        const std::string head(random() % 48, static_cast<char>(step)), body(random() % 900, 'b');
        size_t used = 0;
        for (const auto &frame : model) used += frame.second.size() + 8;
        const bool fits = model.size() < 50 && used + 8 + head.size() + body.size() <= 20'000;
        frame_view front;
        switch (random() % 4) {
        case 0:
        case 1:
            ASSERT_EQ(frame_fifo_push(&fifo, step, head.data(), head.size(), body.data(), body.size()),
                      fits ? 0 : ENOBUFS);
            if (fits) model.emplace_back(step, head + body);
            break;
        case 2:
            frame_fifo_pop(&fifo);
            if (!model.empty()) model.pop_front();
            break;
        default:
            if (model.empty()) break;
            const size_t victim = random() % model.size();
            size_t at = 0;
            for (size_t i = 0; i <= victim; i++) ASSERT_TRUE(frame_fifo_next(&fifo, &at, &front));
            ASSERT_EQ(front.tag, model[victim].first);
            frame_fifo_remove(&fifo, &front);
            model.erase(model.begin() + static_cast<ptrdiff_t>(victim));
        }
        ASSERT_EQ(frame_fifo_front(&fifo, &front), !model.empty());
        if (model.empty()) continue;
        ASSERT_EQ(front.tag, model.front().first);
        ASSERT_EQ(std::string(front.bytes, front.bytes + front.size), model.front().second);
    }
    EXPECT_LE(fifo.capacity, 64 * 1024u) << "the block does not creep";
    frame_fifo_free(&fifo);
}

/* The bytes of an example of the page that describes the bus, by the name in its mark. */
static std::vector<uint8_t> documented_example(const std::string &name) {
    std::ifstream file(DOCS_FOLDER "/bus.md");
    std::vector<uint8_t> bytes;
    std::string line;
    while (std::getline(file, line) && line != "<!-- example: " + name + " -->") {
    }
    while (std::getline(file, line) && line.rfind("    ", 0) == 0)
        for (size_t at = 10; at + 1 < line.size(); at += 3)
            bytes.push_back(static_cast<uint8_t>(std::stoul(line.substr(at, 2), nullptr, 16)));
    return bytes;
}

TEST(bus_page, examples_are_frames_whose_lengths_agree) {
    std::vector<uint8_t> request = documented_example("request"), answer = documented_example("answer");
    mts_msg message = {};
    bus_frame_kind kind;
    ASSERT_EQ(bus_frame_decode(request.data(), request.size(), &message, &kind), 0);
    EXPECT_EQ(message.opcode, 74767u);
    EXPECT_EQ(message.flags, MTS_FLAG_REQUEST);
    EXPECT_EQ(message.destination.sap, mts_opc_sap_get(message.opcode));
    EXPECT_EQ(bus_get_u32(message.payload), message.payload_size);
    const uint32_t route_len =
        static_cast<uint32_t>(message.payload[17 + 21] << 8 | message.payload[17 + 22]);
    EXPECT_EQ(17 + route_len, message.payload_size);
    const uint32_t token = message.token;
    ASSERT_EQ(bus_frame_decode(answer.data(), answer.size(), &message, &kind), 0);
    EXPECT_EQ(message.flags, MTS_FLAG_RESPONSE);
    EXPECT_EQ(message.token, token);
    EXPECT_EQ(message.payload_size, 17u);
}
