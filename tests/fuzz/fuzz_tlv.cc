/* Arrays of type, length, value, and what a route makes of them. The input lies in memory of exactly its size. */
#include "host/tlv/tlv.h"
#include "tests/fuzz/fuzz_process.h"
#include "ufib/ufib_channel.h"
#include "ufib/ufib_next_hop.h"

#include <memory>

static void array_walk(const uint8_t *data, uint32_t room, uint32_t align) {
    const tlv *element = nullptr;
    uint32_t sum = 0, steps = 0;
    while (tlv_aligned_array_get_next_tlv(data, room, &element, align) == TLV_OK) {
        const uint8_t *bytes_of = tlv_data(element);
        for (uint32_t i = 0; i < tlv_length(element); i++) sum += bytes_of[i];
        if (bytes_of + tlv_length(element) > data + room) fuzz_fail("an element passes the end");
        if (++steps > room) fuzz_fail("the walk does not end");
    }
    if (sum == UINT32_MAX) fuzz_fail("no such sum"); /* the bytes must really be read */
}

static void hops_walk(const ufib_nh_list &list) {
    uint32_t count = 0;
    for (const nh_rec *hop = ufib_nh_first(&list); hop != nullptr; hop = ufib_nh_next(&list, hop), count++) {
        ufib_nh_labels labels;
        uint32_t segment = 0;
        ufib_nh_get_labels(hop, &labels);
        (void)ufib_nh_get_seg_id(hop, &segment);
        (void)ufib_nh_get_xri(hop);
        if (labels.count > UFIB_NH_LABELS_MAX) fuzz_fail("too many labels");
    }
    if (count != list.count || count > UFIB_NH_MAX) fuzz_fail("the list and its walk disagree");
}

/* The batch walk has checked the length of a record before anything else sees it. */
static void route_walk(const route_rec *route, uint32_t size) {
    static ufib_nh_list list;
    if (size < sizeof(route_rec) || wire_get(route->route_len) < sizeof(route_rec) ||
        wire_get(route->route_len) > size || route->nh_count > UFIB_NH_MAX)
        return;
    uint32_t flags = route->flags;
    (void)ufib_route_get_extended_flgs(route, &flags);
    if (ufib_route_get_nh_info(route, &list) == 0) hops_walk(list);
}

static void tlv_run(const uint8_t *data, size_t size) {
    if (size == 0 || size > 65535) return;
    const std::unique_ptr<uint8_t[]> copy(new uint8_t[size]);
    std::copy(data, data + size, copy.get());
    const auto room = static_cast<uint32_t>(size);
    for (const uint32_t align : {1u, 4u, 8u}) array_walk(copy.get(), room, align);
    route_walk(reinterpret_cast<const route_rec *>(copy.get()), room);
    for (const ufib_family &family : ufib_families) {
        const uint32_t fixed = ufib_route_v0_fixed(family);
        if (room < fixed) continue;
        const uint32_t len = ufib_route_v0_len(family, copy.get());
        if (len < fixed || len > room) continue;
        if (const route_rec *route = ufib_route_convert(family, copy.get(), len, 1); route != nullptr)
            route_walk(route, wire_get(route->route_len));
    }
}

static std::vector<bytes> tlv_seeds() {
    std::vector<bytes> seeds = {bytes_from_hex("0002 0010 0001 0004 01020304 0002 0000")};
    for (const bool v6 : {false, true})
        for (const bool version0 : {false, true}) {
            const bytes batch = fuzz_routes(v6, version0, false);
            seeds.emplace_back(batch.begin() + (version0 ? 20 : 17), batch.end());
        }
    return seeds;
}
const fuzz_target fuzz_tlv = {"tlv", tlv_run, tlv_seeds};
