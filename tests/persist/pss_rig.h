/* tests/persist/pss_rig.h: a rig with VDC 1, whose databases of a few kinds are open, and a platform that
 * only writes down its calls. */
#pragma once

#include "host/store/store.h"
#include "host/store/store_admin.h"
#include "persist/lcfwd_pss.h"
#include "tests/support/fake_domain.h"
#include "tests/support/fake_platform.h"
#include "tests/support/lcfwd_rig.h"

#include <cstring>
#include <gtest/gtest.h>

using lines = std::vector<std::string>;
using hex_map = std::map<std::string, std::string>;

struct pss_test : testing::Test {
    static rig_options options() {
        rig_options out;
        out.library = fake_platform_library();
        out.ufib = fake_domain(LCFWD_DOMAIN_UFIB);
        return out;
    }
    pss_test() : rig(options()) {
        fake_platform_reset();
        fake_domains_reset();
        fake_domains.kinds = {LCFWD_PSS_PREFIX, LCFWD_PSS_VOBJ, LCFWD_PSS_V4ADJ, LCFWD_PSS_V6ADJ,
                              LCFWD_PSS_UFIB_TABLE};
        EXPECT_EQ(rig.start(), 0);
        rig.vdc(1);
        fake_take();
    }
    lcfwd_rig rig;
};

/* A block of staging with 'size' bytes of one value. */
inline pss2_datum staged(uint32_t size, int value) {
    void *block = lcfwd_pss_buf_allocate(size);
    EXPECT_NE(block, nullptr);
    if (block != nullptr) std::memset(block, value, size);
    return {block, size};
}
