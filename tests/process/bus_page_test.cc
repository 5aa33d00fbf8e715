/* The page about the bus is a contract: the bytes that it shows go to a real process as they stand there, and what
 * comes back must be what it shows. */
#include "tests/process/process_support.h"

#include <cstdint>
#include <cstring>
#include <fstream>
#include <sstream>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using bytes = std::vector<uint8_t>;

static constexpr size_t HEADER = 48;

static const std::string &page() {
    static const std::string text = [] {
        std::ostringstream out;
        out << std::ifstream(LCFWD_SOURCE_DIR "/docs/bus.md").rdbuf();
        return out.str();
    }();
    return text;
}

/* The hex dump behind a mark: lines of an offset and at most 16 bytes. */
static bytes dump_behind(const std::string &mark) {
    bytes out;
    const size_t at = page().find(mark);
    if (at == std::string::npos) return out;
    std::istringstream lines(page().substr(at + mark.size()));
    for (std::string line; std::getline(lines, line);) {
        if (line.find_first_not_of(' ') == std::string::npos) {
            if (out.empty()) continue;
            break;
        }
        if (line.rfind("    ", 0) != 0) {
            if (out.empty()) continue;
            break;
        }
        std::istringstream words(line);
        unsigned offset, byte;
        words >> std::hex >> offset;
        EXPECT_EQ(offset, out.size()) << line;
        while (words >> std::hex >> byte) out.push_back(static_cast<uint8_t>(byte));
    }
    return out;
}

static uint32_t word_at(const bytes &frame, size_t offset) {
    return static_cast<uint32_t>(frame[offset]) << 24 | static_cast<uint32_t>(frame[offset + 1]) << 16 |
           static_cast<uint32_t>(frame[offset + 2]) << 8 | frame[offset + 3];
}

static std::string hex(const bytes &data, size_t from = 0) {
    std::string out;
    char two[3];
    for (size_t i = from; i < data.size(); i++) {
        std::snprintf(two, sizeof two, "%02x", data[i]);
        out += two;
    }
    return out;
}

