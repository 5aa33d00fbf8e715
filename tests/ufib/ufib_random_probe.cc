#include "tests/ufib/ufib_random_probe.h"

#include <cstring>

static ref_action action_of(uint8_t action) {
    switch (action) {
    case SOFTFWD_DROP: return ref_action::drop;
    case SOFTFWD_PUNT: return ref_action::punt;
    case SOFTFWD_GLEAN: return ref_action::glean;
    case SOFTFWD_FORWARD: return ref_action::forward;
    default: return ref_action::no_route;
    }
}

/* Interfaces of the reference's neighbours are Ethernet ones; all others belong to global adjacencies. */
static bool is_neighbour(const softfwd_result &found) { return found.hop.if_index >> 24 == 0x1a; }

ref_result probe_lookup(softfwd_reader *reader, const probe_key &key) {
    softfwd_result found = {};
    const address_family family = key.table.v6 ? ADDRESS_FAMILY_V6 : ADDRESS_FAMILY_V4;
    const uint32_t vdc = key.table.vdc == 0 ? 1 : key.table.vdc; /* shared: any finds it */
    if (softfwd_lookup(reader, family, vdc, key.table.id, key.address.data(), &found) != 0) return {};
    ref_result result = {action_of(found.hop.action), 0, {}, {}};
    if (result.action == ref_action::no_route) return result;
    result.bits = found.hop.mask_len;
    if (is_neighbour(found)) {
        result.hop.if_index = found.hop.if_index;
        std::memcpy(result.hop.address.data(), found.next_hop, key.table.v6 ? 16 : 4);
    }
    if (result.action == ref_action::forward) std::memcpy(result.mac.data(), found.dmac, result.mac.size());
    return result;
}

std::string probe_wrong(const probe_key &key, const ref_result &seen, const std::set<ref_result> &valid) {
    if (valid.count(seen) != 0) return "";
    std::string text = ref_text(key.address, key.table.v6) + " in vdc " + std::to_string(key.table.vdc) +
                       " table " + std::to_string(key.table.id) + " gave: " + ref_text(seen) +
                       "; valid were:";
    for (const ref_result &result : valid) text += "\n  " + ref_text(result);
    return text;
}

ufib_probe::ufib_probe(uint32_t slot, std::vector<probe_key> probe_keys)
    : keys(std::move(probe_keys)), valid_(std::make_shared<probe_valid>(keys.size())) {
    for (auto &set : const_cast<probe_valid &>(*valid_)) set.insert(ref_result{});
    thread_ = std::thread([this, slot] { run(slot); });
}

ufib_probe::~ufib_probe() { (void)finish(); }

void ufib_probe::publish(std::shared_ptr<const probe_valid> valid) {
    const std::lock_guard guard(lock_);
    valid_ = std::move(valid);
    period_++;
}

std::string ufib_probe::finish() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
    return wrong_;
}

void ufib_probe::compare(const std::vector<ref_result> &seen, const probe_valid &valid) {
    for (size_t i = 0; i < keys.size() && wrong_.empty(); i++)
        wrong_ = probe_wrong(keys[i], seen[i], valid[i]);
}

/* A round counts when validity did not change while it ran: what it saw then lies within that period. */
void ufib_probe::run(uint32_t slot) {
    softfwd_reader *reader = nullptr;
    if (softfwd_reader_attach(slot, false, &reader) != 0) {
        wrong_ = "the probe cannot attach";
        return;
    }
    std::vector<ref_result> seen(keys.size());
    while (!stop_) {
        std::shared_ptr<const probe_valid> valid;
        uint64_t period;
        {
            const std::lock_guard guard(lock_);
            valid = valid_;
            period = period_;
        }
        for (size_t i = 0; i < keys.size(); i++) seen[i] = probe_lookup(reader, keys[i]);
        if (period_ != period) continue;
        compare(seen, *valid);
        rounds++;
    }
    softfwd_reader_detach(reader);
}
