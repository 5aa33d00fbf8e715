/* A platform library as others build it: from the boundary's headers alone, loaded at run time. It fills a few slots
 * and reads the model back through accessors. 'tiny_seen' tells what it saw. */
#include "platform/lcfwd_platform.h"
#include "platform/ufib_pi.h"
#include "platform/ufib_platform_api.h"

#include <cstdio>

static uint32_t next_handle = 100;

extern "C" {

char tiny_seen[400];

static uint32_t insert_table(uint32_t, uint32_t, const void *, uint32_t) { return ++next_handle; }
static uint32_t insert_adj(void *, uint32_t, uint32_t) { return ++next_handle; }
static uint32_t insert_prefix(uint32_t table_handle, void *pfx, uint32_t, bool update) {
    const void *adj = ufib_pi_v4prefix_get_adj(pfx);
    std::snprintf(tiny_seen, sizeof tiny_seen, "table %u %08x/%u via %08x if %x active %d%s", table_handle,
                  ufib_pi_v4prefix_get_prefix(pfx), ufib_pi_v4prefix_get_prefix_len(pfx),
                  ufib_pi_v4adj_get_nh_addr(adj), ufib_pi_v4adj_get_if_index(adj),
                  lcfwd_pi_vdc_is_active(ufib_pi_prefix_get_vdc_id(pfx)), update ? " again" : "");
    return update ? ufib_pi_obj_get_hh(pfx) : ++next_handle;
}

void lcfwd_platform_api_init(lcfwd_platform_api *api, int) {
    api->get_hwfe_type = [] { return 77; };
}

void ufib_platform_api_init(ufib_platform_api *api, ufib_platform_caps *caps, int restart) {
    api->insert_v4_table = insert_table;
    api->insert_v6_table = insert_table;
    api->insert_adj = insert_adj;
    api->insert_v4_prefix = insert_prefix;
    caps->v4prefix_space_len = 24;
    std::snprintf(tiny_seen, sizeof tiny_seen, "restart %d", restart);
}

void platform_reset() { std::snprintf(tiny_seen, sizeof tiny_seen, "reset"); }
}
