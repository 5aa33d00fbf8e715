/* tests/support/fake_domain.h: a domain that writes down when the core calls it, and in a VDC opens whatever
 * databases a test asks for. */
#pragma once

#include "core/lcfwd_domain.h"

#include <cstdint>
#include <string>
#include <vector>

struct fake_domain_state {
    std::vector<std::string> log; /* "ufib vdc_create 1 restart" */
    std::vector<uint32_t> kinds;  /* databases that vdc_create opens */
    int pss_init_result;
    int config_restore_result;
};
extern fake_domain_state fake_domains;

[[nodiscard]] const lcfwd_domain *fake_domain(lcfwd_domain_id id);
void fake_domains_reset();
