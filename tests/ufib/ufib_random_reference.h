/* tests/ufib/ufib_random_reference.h: what the engine should answer, kept in maps: routes by prefix and neighbours by
 * address, changed by the same requests as the model is, one visible step at a time. Knows nothing of the product. */
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using ref_address = std::array<uint8_t, 16>; /* network order; IPv4 in the first four */

enum class ref_kind { plain, attached, drop, local, direct, never_stale };
enum class ref_action { no_route, drop, punt, glean, forward };

struct ref_table {
    uint32_t vdc; /* 0: a wildcard table that all VDCs share */
    bool v6;
    uint32_t id;
    auto operator<=>(const ref_table &) const = default;
};

[[nodiscard]] inline bool ref_is_wildcard(const ref_table &table) {
    return table.id == (table.v6 ? 65535u : 65534u);
}

struct ref_prefix {
    ref_address address;
    unsigned bits;
    auto operator<=>(const ref_prefix &) const = default;
};

struct ref_hop {
    uint32_t if_index;
    ref_address address;
    auto operator<=>(const ref_hop &) const = default;
};
using ref_hops = std::vector<ref_hop>; /* in the order of the route */

/* What a packet gets; the parts that an action does not use are zero. */
struct ref_result {
    ref_action action;
    unsigned bits; /* of the route that matches */
    ref_hop hop;
    std::array<uint8_t, 6> mac;
    auto operator<=>(const ref_result &) const = default;
};
[[nodiscard]] std::string ref_text(const ref_result &result);
[[nodiscard]] std::string ref_text(const ref_address &address, bool v6);

class ref_model {
public:
    /* Requests. False where the answer must say so. */
    bool add(const ref_table &table, const ref_prefix &prefix, ref_kind kind, const ref_hops &hops,
             uint8_t epoch);
    bool remove(const ref_table &table, const ref_prefix &prefix);
    /* An add whose write fails after the fact: the route is gone, the old one too. */
    void add_fails_late(const ref_table &table, const ref_prefix &prefix, ref_kind kind,
                        const ref_hops &hops);
    void resolve(uint32_t vdc, bool v6, const ref_hop &hop, const std::array<uint8_t, 6> &mac);
    void unresolve(uint32_t vdc, bool v6, const ref_hop &hop);
    void interface_down(uint32_t vdc, bool v6, uint32_t if_index);
    void stale_delete(uint32_t vdc, bool v6, uint32_t table_id, uint8_t epoch); /* 0: all tables */
    void vdc_delete(uint32_t vdc);
    void restarted(); /* wildcard tables begin anew with the first VDC; behind every drop is glean */
    void empty_wildcards_end(); /* some time after the last route left a shared wildcard table */

    /* Any of these: one for each path of the route that matches. */
    [[nodiscard]] std::set<ref_result> lookup(const ref_table &table, const ref_address &address) const;
    /* What each path of each covering route would give, the longest route first. */
    void covering(const ref_table &table, const ref_address &address,
                  const std::function<void(const ref_result &)> &visit) const;
    /* What a route of 'bits' through a neighbour gives now; nothing when there is no such neighbour. */
    [[nodiscard]] std::optional<ref_result> via(const ref_table &table, unsigned bits,
                                                const ref_hop &hop) const;
    [[nodiscard]] size_t route_count() const;
    void each_route(
        const std::function<void(const ref_table &, const ref_prefix &, const ref_hops &)> &visit) const;

    uint32_t owner[2] = {
        0, 0}; /* by family: the VDC whose routes may go into the shared wildcard table; 0: none is */

    /* After each step that a look-up may see, in tables of this VDC and family. */
    std::function<void(uint32_t vdc, bool v6)> changed = [](uint32_t, bool) {};

private:
    using neighbour_key = std::tuple<uint32_t, bool, ref_hop>; /* VDC, family */
    struct neighbour {
        uint32_t routes = 0;
        bool held = false; /* by the sender of neighbour notices */
        bool resolved = false, glean = false, drop = false, attached = false;
        std::array<uint8_t, 6> mac = {};
    };
    struct route {
        ref_kind kind;
        ref_hops hops;
        uint8_t epoch;
    };
    using routes = std::map<ref_prefix, route>; /* by address, shorter first: the order of walks */

    static bool uses_neighbour(ref_kind kind) {
        return kind == ref_kind::plain || kind == ref_kind::attached;
    }
    void neighbours_take(const ref_table &table, const route &r);
    void neighbours_give_back(const ref_table &table, const route &r);
    void attached_drop_ends(const ref_table &table, const route &r);
    bool neighbour_leaves(neighbour *n, bool set_drop);
    void results_of(const ref_table &table, const ref_prefix &prefix, const route &r,
                    const std::function<void(const ref_result &)> &visit) const;

    std::map<ref_table, routes> tables_;
    /* Shared wildcard tables (of IPv6 or not) that lost their last route lately, and whose they were then: a table that has
     * moved to another VDC meanwhile stays, empty. */
    std::set<std::pair<bool, uint32_t>> emptied_;
    std::set<unsigned, std::greater<>> lengths_; /* of any route so far */
    std::map<neighbour_key, neighbour> neighbours_;
};
