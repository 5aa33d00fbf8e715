#include "host/trace/bl_reader.h"

#include "tests/host/child.h"
#include "tests/host/trace/trace_rig.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>

static constexpr bl_level levels[] = {{}, {{0x13880001, 0x6d}}, {{0x13880002, 0x6d}}};
static constexpr bl_level small_levels[] = {{{4u << 16 | 1}}};

static constexpr bl_format formats[] = {
    {""},
    {"rcvd mts msg $s$"},
    {nullptr},
    {"count $i32$ hex $i32x$ big $i64$"},
    {"total $i32$ routes $float$ ms"},
    {"prefix $ipv4&mask$ via $ipv4$"},
    {"six $ipv6$ net $ipv6&mask$"},
    {"costs $5 or $i33$, then $s$"},
};

enum class colour : uint8_t { red = 7 };

class bl_trace : public trace_rig {
protected:
    void SetUp() override {
        trace_rig::SetUp();
        ASSERT_EQ(bl_reg_trace_formats(1, formats, std::size(formats)), 0);
    }
    /* All records of the log as text. */
    texts read(uint32_t vdc) {
        texts out;
        bl_reader *reader;
        EXPECT_EQ(bl_reader_open(vdc, 1, &reader), 0);
        if (reader == nullptr) return out;
        for (bl_record record; bl_reader_next(reader, &record);) {
            char text[400];
            bl_render(bl_reader_format(reader, record.event), &record, text, sizeof text);
            out.push_back(text);
        }
        bl_reader_close(reader);
        return out;
    }
};

