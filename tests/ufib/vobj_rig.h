/* tests/ufib/vobj_rig.h: recursive routes on the unicast rig. Next hops live in the family's own table: an RNH is a
 * route with the recursive mark over direct paths, and other routes resolve through it. */
#pragma once

#include "tests/ufib/ufib_rig.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_dirty.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_rnh.h"
#include "ufib/ufib_table.h"
#include "ufib/ufib_vobj.h"

constexpr uint8_t RECURSIVE_ROUTE = 0x20; /* route flag */
constexpr uint8_t RECURSIVE_HOP = 0x01;   /* next-hop flags */
constexpr uint8_t BACKUP_HOP = 0x04;
constexpr uint8_t NVE_HOP = 0x20;

struct vobj_test : ufib_test {
    explicit vobj_test(const platform_library *library = fake_platform_library()) : ufib_test(library) {}

    const family *now = &v4_family;
    const family &f() const { return *now; }
    bool v4() const { return now == &v4_family; }

    /* Addresses by number, in the family's form: direct neighbours, recursive next hops, routes. */
    std::string path(unsigned n) const {
        return v4() ? "10.0." + std::to_string(n / 250) + "." + std::to_string(n % 250 + 1)
                    : "fe80::" + std::to_string(n / 250) + ":" + std::to_string(n % 250 + 1);
    }
    std::string rnh(unsigned n) const {
        return v4() ? "192.168.0." + std::to_string(n + 1) : "2001:db8:ff::" + std::to_string(n + 1);
    }
    std::string rnh_prefix(unsigned n) const { return rnh(n) + (v4() ? "/32" : "/128"); }
    std::string dest(unsigned n) const {
        char text[64];
        std::snprintf(text, sizeof text, v4() ? "20.%u.%u.0/24" : "2001:db8:%x:%x::/64", n / 250, n % 250);
        return text;
    }

    /* An RNH over direct paths. */
    wire_route over(unsigned n, const std::vector<unsigned> &paths) const {
        wire_route route = add(f(), rnh_prefix(n), "", ETH1, RECURSIVE_ROUTE);
        route.hops.clear();
        for (const unsigned p : paths)
            route.hops.push_back({.address = path(p), .if_index = ETH1, .table_id = f().table});
        return route;
    }
    wire_route no_rnh(unsigned n) const { return remove(f(), rnh_prefix(n), RECURSIVE_ROUTE); }

    wire_hop through(unsigned n, uint8_t flags = RECURSIVE_HOP) const {
        return {.address = rnh(n), .if_index = 0, .flags = flags, .table_id = f().table};
    }
    wire_route recursive(unsigned n, const std::vector<wire_hop> &hops) const {
        wire_route route = add(f(), dest(n));
        route.hops = hops;
        return route;
    }
    bool load1(const wire_route &route) { return load(f(), {route}); }

    /* Model objects, for what the wire does not show. */
    ufib_table *table() const { return ufib_table_search(ufib_vdc_get(1), f().table); }
    ufib_pfx *find(const std::string &prefix, bool is_rnh) const {
        const size_t slash = prefix.find('/');
        const bytes address = address_bytes(prefix.substr(0, slash));
        return ufib_prefix_search(table(), address.data(),
                                  static_cast<uint32_t>(std::stoul(prefix.substr(slash + 1))), is_rnh);
    }
    ufib_pfx *rnh_of(unsigned n) const { return find(rnh_prefix(n), true); }
    ufib_vobj *vobj_of(unsigned n) const {
        ufib_pfx *pfx = find(dest(n), false);
        return pfx != nullptr && ufib_obj_is_vobj(pfx->obj.next) ? ufib_obj_to_vobj(pfx->obj.next) : nullptr;
    }
    /* Numbers of the direct paths that a vobj uses, in its order; "drop" for the global drop adjacency. */
    std::string paths_of(unsigned n) const {
        std::string out;
        const ufib_vobj *vobj = vobj_of(n);
        for (uint32_t i = 0; vobj != nullptr && i < vobj->cnh_count; i++) {
            const auto *adj = reinterpret_cast<const ufib_adj *>(vobj->cnhs[i].obj);
            const uint8_t *a = adj->key.address;
            const bool drop = (adj->flags & UFIB_ADJ_DROP) != 0;
            const unsigned high = v4() ? a[2] : a[13], low = v4() ? a[3] : (a[14] * 256u + a[15]);
            const unsigned number = v4() ? high * 250u + low - 1 : decimal(low) - 1 + 250 * decimal(high);
            out += (i == 0 ? "" : " ") + (drop ? std::string("drop") : std::to_string(number));
        }
        return out;
    }
    static unsigned decimal(unsigned hex) { /* IPv6 addresses are written with decimal digits above */
        return hex == 0 ? 0 : decimal(hex / 16) * 10 + hex % 16;
    }
    /* Members of the platform's entry that a prefix points at. */
    size_t members_behind(unsigned n) const {
        const ufib_pfx *pfx = find(dest(n), false);
        const std::string &content = fake.entries[pfx->obj.handle].content;
        return fake.entries[static_cast<uint32_t>(std::stoul(content.substr(content.rfind(' '))))]
            .members.size();
    }
    uint32_t pointed_at(unsigned n) const {
        const std::string &content = fake.entries[find(dest(n), false)->obj.handle].content;
        return static_cast<uint32_t>(std::stoul(content.substr(content.rfind(' '))));
    }
    /* Routes 'first' to 'last' over the same hops, in batches. */
    void load_many(unsigned first, unsigned last, const std::vector<wire_hop> &hops) {
        for (unsigned n = first; n < last; n += 500) {
            std::vector<wire_route> routes;
            for (unsigned i = n; i < last && i < n + 500; i++) routes.push_back(recursive(i, hops));
            ASSERT_TRUE(load(f(), routes));
        }
        fake_take();
    }
    void second() { rig.advance_seconds(1); }
    void settle() {
        for (int i = 0;
             i < 400 &&
             ufib_dirty_vobj_list.count + ufib_rnh_update_pending_list.count + ufib_vobj_rpf_list.count != 0;
             i++)
            second();
    }
    static lines vobj_calls() {
        return fake_take({"insert_vobj", "update_vobj", "delete_vobj", "update_prefix_nh"});
    }
    /* Between two steps of a walk: what records and objects that wait for their removal say is not asked. */
    std::string dangling() { return model_findings(rig, {.records = false, .orphans = true}); }
};
