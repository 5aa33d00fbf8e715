/* The path of a route takes nothing from the system's allocator once its pools have their size. The hooks below see
 * every allocation of the program, also those of the C library. */
#include "core/lcfwd_pump.h"
#include "host/bus/fu_mts.h"
#include "platform/ufib_pi.h"
#include "platform/ufib_platform_api.h"
#include "tests/ufib/ufib_rig.h"

#include <cstddef>
#include <cstdlib>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SANITIZED
#endif
#endif
#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(SANITIZED)
#define HOOKS
constexpr bool HOOKED = true;
#else
constexpr bool HOOKED = false; /* the sanitizers have hooks of their own */
#endif

static bool counting;
static size_t allocations;

#ifdef HOOKS
extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *old, size_t size);

void *malloc(size_t size) {
    if (counting) allocations++;
    return __libc_malloc(size);
}
void *calloc(size_t count, size_t size) {
    if (counting) allocations++;
    return __libc_calloc(count, size);
}
void *realloc(void *old, size_t size) {
    if (counting) allocations++;
    return __libc_realloc(old, size);
}
}
#endif

struct route_memory : ufib_family_test {
    void SetUp() override {
        if (!HOOKED) GTEST_SKIP() << "the sanitizer has hooks of its own";
        start();
    }
    /* The recording platform writes a text for each call: this one only gives handles. */
    static const platform_library *handles() {
        static uint32_t next;
        static const platform_library library = {
            "handles", [](lcfwd_platform_api *, int) {},
            [](ufib_platform_api *api, ufib_platform_caps *, int) {
                api->insert_v4_table =
                    api->insert_v6_table = [](uint32_t, uint32_t, const void *, uint32_t) { return ++next; };
                api->insert_v4_prefix =
                    api->insert_v6_prefix = [](uint32_t, void *pfx, uint32_t, bool update) {
                        return update ? ufib_pi_obj_get_hh(pfx) : ++next;
                    };
                api->insert_adj = [](void *adj, uint32_t, uint32_t) {
                    const uint32_t handle = ufib_pi_adj_get_hh(adj);
                    return handle != 0 ? handle : ++next;
                };
            },
            nullptr};
        return &library;
    }
    /* Works one batch; how many allocations that took, from the queue to the answer. */
    size_t work(unsigned version, const std::vector<wire_route> &routes) {
        rig.inject(f.opcode, batch(f, version, routes), {.version = version});
        fu_event event;
        fu_event_node *out = nullptr;
        fu_fsm_event_init(&event);
        allocations = 0;
        counting = true;
        const int status = lcfwd_dequeue(&event) == 0 ? lcfwd_demux(&event, &out) : -1;
        fu_mts_drop(event.message);
        counting = false;
        EXPECT_EQ(status, 0);
        const auto answers = rig.take();
        EXPECT_EQ(answers.size(), 1u);
        EXPECT_EQ(answers.at(0).payload.at(version == 0 ? 14 : 10) & 1, 1);
        return allocations;
    }
    std::vector<wire_route> routes(unsigned from, unsigned count, bool gone, const char *hop = "") const {
        std::vector<wire_route> out;
        for (unsigned i = from; i < from + count; i++) {
            char text[48];
            std::snprintf(text, sizeof text, f.index == 0 ? "10.%u.%u.0/24" : "2001:db8:%x:%x::/64",
                          i / 250 + 1, i % 250 + 1);
            out.push_back(gone ? remove(f, text) : add(f, text, hop));
        }
        return out;
    }
};
INSTANTIATE_TEST_SUITE_P(both, route_memory, both_families, family_name);

TEST_P(route_memory, a_warm_batch_allocates_nothing) {
    rig.stop();
    rig.options.library = handles();
    start();
    consistent = false; /* the library keeps nothing to compare with */
    size_t first = 0;
    for (unsigned at = 0; at < 3000; at += 500) first += work(1, routes(at, 500, false));
    EXPECT_GT(first, 0u) << "the hooks must see something";
    for (const unsigned version : {1u, 0u}) {
        EXPECT_EQ(work(version, routes(0, 500, false)), 0u) << "the same routes again";
        EXPECT_EQ(work(version, routes(0, 500, false, f.hop2)), 0u) << "over another next hop";
        EXPECT_EQ(work(version, routes(500, 500, true)), 0u) << "deletes";
        EXPECT_EQ(work(version, routes(500, 500, false)), 0u) << "and the same anew";
    }
}
