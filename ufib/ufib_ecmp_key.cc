/* The keys of groups: from next hops to bytes, and their labels. */
#include "core/lcfwd_log.h"
#include "host/containers/djb_hash.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_hooks.h"

#include <cstring>

static void entry_write(const ufib_family &family, const nh_rec *hop, uint8_t *entry) {
    const uint32_t if_index = wire_get(hop->if_index);
    std::memcpy(entry, &if_index, sizeof if_index);
    if (family.addr_bytes == sizeof(uint32_t)) {
        const uint32_t host = ufib_v4_addr(hop->nh_address);
        std::memcpy(entry + sizeof if_index, &host, sizeof host);
    } else {
        std::memcpy(entry + sizeof if_index, hop->nh_address, family.addr_bytes);
    }
}

/* A tunnel's own labels come first, those of the next hop behind them, as far as there is room. */
static bool path_labels(ufib_vdc *vdc, const nh_rec *hop, ufib_ecmp_labels *labels, uint32_t path) {
    ufib_nh_labels own;
    ufib_nh_get_labels(hop, &own);
    if (ufib_is_implicit_null_present(own.count, own.label))
        labels->size_code[path] = ufib_fixup_labels_for_implicit_null(&own.count, own.label);
    ufib_nh_labels *stack = &labels->path[path];
    if (ufib_hook.te_labels != nullptr)
        ufib_hook.te_labels(vdc, wire_get(hop->if_index), stack, &labels->adj_key_id[path]);
    for (uint32_t i = 0; i < own.count && stack->count < UFIB_NH_LABELS_MAX; i++)
        stack->label[stack->count++] = own.label[i];
    return stack->count != 0;
}

bool ufib_ecmp_route_to_key(const ufib_family &family, ufib_vdc *vdc, const ufib_nh_list *hops,
                            ufib_ecmp_key *key, ufib_ecmp_labels *labels) {
    bool any = false;
    std::memset(key, 0, ufib_ecmp_key_bytes(family));
    if (labels != nullptr) *labels = {};
    for (const nh_rec *hop = ufib_nh_first(hops); hop != nullptr && key->count < UFIB_ECMP_PATHS_MAX;
         hop = ufib_nh_next(hops, hop)) {
        if (labels != nullptr && path_labels(vdc, hop, labels, key->count)) any = true;
        entry_write(family, hop, key->entries + key->count * ufib_ecmp_entry_bytes(family));
        key->count++;
    }
    return any;
}

void ufib_ecmp_ecmp_to_key(const ufib_ecmp *group, ufib_ecmp_key *key) {
    std::memcpy(key, group->key, ufib_ecmp_key_bytes(ufib_ecmp_family(group)));
}

ufib_adj_key ufib_ecmp_key_path(const ufib_family &family, const ufib_ecmp_key &key, uint32_t path) {
    const uint8_t *entry = key.entries + path * ufib_ecmp_entry_bytes(family);
    ufib_adj_key out = {};
    std::memcpy(&out.if_index, entry, sizeof out.if_index);
    std::memcpy(out.address, entry + sizeof out.if_index, family.addr_bytes);
    if (family.addr_bytes != sizeof(uint32_t)) return out;
    uint32_t host;
    std::memcpy(&host, out.address, sizeof host);
    const wire_be<uint32_t> network = wire_put(host);
    std::memcpy(out.address, network.raw, sizeof network.raw);
    return out;
}

static uint32_t used_bytes(const ufib_family &family, const ufib_ecmp_key &key) {
    return ufib_ecmp_key_bytes(family) - (UFIB_ECMP_PATHS_MAX - key.count) * ufib_ecmp_entry_bytes(family);
}

uint32_t ufib_ecmp_hash(const ufib_family &family, const ufib_ecmp_key &key) {
    return djb_hash(&key, used_bytes(family, key));
}

bool ufib_ecmp_compare(const ufib_ecmp *group, const ufib_family &family, const ufib_ecmp_key &key) {
    return group->afi == family.afi && group->key->count == key.count &&
           std::memcmp(group->key, &key, used_bytes(family, key)) == 0;
}
