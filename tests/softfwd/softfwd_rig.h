/* tests/softfwd/softfwd_rig.h: an engine on a root folder of its own, driven through its two tables of operations. */
#pragma once

#include "host/system/root.h"
#include "platform/lcfwd_platform.h"
#include "platform/ufib_platform_api.h"
#include "softfwd/softfwd.h"
#include "softfwd/softfwd_check.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_fault.h"
#include "softfwd/softfwd_log.h"
#include "softfwd/softfwd_reader.h"
#include "tests/softfwd/fake_model.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

struct softfwd_rig : testing::Test {
    static constexpr uint32_t slot = 7, vdc = 1, table_id = 1, table6_id = 0x80000001;
    std::string root;
    ufib_platform_api api = {};
    ufib_platform_caps caps = {};
    lcfwd_platform_api process_api = {};
    static inline std::vector<std::string> said;

    softfwd_rig();
    ~softfwd_rig() override;

    void start(int restart); /* both init functions */
    void stop() { softfwd_library()->reset(); }
    void restart() { stop(), start(1); }
    std::string path(const char *suffix) const { return root + "/dev/shm/softfwd_7" + suffix; }

    /* A resolved next hop whose if_index and MAC are told by 'n'; installed. */
    fake_adj adj(uint32_t n, bool v4 = true);
    /* A prefix as the model would hold it; not installed. */
    static fake_prefix prefix(const char *text, fake_adj *next);
    /* Installs, and stores the handle as the process does. */
    uint32_t insert(uint32_t table, fake_prefix *pfx, uint32_t ha = 0);
    uint32_t insert(fake_adj *adj, uint32_t ha = 0);
    int remove(uint32_t table, fake_prefix *pfx);

    /* Looks up by a reader of its own; attached when first used and again when stale. */
    softfwd_result lookup(const char *address, uint32_t table = 0, uint32_t in_vdc = vdc);
    softfwd_reader *reader = nullptr;

    softfwd_counters counters() const {
        softfwd_counters out;
        softfwd_counters_get(&out);
        return out;
    }
    void expect_integrity() const {
        char text[200];
        EXPECT_EQ(softfwd_integrity_check(text, sizeof text), 0u) << text;
    }
};
