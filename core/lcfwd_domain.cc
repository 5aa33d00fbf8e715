#include "core/lcfwd_domain.h"

static const lcfwd_domain *domains[LCFWD_DOMAIN_COUNT];

void lcfwd_domain_bind(lcfwd_domain_id id, const lcfwd_domain *domain) {
    if (id < LCFWD_DOMAIN_COUNT) domains[id] = domain;
}

const lcfwd_domain *lcfwd_domain_get(lcfwd_domain_id id) {
    return id < LCFWD_DOMAIN_COUNT ? domains[id] : nullptr;
}
