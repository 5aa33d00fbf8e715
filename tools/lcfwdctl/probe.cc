#include "tools/lcfwdctl/probe.h"

#include "tools/lcfwdctl/ctl.h"
#include "tools/lcfwdctl/next_hop.h"

#include <algorithm>
#include <chrono>
#include <random>

static constexpr size_t LOOKUPS_AT_ONCE = 512; /* bounds the error of a time stamp */
static constexpr uint32_t SHUFFLE_SEED = 1;

using probe_clock = std::chrono::steady_clock;

static ctl_probe_expected expected_of(const ctl_match &match, std::span<const ctl_route> routes,
                                      ctl_point point) {
    const int64_t index = ctl_match_find(match, point);
    if (index < 0) return {0, 0, true};
    const ctl_route &route = routes[static_cast<size_t>(index)];
    return {ctl_next_hop_make(route.family, route.hop).if_index, route.bits, false};
}

ctl_probe_stream ctl_probe_stream_make(uint8_t family, uint32_t table_id,
                                       std::span<const std::vector<ctl_route>> states) {
    ctl_probe_stream stream = {family, table_id, states.size(), {}, {}, {}};
    for (const ctl_route &route : states[0]) {
        const ctl_range range = ctl_route_range(route);
        stream.points.insert(stream.points.end(), {range.first, range.middle, range.last});
    }
    std::shuffle(stream.points.begin(), stream.points.end(), std::minstd_rand(SHUFFLE_SEED));
    stream.expected.resize(stream.points.size() * states.size());
    stream.seen.resize(stream.points.size());
    for (size_t state = 0; state < states.size(); state++) {
        const ctl_match match = ctl_match_make(states[state]);
        for (size_t at = 0; at < stream.points.size(); at++)
            stream.expected[at * states.size() + state] =
                expected_of(match, states[state], stream.points[at]);
    }
    return stream;
}

struct probe_run {
    softfwd_reader *reader;
    probe_clock::time_point begin;
    ctl_probe_change change;
    void *context;
    ctl_probe_result *result;
    std::vector<softfwd_hop> hops;
};

static double since(probe_clock::time_point begin) {
    return std::chrono::duration<double>(probe_clock::now() - begin).count();
}

static bool allowed(const ctl_probe_expected &wanted, const ctl_probe_seen &now) {
    if (wanted.absent) return now.action == SOFTFWD_NO_ROUTE;
    return now.action == SOFTFWD_FORWARD && now.bits == wanted.bits && now.if_index == wanted.if_index;
}

static void check(probe_run *run, ctl_probe_stream *stream, size_t at, const softfwd_hop &hop) {
    const ctl_probe_seen now = {hop.if_index, hop.mask_len, hop.action, true};
    const ctl_probe_expected *wanted = &stream->expected[at * stream->states];
    const bool right =
        std::any_of(wanted, wanted + stream->states, [&now](const auto &one) { return allowed(one, now); });
    run->result->lookups++;
    run->result->wrong += !right;
    run->result->missing += !right && now.action == SOFTFWD_NO_ROUTE;
    ctl_probe_seen &before = stream->seen[at];
    const bool same =
        before.known && before.action == now.action &&
        (now.action == SOFTFWD_NO_ROUTE || (before.if_index == now.if_index && before.bits == now.bits));
    if (!same && (before.known || !right)) {
        run->result->changes += before.known;
        run->change(run->context, since(run->begin), *stream, at, before, now, right);
    }
    before = now;
}

static int look_up(probe_run *run, const ctl_probe_stream &stream, size_t from, size_t count) {
    run->hops.resize(count);
    if (stream.family == 4) {
        uint32_t addresses[LOOKUPS_AT_ONCE];
        for (size_t i = 0; i < count; i++) addresses[i] = static_cast<uint32_t>(stream.points[from + i].low);
        return softfwd_lookup_v4_many(run->reader, ctl.vdc, stream.table_id, addresses, run->hops.data(),
                                      count);
    }
    uint8_t addresses[LOOKUPS_AT_ONCE][16];
    for (size_t i = 0; i < count; i++) ctl_point_bytes(6, stream.points[from + i], addresses[i]);
    return softfwd_lookup_v6_many(run->reader, ctl.vdc, stream.table_id, addresses, run->hops.data(), count);
}

static int batch(probe_run *run, ctl_probe_stream *stream, size_t from) {
    const size_t count = std::min(LOOKUPS_AT_ONCE, stream->points.size() - from);
    const int error = look_up(run, *stream, from, count);
    for (size_t i = 0; error == 0 && i < count; i++) check(run, stream, from + i, run->hops[i]);
    return error;
}

int ctl_probe_run(softfwd_reader *reader, std::vector<ctl_probe_stream> *streams, double seconds,
                  const volatile int *stop, ctl_probe_change change, void *context,
                  ctl_probe_result *result) {
    probe_run run = {reader, probe_clock::now(), change, context, result, {}};
    softfwd_reader_stats stats{};
    if (const int error = softfwd_reader_statistics(reader, &stats); error != 0) return error;
    const uint32_t generation = stats.generation;
    double last = 0;
    while (*stop == 0 && last < seconds) {
        for (ctl_probe_stream &stream : *streams) {
            for (size_t from = 0; from < stream.points.size() && *stop == 0 && last < seconds;
                 from += LOOKUPS_AT_ONCE) {
                if (const int error = batch(&run, &stream, from); error != 0) return error;
                const double now = since(run.begin);
                result->longest_pause = std::max(result->longest_pause, now - last);
                last = now;
            }
        }
    }
    result->seconds = last;
    const int error = softfwd_reader_statistics(reader, &stats);
    if (error == 0) result->restarts = stats.generation - generation;
    return error;
}
