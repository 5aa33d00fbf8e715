#include "tools/lcfwdctl/route_list.h"

#include "tools/lcfwdctl/next_hop.h"

#include "tools/lcfwdctl/ctl.h"
#include "tools/lcfwdctl/line_reader.h"
#include "tools/lcfwdctl/options.h"
#include "tools/lcfwdctl/random.h"

#include <algorithm>
#include <cstring>

/* Aggregates have next hops of their own, so that a look-up that ends on one cannot be right by accident. */
static constexpr uint32_t AGGREGATE_HOPS = 16;

uint32_t ctl_path_count(const ctl_route_shape &shape, const ctl_route &route) {
    if (route.recursive_hop) return 1;
    return route.hop < shape.next_hops ? shape.paths : 1;
}

uint32_t ctl_path_hop(const ctl_route_shape &shape, const ctl_route &route, uint32_t path) {
    return route.hop < shape.next_hops ? (route.hop + path) % shape.next_hops : route.hop;
}

uint32_t ctl_hop_count(const ctl_route_shape &shape) {
    return shape.next_hops + (shape.aggregates != 0 ? AGGREGATE_HOPS + 1 : 0);
}

bool ctl_route_less(const ctl_route &a, const ctl_route &b) {
    if (a.family != b.family) return a.family < b.family;
    const int order = memcmp(a.address, b.address, sizeof a.address);
    return order != 0 ? order < 0 : a.bits < b.bits;
}

static bool same_prefix(const ctl_route &a, const ctl_route &b) {
    return a.family == b.family && a.bits == b.bits && memcmp(a.address, b.address, sizeof a.address) == 0;
}

static void mask_address(uint8_t *address, unsigned bits) {
    uint8_t mask[16];
    ipv6_mask(mask, static_cast<uint8_t>(bits));
    for (unsigned i = 0; i < sizeof mask; i++) address[i] &= mask[i];
}

/* The number behind the prefix; false when there is something else. */
static bool origin_parse(const char *text, uint32_t *origin) {
    while (*text == ' ' || *text == '\t') text++;
    size_t length = strlen(text);
    while (length > 0 && strchr(" \t\r\n", text[length - 1]) != nullptr) length--;
    return ctl_number_parse(std::string(text, length).c_str(), 0, UINT32_MAX, origin);
}

int ctl_route_parse(const char *line, const ctl_route_shape &shape, ctl_route *out) {
    while (*line == ' ' || *line == '\t') line++;
    if (*line == '\0' || *line == '\n' || *line == '\r' || *line == '#') return 0;
    const size_t length = strcspn(line, " \t\r\n");
    char prefix[64];
    if (length >= sizeof prefix || memchr(line, '/', length) == nullptr) return -1;
    memcpy(prefix, line, length);
    prefix[length] = '\0';
    address_family family = ADDRESS_FAMILY_NONE;
    ctl_route route{};
    uint32_t origin = 0;
    if (prefix_parse(prefix, &family, route.address, &route.bits) != 0) return -1;
    if (!origin_parse(line + length, &origin)) return -1;
    route.family = family == ADDRESS_FAMILY_V4 ? 4 : 6;
    mask_address(route.address, route.bits);
    route.hop = origin % shape.next_hops;
    *out = route;
    return 1;
}

int ctl_routes_read(const char *path, const ctl_route_shape &shape, std::vector<ctl_route> *routes,
                    std::string *error) {
    ctl_line_reader *reader = nullptr;
    if (ctl_line_reader_open(path, &reader, error) != 0) return -1;
    const char *line = nullptr;
    for (uint32_t number = 1; ctl_line_reader_next(reader, &line); number++) {
        ctl_route route{};
        const int status = ctl_route_parse(line, shape, &route);
        if (status > 0) routes->push_back(route);
        if (status >= 0) continue;
        *error = std::string(path) + ", line " + std::to_string(number) + ": not \"prefix/length origin-AS\"";
        static_cast<void>(ctl_line_reader_close(reader, nullptr));
        return -1;
    }
    return ctl_line_reader_close(reader, error);
}

static void sort_unique(std::vector<ctl_route> *routes) {
    std::stable_sort(routes->begin(), routes->end(), ctl_route_less);
    /* The last of equal ones counts, as it does for the receiver: unique keeps the first, so from behind. */
    std::reverse(routes->begin(), routes->end());
    routes->erase(std::unique(routes->begin(), routes->end(), same_prefix), routes->end());
    std::reverse(routes->begin(), routes->end());
}