struct bus_page : process_test {
    int dial(unsigned sap) const {
        const int fd = socket(AF_UNIX, SOCK_SEQPACKET, 0);
        sockaddr_un name = {};
        name.sun_family = AF_UNIX;
        const std::string path = root + "/var/run/lcfwd/slot1/sap" + std::to_string(sap);
        std::snprintf(name.sun_path, sizeof name.sun_path, "%s", path.c_str());
        EXPECT_EQ(connect(fd, reinterpret_cast<const sockaddr *>(&name), sizeof name), 0) << path;
        const timeval limit = {10, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        return fd;
    }
    static bytes receive(int fd) {
        bytes frame(131120);
        const ssize_t size = recv(fd, frame.data(), frame.size(), 0);
        frame.resize(size < 0 ? 0 : static_cast<size_t>(size));
        return frame;
    }
    static void say(int fd, const bytes &frame) {
        EXPECT_EQ(send(fd, frame.data(), frame.size(), 0), static_cast<ssize_t>(frame.size()));
    }
    /* A frame as the page describes it, around a payload. */
    static bytes frame(uint32_t opcode, uint32_t sap, const bytes &payload) {
        bytes out = dump_behind("<!-- example: request -->");
        out.resize(HEADER);
        const auto put = [&out](size_t offset, uint32_t value) {
            for (unsigned i = 0; i < 4; i++) out[offset + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
        };
        put(8, opcode);
        put(32, sap);
        put(40, static_cast<uint32_t>(payload.size()));
        out.insert(out.end(), payload.begin(), payload.end());
        return out;
    }
    /* The payload of the answer to a request, in hex; "" when none comes. */
    std::string ask(uint32_t opcode, const bytes &payload) {
        const int fd = dial(200);
        say(fd, frame(opcode, 200, payload));
        const bytes answer = receive(fd);
        close(fd);
        if (answer.size() < HEADER) return "";
        EXPECT_EQ(word_at(answer, 8), opcode);
        return hex(answer, HEADER);
    }
};

TEST_F(bus_page, examples_are_what_a_real_process_takes_and_answers) {
    const bytes subscribe = dump_behind("This one asks for everything that goes to the supervisor:");
    const bytes request = dump_behind("<!-- example: request -->");
    const bytes answer = dump_behind("<!-- example: answer -->");
    ASSERT_EQ(subscribe.size(), HEADER + 16);
    ASSERT_GT(request.size(), HEADER);
    ASSERT_GT(answer.size(), HEADER);
    start(root);

    const int reports = dial(198);
    say(reports, subscribe);
    const bytes echo = receive(reports);
    ASSERT_GE(echo.size(), HEADER);
    EXPECT_EQ(echo[5], 2) << "subscribed";
    EXPECT_EQ(echo[7], 2) << "a response that is no reject";
    expect_ctl(0, {"vdc", "create", "1"});
    const bytes report = receive(reports);
    ASSERT_EQ(report.size(), HEADER + 8) << hex(report);
    EXPECT_EQ(word_at(report, 8), 77826u);
    EXPECT_EQ(report[HEADER + 2], 1) << "slot";
    close(reports);

    const int routes = dial(200);
    say(routes, request);
    EXPECT_EQ(hex(receive(routes)), hex(answer));
    close(routes);
    EXPECT_NE(expect_ctl(0, {"lookup", "198.51.100.9"}).out.find("glean"), std::string::npos);
}

TEST_F(bus_page, layouts_of_small_requests_are_as_the_page_has_them) {
    start(root);
    expect_ctl(0, {"vdc", "create", "1"});
    const int routes = dial(200);
    say(routes, dump_behind("<!-- example: request -->"));
    (void)receive(routes);
    close(routes);
    /* MACs, reverse path and tunnel get no answer: what comes after them is worked, and they shut nothing. */
    const int quiet = dial(200);
    say(quiet, frame(74760, 200, {2, 0, 0, 0, 0, 1}));
    say(quiet, frame(74773, 200, {0x1a, 1, 0, 1, 2, 0, 0, 0, 0, 2}));
    say(quiet, frame(74761, 200, {0, 0, 0, 20, 0, 0, 0, 1, 0, 0, 0, 8, 3, 1, 0, 0, 0x1a, 1, 0, 1}));
    bytes tunnel = {1, 1,  0, 0, 64, 0,  0, 0, 0x22, 0, 0, 1, 10, 9, 9,
                    9, 10, 0, 0, 1,  10, 0, 0, 2,    2, 0, 0, 0,  0, 3};
    say(quiet, frame(74764, 200, tunnel));
    close(quiet);

    const bytes one_table = {0, 0, 0, 1};
    bytes aged = one_table;
    aged.push_back(1);
    EXPECT_EQ(ask(77843, aged), "00000001000000210001010100000000000000000000000000010005c633640018")
        << "the route of the example: no packet has hit it";
    aged[4] = 2;
    EXPECT_EQ(ask(77843, aged), "000000010000001800000301000000000000000000000000") << "no such table";

    bytes clear = one_table;
    clear.resize(27);
    std::memcpy(clear.data() + 4, "\xc6\x33\x64", 3);
    clear[20] = 24;
    clear[21] = 1;
    EXPECT_EQ(ask(74771, clear), hex(clear)) << "cleared";
    bytes failed = clear;
    failed[26] = 8;
    EXPECT_EQ(ask(74771, clear), hex(failed)) << "it is gone";
    std::memset(clear.data(), 0, 20);
    clear[20] = 0;
    clear[26] = 3; /* all of them, deleted */
    EXPECT_EQ(ask(74772, clear).size(), 54u);

    EXPECT_EQ(ask(596, {0, 9, 0, 1}), "00000005") << "no such operation";
    EXPECT_EQ(ask(596, {0, 1, 0, 7}), "00000000") << "another card";
}

/* The program of the page, as a newcomer would copy it. */
TEST_F(bus_page, the_program_runs) {
    if (access("/usr/bin/python3", X_OK) != 0) GTEST_SKIP() << "no python3 here";
    const size_t begin = page().find("```python\n"), end = page().find("```", begin + 10);
    ASSERT_NE(end, std::string::npos);
    std::string program = page().substr(begin + 10, end - begin - 10);
    const size_t where = program.find("root=\"\"");
    ASSERT_NE(where, std::string::npos);
    program.replace(where, 7, "root=\"" + root + "\"");
    start(root);
    const process_result ran = process_run({"/usr/bin/python3", write("client.py", program)}, folder, 30);
    EXPECT_EQ(ran.code, 0) << ran.err;
    EXPECT_NE(ran.out.find("answer " + hex(dump_behind("<!-- example: answer -->"), HEADER)),
              std::string::npos)
        << ran.out;
}
