#include "host/trace/history.h"

#include "tests/host/child.h"
#include "tests/host/trace/trace_rig.h"

#include <cerrno>
#include <csignal>
#include <fstream>

using history = trace_rig;

/* Texts of every length, so that records begin and wrap at every offset. */
static std::string numbered(size_t i) { return std::to_string(i) + ":" + std::string(i * 7 % 300, 'x'); }

TEST_F(history, the_newest_texts_are_kept_whole_however_the_ring_wraps) {
    history_ring *ring;
    ASSERT_EQ(history_open(378, 1, 4096 + 3, &ring), 0);
    for (size_t count = 0; count < 400; count++) {
        const std::string text = numbered(count);
        ASSERT_TRUE(history_add(ring, 5, text.data(), text.size()));
        const texts seen = read_history(378, 1);
        ASSERT_FALSE(seen.empty());
        for (size_t i = 0; i < seen.size(); i++) ASSERT_EQ(seen[i], numbered(count + 1 - seen.size() + i));
        ASSERT_TRUE(seen.size() == count + 1 || seen.size() >= 10);
    }
    history_close(ring);
}

TEST_F(history, a_long_text_is_cut_and_an_empty_one_is_an_event) {
    history_ring *ring;
    ASSERT_EQ(history_open(378, 1, 4096, &ring), 0);
    const std::string text(HISTORY_TEXT_MAX + 1, 'y');
    history_add(ring, 1, text.data(), text.size());
    history_add(ring, 1, "", 0);
    EXPECT_EQ(read_history(378, 1), (texts{text.substr(1), ""}));
    history_close(ring);
    EXPECT_EQ(history_open(378, 2, 4095, &ring), EINVAL);
}

TEST_F(history, survives_the_process_but_not_another_size) {
    history_ring *ring;
    const int status = in_child([&] {
        if (history_open(378, 3, 8192, &ring) != 0) _exit(1);
        for (size_t i = 0; i < 100; i++) history_add(ring, 1, numbered(i).data(), numbered(i).size());
        kill(getpid(), SIGKILL);
    });
    ASSERT_TRUE(WIFSIGNALED(status));
    ASSERT_EQ(history_open(378, 3, 8192, &ring), 0);
    history_add(ring, 1, "after", 5);
    const texts seen = read_history(378, 3);
    ASSERT_GT(seen.size(), 10u);
    EXPECT_EQ(seen[seen.size() - 2], numbered(99));
    EXPECT_EQ(seen.back(), "after");
    history_close(ring);
    ASSERT_EQ(history_open(378, 3, 16384, &ring), 0);
    EXPECT_TRUE(read_history(378, 3).empty());
    history_close(ring);
}

TEST_F(history, a_reader_that_is_overtaken_goes_on_with_the_oldest_text) {
    history_ring *ring;
    ASSERT_EQ(history_open(1, 1, 4096, &ring), 0);
    history_add(ring, 1, "first", 5);
    history_reader *reader;
    ASSERT_EQ(history_reader_open(1, 1, &reader), 0);
    history_event event;
    ASSERT_TRUE(history_reader_next(reader, &event));
    EXPECT_FALSE(history_reader_next(reader, &event));
    for (size_t i = 0; i < 200; i++) history_add(ring, 1, numbered(i).data(), numbered(i).size());
    texts seen;
    while (history_reader_next(reader, &event)) seen.push_back(event.text);
    EXPECT_EQ(seen, read_history(1, 1));
    EXPECT_EQ(history_reader_skips(reader), 1u);
    history_reader_close(reader);
    history_close(ring);
}

TEST_F(history, beside_a_running_writer_a_reader_sees_whole_texts_only) {
    history_ring *ring;
    ASSERT_EQ(history_open(2, 1, 4096, &ring), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        for (size_t i = 0; i < 200000; i++) history_add(ring, 1, numbered(i).data(), numbered(i).size());
        _exit(0);
    }
    history_reader *reader;
    ASSERT_EQ(history_reader_open(2, 1, &reader), 0);
    history_event event;
    size_t next = 0;
    for (bool running = true; running || next != 200000;) {
        running = running && waitpid(child, nullptr, WNOHANG) == 0;
        while (history_reader_next(reader, &event)) {
            const size_t i = std::strtoul(event.text, nullptr, 10);
            ASSERT_EQ(event.text, numbered(i));
            ASSERT_GE(i, next);
            next = i + 1;
        }
    }
    history_reader_close(reader);
    history_close(ring);
}

TEST_F(history, a_damaged_file_is_never_read_or_written_outside_its_bounds) {
    history_ring *ring;
    ASSERT_EQ(history_open(9, 1, 4096, &ring), 0);
    for (size_t i = 0; i < 60; i++) history_add(ring, 1, numbered(i).data(), numbered(i).size());
    history_close(ring);
    std::ifstream in(file("lctrace_hist_9_1"), std::ios::binary);
    const std::string good{std::istreambuf_iterator<char>(in), {}};
    for (size_t at = 0; at < good.size(); at += at < 64 ? 1 : 5) {
        std::string bad = good;
        bad[at] = static_cast<char>(~bad[at]);
        std::ofstream(file("lctrace_hist_9_1"), std::ios::binary) << bad;
        history_reader *reader;
        if (history_reader_open(9, 1, &reader) == 0) {
            int events = 0;
            for (history_event event; history_reader_next(reader, &event);) events++;
            EXPECT_LE(events, 4096 / 24) << "byte " << at;
            history_reader_close(reader);
        }
        ASSERT_EQ(history_open(9, 1, 4096, &ring), 0);
        for (size_t i = 0; i < 30; i++)
            ASSERT_TRUE(history_add(ring, 1, numbered(i).data(), numbered(i).size()));
        EXPECT_EQ(read_history(9, 1).back(), numbered(29)) << "byte " << at;
        history_close(ring);
    }
}
