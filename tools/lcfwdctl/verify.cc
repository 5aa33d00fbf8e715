#include "tools/lcfwdctl/verify.h"

#include "tools/lcfwdctl/ctl.h"
#include "tools/lcfwdctl/engine_reader.h"
#include "tools/lcfwdctl/next_hop.h"

#include <cerrno>
#include <cstring>
#include <unordered_map>

static constexpr size_t EXAMPLES_MAX = 10;
static constexpr size_t LOOKUPS_AT_ONCE = 3 * 1024;

/* Adjacencies are few beside routes: each is asked for once. */
struct verify_state {
    softfwd_reader *reader;
    const ctl_verify_plan *plan;
    ctl_match match;
    std::unordered_map<uint32_t, softfwd_adj_info> adjacencies;
    std::vector<ctl_point> points;
    ctl_verify_result *result;
};

static int adjacency_of(verify_state *state, uint32_t handle, softfwd_adj_info *out) {
    const auto known = state->adjacencies.find(handle);
    if (known != state->adjacencies.end()) {
        *out = known->second;
        return 0;
    }
    const int error = softfwd_reader_adj_get(state->reader, handle, out);
    if (error == 0) state->adjacencies.emplace(handle, *out);
    return error;
}

static bool leads_to(const softfwd_hop &hop, const softfwd_adj_info &adjacency, const ctl_next_hop &wanted,
                     bool resolved) {
    if (hop.action != (resolved ? SOFTFWD_FORWARD : SOFTFWD_GLEAN) || hop.if_index != wanted.if_index)
        return false;
    if (memcmp(adjacency.next_hop, wanted.address, wanted.family == 4 ? 4 : 16) != 0) return false;
    return !resolved || memcmp(adjacency.dmac, wanted.mac, sizeof wanted.mac) == 0;
}

/* Load is shared among all paths, but for host routes, which may take the first alone. */
static bool leads_to_path(const ctl_verify_plan &plan, const ctl_route &route, const softfwd_hop &hop,
                          const softfwd_adj_info &adjacency) {
    const uint32_t paths = ctl_path_count(plan.shape, route);
    const bool host = route.bits == (route.family == 4 ? 32 : 128);
    /* A recursive route has a group even for one path. */
    const uint32_t members = paths == 1 && !plan.shape.recursive ? 0 : paths;
    if (hop.members != members && !(host && hop.members <= 1)) return false;
    for (uint32_t path = 0; path < paths; path++) {
        const ctl_next_hop wanted = ctl_next_hop_make(route.family, ctl_path_hop(plan.shape, route, path));
        if (leads_to(hop, adjacency, wanted, plan.resolved)) return true;
    }
    return false;
}

static void note_wrong(verify_state *state, uint8_t family, ctl_point point, const softfwd_hop &hop,
                       int64_t expected) {
    state->result->wrong++;
    if (state->result->examples.size() >= EXAMPLES_MAX) return;
    uint8_t address[16];
    ctl_point_bytes(family, point, address);
    std::string text = ctl_address_text(family, address) + ": expected ";
    if (expected < 0)
        text += "no route";
    else
        text += ctl_prefix_text(state->plan->routes[static_cast<size_t>(expected)]);
    char got[96];
    snprintf(got, sizeof got, ", got %s /%u if_index 0x%08x adjacency %u", softfwd_action_name(hop.action),
             hop.mask_len, hop.if_index, hop.adj_handle);
    state->result->examples.push_back(text + got);
}

static int check_hop(verify_state *state, uint8_t family, ctl_point point, const softfwd_hop &hop) {
    const ctl_verify_plan &plan = *state->plan;
    const int64_t expected = plan.absent ? -1 : ctl_match_find(state->match, point);
    state->result->lookups++;
    bool right = expected < 0 ? hop.action == SOFTFWD_NO_ROUTE : hop.action != SOFTFWD_NO_ROUTE;
    if (right && expected >= 0) {
        const ctl_route &route = plan.routes[static_cast<size_t>(expected)];
        softfwd_adj_info adjacency{};
        const int error = adjacency_of(state, hop.adj_handle, &adjacency);
        if (error != 0 && error != ENOENT) return error;
        right = error == 0 && hop.mask_len == route.bits && leads_to_path(plan, route, hop, adjacency);
    }
    if (!right) note_wrong(state, family, point, hop, expected);
    return 0;
}

static int look_up(verify_state *state, uint8_t family, std::vector<softfwd_hop> *hops) {
    const size_t count = state->points.size();
    hops->resize(count);
    if (family == 4) {
        std::vector<uint32_t> addresses;
        for (ctl_point point : state->points) addresses.push_back(static_cast<uint32_t>(point.low));
        return softfwd_lookup_v4_many(state->reader, ctl.vdc, state->plan->table_id, addresses.data(),
                                      hops->data(), count);
    }
    std::vector<uint8_t> bytes(count * 16);
    for (size_t i = 0; i < count; i++) ctl_point_bytes(family, state->points[i], &bytes[i * 16]);
    return softfwd_lookup_v6_many(state->reader, ctl.vdc, state->plan->table_id,
                                  reinterpret_cast<const uint8_t(*)[16]>(bytes.data()), hops->data(), count);
}

static int flush(verify_state *state, uint8_t family) {
    std::vector<softfwd_hop> hops;
    int error = look_up(state, family, &hops);
    for (size_t i = 0; error == 0 && i < hops.size(); i++)
        error = check_hop(state, family, state->points[i], hops[i]);
    state->points.clear();
    return error;
}

int ctl_verify_run(softfwd_reader *reader, const ctl_verify_plan &plan, ctl_verify_result *result) {
    verify_state state{reader, &plan, ctl_match_make(plan.routes), {}, {}, result};
    for (const ctl_route &route : plan.routes) {
        const ctl_range range = ctl_route_range(route);
        state.points.insert(state.points.end(), {range.first, range.middle, range.last});
        if (state.points.size() < LOOKUPS_AT_ONCE) continue;
        if (const int error = flush(&state, route.family); error != 0) return error;
    }
    return plan.routes.empty() ? 0 : flush(&state, plan.routes.back().family);
}
