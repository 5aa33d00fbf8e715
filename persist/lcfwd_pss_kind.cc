#include "persist/lcfwd_pss_kind.h"

#include <cstdio>

static const char *const pss_names[LCFWD_PSS_KIND_COUNT] = {
    "gladj",         "prefix",     "prefix_rnh",   "vobj",
    "v4adj",         "v4adj_tlv",  "v6adj",        "v6adj_tlv",
    "dcsrif",        "rpf",        "v4ecmp",       "v4ecmp_tlv",
    "v6ecmp",        "v6ecmp_tlv", "misc",         "otv_vlan",
    "otv_peer_vlan", "oiflist",    "mroute",       "oif",
    "otvolist",      "otvroute",   "otvoif",       "table",
    "vlandb",        "map_cache",  "mpls_table",   "mpls_label",
    "mpls_adj",      "mpls_ecmp",  "mpls_te",      "mpls_te_related_adj",
    "frr",           nullptr,      "mvpn_mti_oif", "vpn_id array",
    "ufib_table",
};

static char file_name_text[255];
static char uri_text[255];

const char *lcfwd_get_pss_name(uint32_t kind) {
    return kind < LCFWD_PSS_KIND_COUNT ? pss_names[kind] : nullptr;
}

const char *lcfwd_pss_file_name(uint32_t kind, uint32_t vdc_id) {
    const char *name = lcfwd_get_pss_name(kind);
    file_name_text[0] = '\0';
    if (name != nullptr) std::snprintf(file_name_text, sizeof file_name_text, "%s_vdc_%u", name, vdc_id);
    return file_name_text;
}

const char *lcfwd_pss_uri(uint32_t vdc_id, uint32_t kind) {
    const char *file = lcfwd_pss_file_name(kind, vdc_id);
    uri_text[0] = '\0';
    if (file[0] != '\0') {
        std::snprintf(uri_text, sizeof uri_text, "volatile:/dev/shm/%s_%s", "lcfwd", file);
    }
    return uri_text;
}
