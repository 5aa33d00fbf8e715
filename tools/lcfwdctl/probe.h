/* tools/lcfwdctl/probe.h: a stream of look-ups without a pause: every address of a list, over and over, while the
 * process behind the tables comes, goes and changes them. Each result must be one of those that some state of the list
 * allows; each change of a result is told with the time of its discovery. */
#pragma once

#include "tools/lcfwdctl/longest_match.h"
#include "tools/lcfwdctl/route_list.h"

#include "softfwd/softfwd_reader.h"

#include <span>
#include <vector>

/* What one state of the list says of an address. */
struct ctl_probe_expected {
    uint32_t if_index;
    uint8_t bits;
    bool absent; /* no route covers it */
};

struct ctl_probe_seen { /* action SOFTFWD_NO_ROUTE: no route */
    uint32_t if_index;
    uint8_t bits;
    uint8_t action;
    bool known; /* there was a result before */
};

/* The addresses of one family: first, middle and last of each prefix of the fullest state, in random order. */
struct ctl_probe_stream {
    uint8_t family; /* 4 or 6 */
    uint32_t table_id;
    size_t states; /* rows of 'expected' for each address, one after the other */
    std::vector<ctl_point> points;
    std::vector<ctl_probe_expected> expected;
    std::vector<ctl_probe_seen> seen;
};

struct ctl_probe_result {
    uint64_t lookups = 0;
    uint64_t changes = 0;
    uint64_t wrong = 0;    /* a result that no state allows */
    uint64_t missing = 0;  /* of these, no route where every state has one */
    uint64_t restarts = 0; /* times that another process began to serve the tables */
    double seconds = 0;
    double longest_pause = 0; /* between two batches of look-ups, seconds */
};

/* A change that is told: 'expected' says whether the new result is allowed. */
using ctl_probe_change = void (*)(void *context, double seconds, const ctl_probe_stream &stream, size_t at,
                                  const ctl_probe_seen &before, const ctl_probe_seen &now, bool allowed);

/* The stream of one family over the states (each sorted, of that family; the first is the fullest). */
[[nodiscard]] ctl_probe_stream ctl_probe_stream_make(uint8_t family, uint32_t table_id,
                                                     std::span<const std::vector<ctl_route>> states);

/* Looks up for so many seconds, or until '*stop' is set. 0, or an errno of the reader. */
[[nodiscard]] int ctl_probe_run(softfwd_reader *reader, std::vector<ctl_probe_stream> *streams,
                                double seconds, const volatile int *stop, ctl_probe_change change,
                                void *context, ctl_probe_result *result);
