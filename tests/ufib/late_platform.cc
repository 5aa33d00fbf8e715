#include "tests/ufib/late_platform.h"

#include "platform/ufib_pi.h"

#include <arpa/inet.h>

late_state late;

static ufib_platform_api base; /* the recording platform's own slots */

static std::string prefix_name(const void *pfx) {
    char text[INET6_ADDRSTRLEN];
    if (ufib_pi_is_v4_prefix(pfx)) {
        const uint32_t address = htonl(ufib_pi_v4prefix_get_prefix(pfx));
        inet_ntop(AF_INET, &address, text, sizeof text);
        return std::string(text) + "/" + std::to_string(ufib_pi_v4prefix_get_prefix_len(pfx));
    }
    uint8_t address[16];
    ufib_pi_v6prefix_get_prefix(pfx, address);
    inet_ntop(AF_INET6, address, text, sizeof text);
    return std::string(text) + "/" + std::to_string(ufib_pi_v6prefix_get_prefix_len(pfx));
}

static uint32_t insert_v4(uint32_t table, void *pfx, uint32_t ha, bool update) {
    const uint32_t handle = base.insert_v4_prefix(table, pfx, ha, update);
    if (handle != 0 && ufib_pi_pfx_cookie_add(pfx) < 0) late.at_once++;
    return handle;
}
static uint32_t insert_v6(uint32_t table, void *pfx, uint32_t ha, bool update) {
    const uint32_t handle = base.insert_v6_prefix(table, pfx, ha, update);
    if (handle != 0 && ufib6_pi_pfx_cookie_add(pfx) < 0) late.at_once++;
    return handle;
}

/* The entry of a failed write is taken out by the library itself. */
static int result_of(const void *pfx) {
    if (pfx == nullptr || late.fail.count(prefix_name(pfx)) == 0) return 0;
    fake.entries.erase(ufib_pi_obj_get_hh(pfx));
    return -5;
}

static void complete() {
    if (late.silent) return;
    for (uint32_t i = 0; i < ufib_pi_pfx_count_get(); i++)
        ufib_pi_upd_pfx_retval(i, result_of(ufib_pi_cookie_pfx_get(i)));
    for (uint32_t i = 0; i < ufib6_pi_pfx_count_get(); i++)
        ufib6_pi_upd_pfx_retval(i, result_of(ufib6_pi_cookie_pfx_get(i)));
    ufib_pi_upd_pfx_retval(30, -1); /* no such entry */
    if (ufib_pi_pfx_count_get() != 0) ufib_pi_cookie_proc_set();
    if (ufib6_pi_pfx_count_get() != 0) ufib6_pi_cookie_proc_set();
}

static int one_write_ready() {
    if (late.every != 0 && ++late.brackets % late.every == 0) complete();
    return base.one_write_ready();
}
static int all_writes_ready() {
    complete();
    return base.all_writes_ready();
}

static void ufib_api_init(ufib_platform_api *api, ufib_platform_caps *caps, int restart) {
    fake_platform_library()->ufib_api_init(api, caps, restart);
    base = *api;
    api->insert_v4_prefix = insert_v4;
    api->insert_v6_prefix = insert_v6;
    api->one_write_ready = one_write_ready;
    api->all_writes_ready = all_writes_ready;
}

const platform_library *late_platform_library() {
    static const platform_library library = {"late", fake_platform_library()->lcfwd_api_init, ufib_api_init,
                                             nullptr};
    return &library;
}
