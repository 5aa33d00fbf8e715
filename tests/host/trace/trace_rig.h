/* tests/host/trace/trace_rig.h: the trace service on a root directory of its own and a clock that stands still. */
#pragma once

#include "host/system/root.h"
#include "host/timer/clock.h"
#include "host/trace/history.h"
#include "host/trace/trace.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using texts = std::vector<std::string>;

/* The events of a history, "no history" where there is none. */
inline texts read_history(uint32_t uuid, uint32_t instance) {
    texts out;
    history_reader *reader;
    if (history_reader_open(uuid, instance, &reader) != 0) return {"no history"};
    for (history_event event; history_reader_next(reader, &event);) out.push_back(event.text);
    history_reader_close(reader);
    return out;
}

class trace_rig : public testing::Test {
protected:
    void SetUp() override {
        char directory[] = "/tmp/lcfwd_trace_XXXXXX";
        ASSERT_NE(mkdtemp(directory), nullptr);
        root = directory;
        host_root_set(root.c_str());
        host_manual_clock_set(&clock);
    }
    void TearDown() override {
        trace_reset();
        host_clock_reset();
        host_root_set(nullptr);
        EXPECT_EQ(std::system(("rm -rf " + root).c_str()), 0);
    }
    std::string file(const std::string &name) const { return root + "/dev/shm/" + name; }

    std::string root;
    host_manual_clock clock{1, 1700000000000000000};
};
