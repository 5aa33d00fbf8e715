/* tests/ufib/ufib_random_probe.h: a thread that looks up a set of addresses without a pause, as the data plane would,
 * while the process changes its routes, and compares each result with those that are valid at the time. */
#pragma once

#include "softfwd/softfwd_reader.h"
#include "tests/ufib/ufib_random_reference.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

struct probe_key {
    ref_table table;
    ref_address address;
};
using probe_valid = std::vector<std::set<ref_result>>; /* by key */

/* One look-up, in the terms of the reference. */
[[nodiscard]] ref_result probe_lookup(softfwd_reader *reader, const probe_key &key);

/* "" when a result is valid; else what came and what was. */
[[nodiscard]] std::string probe_wrong(const probe_key &key, const ref_result &seen,
                                      const std::set<ref_result> &valid);

class ufib_probe {
public:
    ufib_probe(uint32_t slot, std::vector<probe_key> keys);
    ~ufib_probe();
    ufib_probe(const ufib_probe &) = delete;
    ufib_probe &operator=(const ufib_probe &) = delete;

    /* From now on, until the next call, each key may give any of these and nothing else. */
    void publish(std::shared_ptr<const probe_valid> valid);
    /* Ends the thread; what it saw that was never valid ("" for nothing). */
    std::string finish();

    std::vector<probe_key> keys;
    std::atomic<uint64_t> rounds{0}; /* of all keys, each within one period of validity */

private:
    void run(uint32_t slot);
    void compare(const std::vector<ref_result> &seen, const probe_valid &valid);

    std::mutex lock_;
    std::shared_ptr<const probe_valid> valid_;
    std::atomic<uint64_t> period_{0};
    std::atomic<bool> stop_{false};
    std::string wrong_;
    std::thread thread_;
};