TEST_F(bl_trace, every_type_of_argument_is_shown_as_its_format_says) {
    ASSERT_EQ(bl_open(1, 1, 1, levels, 3), 0);
    const uint8_t six[16] = {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    bl_log(1, 1, 1, 0, 1, 1, "MTS_OPC");
    bl_log(1, 1, 1, 0, 1, 3, 17u, 255, uint64_t{1} << 40);
    bl_log(1, 1, 2, 0, 1, 4, colour::red, 1.5);
    bl_log(1, 1, 1, 0, 1, 5, bl_ipv4(0x0a010200, 24), bl_ipv4(0x0a010201));
    bl_log(1, 1, 1, 0, 1, 6, bl_ipv6(six), bl_ipv6(six, 64));
    bl_log(1, 1, 1, 0, 1, 7, "end");
    EXPECT_EQ(read(1), (texts{"rcvd mts msg MTS_OPC", "count 17 hex 0xff big 1099511627776",
                              "total 7 routes 1.500 ms", "prefix 10.1.2.0/24 via 10.1.2.1",
                              "six 2001:db8::1 net 2001:db8::1/64", "costs $5 or $i33$, then end"}));
}

TEST_F(bl_trace, missing_extra_and_unformatted_arguments_are_visible) {
    ASSERT_EQ(bl_open(1, 1, 1, levels, 3), 0);
    bl_log(1, 1, 1, 0, 1, 3, 1u);
    bl_log(1, 1, 1, 0, 1, 1, "a", 2u, bl_ipv4(0x01020304, 8));
    bl_log(1, 1, 1, 0, 1, 2, "x", 5u);
    bl_log(1, 1, 1, 0, 1, 999);
    bl_log(1, 1, 1, 0, 1, 1, static_cast<const char *>(nullptr));
    EXPECT_EQ(read(1), (texts{"count 1 hex ? big ?", "rcvd mts msg a 2 1.2.3.4/8", "event 2 x 5", "event 999",
                              "rcvd mts msg (null)"}));
}

TEST_F(bl_trace, a_record_cuts_what_does_not_fit_and_says_so) {
    ASSERT_EQ(bl_open(1, 1, 1, levels, 3), 0);
    const std::string fits(BL_ARGS_BYTES - 2, 'f'), one_more(BL_ARGS_BYTES - 1, 'm');
    bl_log(1, 1, 1, 0, 1, 1, fits.c_str());
    bl_log(1, 1, 1, 0, 1, 1, one_more.c_str());
    bl_log(1, 1, 1, 0, 1, 1, fits.c_str(), 5u);
    EXPECT_EQ(read(1), (texts{"rcvd mts msg " + fits, "rcvd mts msg " + one_more.substr(1) + " ...",
                              "rcvd mts msg " + fits + " ..."}));
    EXPECT_EQ(bl_counters_get()->cut, 2u);
}

TEST_F(bl_trace, levels_have_rings_of_their_own_and_are_read_in_the_order_of_writing) {
    ASSERT_EQ(bl_open(1, 1, 1, levels, 3), 0);
    bl_log(1, 1, 2, 0, 1, 1, "old");
    for (unsigned i = 0; i < 5001; i++) bl_log(1, 1, 1, 0, 1, 3, i);
    bl_log(1, 1, 2, 0, 1, 1, "new");
    const texts seen = read(1);
    ASSERT_EQ(seen.size(), 5002u); /* the flood of one level leaves the other alone */
    EXPECT_EQ(seen.front(), "rcvd mts msg old");
    EXPECT_EQ(seen[1], "count 1 hex ? big ?");
    EXPECT_EQ(seen.back(), "rcvd mts msg new");
}

TEST_F(bl_trace, a_reader_goes_on_with_new_records_and_counts_those_it_missed) {
    ASSERT_EQ(bl_open(2, 1, 1, small_levels, 1), 0);
    bl_reader *reader;
    bl_log(2, 1, 1, 0, 1, 3, 1u);
    ASSERT_EQ(bl_reader_open(2, 1, &reader), 0);
    bl_record record;
    EXPECT_TRUE(bl_reader_next(reader, &record));
    EXPECT_EQ(record.sequence, 1u);
    EXPECT_EQ(record.wall_ns, clock.wall_ns);
    EXPECT_FALSE(bl_reader_next(reader, &record));
    for (unsigned i = 2; i <= 7; i++) bl_log(2, 1, 1, 0, 1, 3, i);
    for (uint64_t i = 4; i <= 7; i++) {
        ASSERT_TRUE(bl_reader_next(reader, &record));
        EXPECT_EQ(record.sequence, i);
    }
    EXPECT_FALSE(bl_reader_next(reader, &record));
    EXPECT_EQ(bl_reader_lost(reader), 2u);
    bl_reader_close(reader);
}

TEST_F(bl_trace, a_new_process_goes_on_where_a_killed_one_stopped) {
    const int status = in_child([] {
        if (bl_open(3, 1, 1, small_levels, 1) != 0) _exit(1);
        for (unsigned i = 1; i <= 6; i++) bl_log(3, 1, 1, 0, 1, 3, i);
        kill(getpid(), SIGKILL);
    });
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(read(3).size(), 4u);
    ASSERT_EQ(bl_open(3, 1, 1, small_levels, 1), 0);
    bl_log(3, 1, 1, 0, 1, 1, "after");
    EXPECT_EQ(read(3), (texts{"count 4 hex ? big ?", "count 5 hex ? big ?", "count 6 hex ? big ?",
                              "rcvd mts msg after"}));
    bl_close(3, 1);
    ASSERT_EQ(bl_open(3, 1, 1, levels, 3), 0); /* other levels: the old records mean nothing */
    EXPECT_TRUE(read(3).empty());
}

TEST_F(bl_trace, beside_a_running_writer_a_reader_sees_whole_records_only) {
    ASSERT_EQ(bl_open(6, 1, 1, small_levels, 1), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        for (uint32_t i = 0; i < 400000; i++)
            bl_log(6, 1, 1, 0, 1, 3, i, i * 3, std::string(i % 50, 'x').c_str());
        _exit(0);
    }
    bl_reader *reader;
    ASSERT_EQ(bl_reader_open(6, 1, &reader), 0);
    uint64_t seen = 0, last = 0;
    bl_record record;
    for (bool running = true; running || last != 400000;) {
        running = running && waitpid(child, nullptr, WNOHANG) == 0;
        while (bl_reader_next(reader, &record)) {
            uint32_t i, threefold;
            std::memcpy(&i, record.args + 2, sizeof i);
            std::memcpy(&threefold, record.args + 8, sizeof threefold);
            ASSERT_EQ(threefold, i * 3);
            ASSERT_EQ(record.size, 12 + 2 + i % 50);
            ASSERT_EQ(record.sequence, i + 1);
            ASSERT_GT(record.sequence, last);
            last = record.sequence;
            seen++;
        }
    }
    EXPECT_EQ(seen + bl_reader_lost(reader), 400000u);
    bl_reader_close(reader);
}

TEST_F(bl_trace, opening_refuses_what_makes_no_log) {
    const bl_level no_records = {{1}}, high_level = {{4u << 16 | BL_LEVELS_MAX}};
    const bl_level many[] = {{{1 << 16}}, {{1 << 16 | 1}}, {{1 << 16 | 2}}, {{1 << 16 | 3}}, {{1 << 16 | 3}}};
    EXPECT_EQ(bl_open(BL_VDC_MAX, 1, 1, levels, 3), EINVAL);
    EXPECT_EQ(bl_open(1, BL_LOG_MAX, 1, levels, 3), EINVAL);
    EXPECT_EQ(bl_open(1, 1, 1, &no_records, 1), EINVAL);
    EXPECT_EQ(bl_open(1, 1, 1, &high_level, 1), EINVAL);
    EXPECT_EQ(bl_open(1, 1, 1, many, 5), EINVAL);
    EXPECT_EQ(bl_close(1, 1), ENOENT);
    ASSERT_EQ(bl_open(1, 1, 1, levels, 3), 0);
    EXPECT_EQ(bl_open(1, 1, 1, levels, 3), EEXIST);
    const uint64_t dropped = bl_counters_get()->dropped;
    bl_log(1, 1, 0, 0, 1, 1); /* no ring at level 0 */
    bl_log(1, 1, 99, 0, 1, 1);
    bl_log(4, 1, 1, 0, 1, 1); /* not open */
    bl_log(99, 99, 1, 0, 1, 1);
    EXPECT_EQ(bl_counters_get()->dropped, dropped + 4);
}

TEST_F(bl_trace, without_a_place_for_files_the_trace_is_private_and_works) {
    host_root_set("/proc/no/such/place");
    ASSERT_EQ(bl_open(1, 1, 1, small_levels, 1), 0);
    EXPECT_EQ(bl_counters_get()->private_logs, 1u);
    bl_log(1, 1, 1, 0, 1, 1, "lost to the world");
    EXPECT_EQ(bl_counters_get()->records, 1u);
    bl_reader *reader;
    EXPECT_NE(bl_reader_open(1, 1, &reader), 0);
    EXPECT_NE(bl_reg_trace_formats(1, formats, 1), 0);
    EXPECT_EQ(bl_close(1, 1), 0);
    EXPECT_EQ(bl_counters_get()->private_logs, 0u);
}

TEST_F(bl_trace, a_damaged_file_is_refused_or_read_within_its_bounds) {
    ASSERT_EQ(bl_open(1, 1, 1, small_levels, 1), 0);
    for (unsigned i = 0; i < 6; i++) bl_log(1, 1, 1, 0, 1, 5, bl_ipv4(i, 24), "text");
    bl_close(1, 1);
    std::ifstream in(file("lctrace_bl_1_1"), std::ios::binary);
    const std::string good{std::istreambuf_iterator<char>(in), {}};
    ASSERT_EQ(good.size(), 256 + 4 * BL_RECORD_BYTES);
    for (size_t at = 0; at < good.size(); at++) {
        std::string bad = good;
        bad[at] = static_cast<char>(~bad[at]);
        std::ofstream(file("lctrace_bl_1_1"), std::ios::binary) << bad;
        bl_reader *reader;
        if (bl_reader_open(1, 1, &reader) != 0) continue;
        int records = 0;
        for (bl_record record; bl_reader_next(reader, &record); records++) {
            char text[64];
            EXPECT_LT(bl_render(bl_reader_format(reader, record.event), &record, text, sizeof text),
                      sizeof text);
        }
        EXPECT_LE(records, 4) << "byte " << at;
        bl_reader_close(reader);
    }
    std::ofstream(file("lctrace_bl_1_1"), std::ios::binary) << good.substr(0, good.size() - 1);
    bl_reader *reader;
    EXPECT_EQ(bl_reader_open(1, 1, &reader), EBADMSG);
}

TEST_F(bl_trace, logs_with_files_can_be_listed) {
    ASSERT_EQ(bl_open(1, 1, 1, small_levels, 1), 0);
    ASSERT_EQ(bl_open(5, 1, 1, small_levels, 1), 0);
    texts seen;
    const auto visit = [](void *ctx, uint32_t vdc, uint32_t log) {
        static_cast<texts *>(ctx)->push_back(std::to_string(vdc) + "/" + std::to_string(log));
    };
    EXPECT_EQ(bl_list(visit, &seen), 0);
    EXPECT_EQ(seen, (texts{"1/1", "5/1"}));
}
