/* tools/lcfwdctl/batch_stream.h: sending many batches to one slot or to several at once, with a bounded number that
 * wait for their answers, and what came of it. Batches are encoded before the clock starts, so that the figures tell
 * the speed of the process and not of this client. */
#pragma once

#include "tools/lcfwdctl/session.h"
#include "tools/lcfwdctl/wire_batch.h"

#include <atomic>

struct ctl_batch {
    uint32_t opcode;
    uint32_t routes;
    std::vector<uint8_t> payload;
};

struct ctl_stream_plan {
    uint32_t format = 1;
    uint32_t window = 16; /* batches without an answer yet */
    bool bracket = false; /* up message, download start and end around the batches */
    uint8_t epoch = 1;
    std::vector<ctl_batch> batches;
    uint64_t routes = 0;
};

struct ctl_stream_result {
    int status = CTL_GOOD;
    uint64_t batches_refused = 0;
    uint64_t routes_refused = 0; /* at least */
    uint64_t elapsed_ns = 0;     /* first send to last answer */
};

/* Cuts a list of routes into batches of 'batch_size' at most and of one family each; the last of a family carries the
 * table end. 'tables' are the tables for IPv4 and IPv6. */
void ctl_stream_fill(ctl_stream_plan *plan, ctl_batch_form form, std::span<const ctl_route> routes,
                     uint32_t batch_size, const uint32_t tables[2]);

/* Sends all batches to one process. 'progress' grows by the routes that have their answer. */
[[nodiscard]] ctl_stream_result ctl_stream_run(ctl_session *session, const ctl_stream_plan &plan,
                                               std::atomic<uint64_t> *progress);

/* The same for all chosen slots at once, a thread each, with a progress bar when the error output is a terminal. One
 * result for each slot, in their order. */
[[nodiscard]] std::vector<ctl_stream_result> ctl_stream_run_all(const ctl_stream_plan &plan,
                                                                const char *verb);
