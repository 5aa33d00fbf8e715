/* A change of the path of one recursive next hop behind many prefixes, inside the process: from the route's record to
 * the commit. A child process of its own for each number of prefixes; each figure is the median of many changes. */
#include "bench/bench.h"

#include "core/lcfwd_domain.h"
#include "core/lcfwd_main.h"
#include "core/lcfwd_vdc.h"
#include "host/bus/bus.h"
#include "host/bus/bus_local.h"
#include "host/system/root.h"
#include "host/tlv/tlv.h"
#include "platform/platform_library.h"
#include "platform/ufib_platform.h"
#include "softfwd/softfwd.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_log.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_route.h"
#include "ufib/ufib_vdc.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

constexpr uint32_t TABLE = 1, INTERFACE = 0x1a010001, BATCH = 500, SLOT = 1;
constexpr int CHANGES = 2001, WARM_UP = 100;

struct bench_hop {
    uint32_t address;
    uint8_t flags;
};

static void put_address(uint8_t *out, uint32_t address) {
    const wire_be<uint32_t> word = wire_put(address);
    std::memcpy(out, word.raw, sizeof word.raw);
}

/* Adds a route; the record is static. False when it failed. */
static bool route_add(uint32_t address, uint8_t bits, uint8_t flags, std::initializer_list<bench_hop> hops) {
    static uint8_t bytes[1024];
    auto *route = reinterpret_cast<route_rec *>(bytes);
    *route = {};
    route->opcode = ufib_v4.opcode_add;
    route->flags = flags;
    route->prefix_len = bits;
    route->nh_count = static_cast<uint8_t>(hops.size());
    put_address(route->prefix, address);
    route->table_id = wire_put(TABLE);
    tlv_aligned_array array;
    (void)tlv_aligned_array_init(&array, bytes + sizeof *route, sizeof bytes - sizeof *route, 1);
    for (const bench_hop &hop : hops) {
        nh_rec nh = {};
        nh.if_index = wire_put((hop.flags & NH_RNH) != 0 ? 0 : INTERFACE);
        put_address(nh.nh_address, hop.address);
        nh.table_id = wire_put(TABLE);
        nh.nh_len = 32;
        nh.flags = hop.flags;
        nh.nexthop_len = wire_put(uint16_t{sizeof nh});
        if (tlv_aligned_array_add_tlv(&array, ROUTE_TLV_NEXT_HOP, sizeof nh, &nh) != TLV_OK) return false;
    }
    const uint32_t len = static_cast<uint32_t>(sizeof *route) + tlv_aligned_array_size_get(array.bytes);
    route->route_len = wire_put(static_cast<uint16_t>(len));
    const uint32_t status =
        ufib_v4_route_add(ufib_vdc_get(1), TABLE, route, 1, nullptr, UFIB_HOLDER_UFDM, nullptr);
    (void)ufib_platform_one_write_ready();
    return status == 0;
}

static bool process_start(const char *root) {
    host_root_set(root);
    softfwd_config_get()->slot = SLOT;
    platform_library_use(softfwd_library());
    lcfwd_domain_bind(LCFWD_DOMAIN_UFIB, ufib_domain());
    mts_config config = {};
    config.transport = MTS_TRANSPORT_LOCAL;
    config.slot = SLOT;
    if (mts_start(&config) != 0) return false;
    lcfwd_options options = {};
    options.root = root;
    options.slot = SLOT;
    options.bus_is_set = true;
    options.start_mode = LCFWD_START_COLD;
    if (lcfwd_start(&options) != 0) return false;
    lcfwd_vdc_create(1, false);
    return ufib_vdc_get(1) != nullptr;
}

constexpr uint32_t RNH = 0xc0a80001, PATH = 0x0a000001;

/* Neighbours and direct groups of both states stand for other next hops, too: what is counted is what lies behind the
 * recursive one. */
static bool routes_load(uint32_t prefixes) {
    bool good = route_add(RNH + 1, 32, ROUTE_RNH, {{PATH, 0}, {PATH + 1, 0}}) &&
                route_add(RNH + 2, 32, ROUTE_RNH, {{PATH, 0}, {PATH + 2, 0}}) &&
                route_add(RNH, 32, ROUTE_RNH, {{PATH, 0}, {PATH + 1, 0}});
    for (uint32_t n = 0; good && n < prefixes; n++) {
        good = route_add(0x14000000 + (n << 8), 24, 0, {{RNH, NH_RNH}});
        if (n % BATCH == BATCH - 1) (void)ufib_platform_all_writes_ready();
    }
    (void)ufib_platform_all_writes_ready();
    return good;
}

static uint64_t engine_writes() {
    softfwd_counters counters;
    softfwd_counters_get(&counters);
    return counters.writes;
}

/* Prints the figures of one process. */
static void changes_measure(const char *name, bool writes) {
    std::vector<double> took;
    uint64_t before = 0;
    for (int i = 0; i < WARM_UP + CHANGES; i++) {
        if (i == WARM_UP) before = engine_writes();
        const auto begin = std::chrono::steady_clock::now();
        const bool good =
            route_add(RNH, 32, ROUTE_RNH, {{PATH, 0}, {PATH + 1 + static_cast<uint32_t>(i % 2), 0}});
        (void)ufib_platform_all_writes_ready();
        const std::chrono::duration<double, std::micro> time = std::chrono::steady_clock::now() - begin;
        if (!good) return;
        if (i >= WARM_UP) took.push_back(time.count());
    }
    std::nth_element(took.begin(), took.begin() + CHANGES / 2, took.end());
    std::printf("rnh.change_us.%s %.2f\n", name, took[CHANGES / 2]);
    if (writes)
        std::printf("rnh.engine_writes %.2f\n", static_cast<double>(engine_writes() - before) / CHANGES);
    std::fflush(stdout);
}

static void figures_of(const char *name, uint32_t prefixes, bool writes) {
    char root[] = "/dev/shm/lcfwd-bench-XXXXXX";
    if (mkdtemp(root) == nullptr) return;
    for (const char *folder : {"/dev", "/dev/shm", "/proc", "/proc/self"}) {
        const std::string path = root + std::string(folder);
        if (std::system(("mkdir -p '" + path + "'").c_str()) != 0) return;
    }
    const pid_t child = fork();
    if (child == 0) {
        if (process_start(root) && routes_load(prefixes)) changes_measure(name, writes);
        std::_Exit(0);
    }
    waitpid(child, nullptr, 0);
    if (std::system(("rm -rf '" + std::string(root) + "'").c_str()) != 0)
        std::fprintf(stderr, "cannot remove %s\n", root);
}

void bench_rnh_figures() {
    figures_of("1k", 1000, false);
    figures_of("100k", 100000, false);
    figures_of("500k", 500000, true);
}