/* A prefix that covers 'inner', 1 to 8 bits shorter, as the generator decides. */
static ctl_route covering_route(const ctl_route &inner, uint32_t next_hop, uint32_t *state) {
    ctl_route outer = inner;
    const unsigned least = inner.family == 4 ? 6 : 12;
    const unsigned shorter = 1 + ctl_random(state) % 8;
    outer.bits = static_cast<uint8_t>(inner.bits > least + shorter ? inner.bits - shorter : least);
    mask_address(outer.address, outer.bits);
    outer.hop = next_hop;
    return outer;
}

/* Adds 'wanted' aggregates over the routes [first, last) and a default route. Few routes allow few aggregates: the
 * search gives up after as many vain steps as it has routes, and some. */
static void add_covers(const ctl_route_shape &shape, const std::vector<ctl_route> &list, size_t first,
                       size_t last, std::vector<ctl_route> *out) {
    std::vector<ctl_route> covers;
    uint32_t state = 20011u + list[first].family, vain = 0;
    const auto bound = static_cast<uint32_t>(4 * (last - first) + 1000);
    while (covers.size() < shape.aggregates && vain < bound) {
        const size_t missing = shape.aggregates - covers.size();
        for (size_t i = 0; i < missing; i++) {
            const ctl_route &inner = list[first + ctl_random(&state) % (last - first)];
            const uint32_t hop = shape.next_hops + ctl_random(&state) % AGGREGATE_HOPS;
            const ctl_route outer = covering_route(inner, hop, &state);
            if (outer.bits < inner.bits &&
                !std::binary_search(list.begin(), list.end(), outer, ctl_route_less))
                covers.push_back(outer);
        }
        sort_unique(&covers);
        vain += static_cast<uint32_t>(missing);
    }
    ctl_route default_route{};
    default_route.family = list[first].family;
    default_route.hop = shape.next_hops + AGGREGATE_HOPS;
    if (list[first].bits != 0) covers.push_back(default_route);
    out->insert(out->end(), covers.begin(), covers.end());
}

void ctl_routes_finish(const ctl_route_shape &shape, std::vector<ctl_route> *routes) {
    sort_unique(routes);
    if (shape.aggregates == 0 || routes->empty()) return;
    std::vector<ctl_route> covers;
    const auto six =
        std::find_if(routes->begin(), routes->end(), [](const ctl_route &r) { return r.family == 6; });
    const auto split = static_cast<size_t>(six - routes->begin());
    if (split > 0) add_covers(shape, *routes, 0, split, &covers);
    if (split < routes->size()) add_covers(shape, *routes, split, routes->size(), &covers);
    routes->insert(routes->end(), covers.begin(), covers.end());
    std::stable_sort(routes->begin(), routes->end(), ctl_route_less);
}

int ctl_routes_load(const std::vector<const char *> &files, const ctl_route_shape &shape,
                    std::vector<ctl_route> *routes) {
    for (const char *file : files) {
        std::string error;
        if (ctl_routes_read(file, shape, routes, &error) == 0) continue;
        ctl_error("%s", error.c_str());
        return CTL_USAGE;
    }
    ctl_routes_finish(shape, routes);
    if (!routes->empty()) return CTL_GOOD;
    ctl_error("no routes in the files given");
    return CTL_USAGE;
}

void ctl_routes_shuffle(uint32_t seed, std::vector<ctl_route> *routes) {
    uint32_t state = seed;
    for (size_t i = routes->size(); i > 1; i--)
        std::swap((*routes)[i - 1], (*routes)[ctl_random(&state) % i]);
}

std::string ctl_address_text(uint8_t family, const uint8_t *address) {
    if (family == 6) return ipv6_addr_str(address);
    uint32_t host = 0;
    for (int i = 0; i < 4; i++) host = host << 8 | address[i];
    return ip_address_str(host);
}

std::string ctl_prefix_text(const ctl_route &route) {
    return ctl_address_text(route.family, route.address) + "/" + std::to_string(route.bits);
}

std::vector<ctl_route> ctl_recursive_routes(const ctl_route_shape &shape,
                                            const std::vector<ctl_route> &routes) {
    std::vector<ctl_route> out;
    for (const uint8_t family : {uint8_t{4}, uint8_t{6}}) {
        const auto of_family = [family](const ctl_route &route) { return route.family == family; };
        if (std::none_of(routes.begin(), routes.end(), of_family)) continue;
        for (uint32_t hop = 0; hop < ctl_hop_count(shape); hop++) {
            ctl_route route{};
            ctl_recursive_hop(family, hop, route.address);
            route.bits = family == 4 ? 32 : 128;
            route.family = family;
            route.recursive_hop = true;
            route.hop = hop;
            out.push_back(route);
        }
    }
    return out;
}
