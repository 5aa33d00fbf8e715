/* The shows of routes, and of what services hang on them. */
#include "diag/ufib_show_route.h"

#include "diag/show_values.h"
#include "diag/ufib_show_route_prefix.h"
#include "ufib/ufib_prefix.h"

/* ---- routes ---- */

static constexpr ufib_route_form routes_form = {UFIB_SHOW_ROUTES,       "routes", ufib_show_route_header2,
                                                ufib_show_route_prefix, nullptr,  nullptr};

void ufib_show_v4_routes_be(cmd_handle *handle, uint32_t vdc_id) {
    ufib_show_routes_run(handle, vdc_id, ufib_v4, routes_form);
}
void ufib_show_v6_routes_be(cmd_handle *handle, uint32_t vdc_id) {
    ufib_show_routes_run(handle, vdc_id, ufib_v6, routes_form);
}

/* ---- security ---- */

static ufib_show_ipsg_mac_fn ipsg_mac;
void ufib_show_ipsg_register(ufib_show_ipsg_mac_fn mac) { ipsg_mac = mac; }

static constexpr char SEC_ROW[] = "%-19s %s\n";

static void ufib_show_v4_sec_header(cmd_handle *handle) {
    cmd_prt_decoration(handle, "------------------+------------------\n");
}
static void ufib_show_v4_sec_header_mac(cmd_handle *handle, const ufib_family &) {
    ufib_show_v4_sec_header(handle);
    cmd_prt_decoration(handle, "Prefix            | MAC\n");
    ufib_show_v4_sec_header(handle);
}
static void ufib_show_v4_sec_header_sgt(cmd_handle *handle, const ufib_family &) {
    ufib_show_v4_sec_header(handle);
    cmd_prt_decoration(handle, "Prefix            | Security group\n");
    ufib_show_v4_sec_header(handle);
}

static cmd_arg prefix_arg(const ufib_route_show *show, const ufib_pfx *pfx) {
    return show_prefix(show->family, ufib_pfx_address(pfx), pfx->mask_len, "prefix");
}

static bool has_guard(const ufib_pfx *pfx) { return pfx->ipsg != nullptr && ipsg_mac != nullptr; }
static void mac_print(const ufib_route_show *show, const ufib_pfx *pfx) {
    const uint8_t *mac = ipsg_mac(pfx);
    cmd_prt(show->handle, SEC_ROW, prefix_arg(show, pfx),
            mac == nullptr ? cmd_text("", "mac") : cmd_mac(mac, "mac"),
            cmd_u32(pfx->table->table_id, "table"));
}

static bool has_tag(const ufib_pfx *pfx) { return (pfx->tag_flags & UFIB_TAG_VALID) != 0; }
static void sgt_print(const ufib_route_show *show, const ufib_pfx *pfx) {
    cmd_prt(show->handle, SEC_ROW, prefix_arg(show, pfx), cmd_u32(pfx->sgt, "sgt"),
            cmd_u32(pfx->table->table_id, "table"));
}

static constexpr ufib_route_form mac_form = {UFIB_SHOW_SECURITY, "security_macs", ufib_show_v4_sec_header_mac,
                                             mac_print,          has_guard,       nullptr};
static constexpr ufib_route_form sgt_form = {
    UFIB_SHOW_SECURITY_TAGS, "security_tags", ufib_show_v4_sec_header_sgt, sgt_print, has_tag, nullptr};

void ufib_show_v4_security_mac_be(cmd_handle *handle, uint32_t vdc_id) {
    ufib_show_routes_run(handle, vdc_id, ufib_v4, mac_form);
}
void ufib_show_v4_security_sgt_be(cmd_handle *handle, uint32_t vdc_id) {
    ufib_show_routes_run(handle, vdc_id, ufib_v4, sgt_form);
}
