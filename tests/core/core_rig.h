/* tests/core/core_rig.h: a rig whose three domains and platform library only write down what they are
 * asked. */
#pragma once

#include "tests/support/fake_domain.h"
#include "tests/support/fake_platform.h"
#include "tests/support/lcfwd_rig.h"

#include <gtest/gtest.h>

inline rig_options core_rig_options() {
    rig_options options;
    options.library = fake_platform_library();
    options.ufib = fake_domain(LCFWD_DOMAIN_UFIB);
    options.mfib = fake_domain(LCFWD_DOMAIN_MFIB);
    options.lfib = fake_domain(LCFWD_DOMAIN_LFIB);
    return options;
}

struct core_test : testing::Test {
    core_test() : rig(core_rig_options()) {
        fake_platform_reset();
        fake_domains_reset();
    }
    lcfwd_rig rig;
};

using lines = std::vector<std::string>;
