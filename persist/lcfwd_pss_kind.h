/* persist/lcfwd_pss_kind.h: the kinds of stored records, their names, and where each database lies. There
 * is one database for each kind and VDC, and two for the whole process. */
#pragma once

#include <cstdint>

enum lcfwd_pss_kind : uint32_t {
    LCFWD_PSS_GLADJ = 0,
    LCFWD_PSS_PREFIX,
    LCFWD_PSS_PREFIX_RNH,
    LCFWD_PSS_VOBJ,
    LCFWD_PSS_V4ADJ,
    LCFWD_PSS_V4ADJ_TLV,
    LCFWD_PSS_V6ADJ,
    LCFWD_PSS_V6ADJ_TLV,
    LCFWD_PSS_DCSRIF,
    LCFWD_PSS_RPF,
    LCFWD_PSS_V4ECMP,
    LCFWD_PSS_V4ECMP_TLV,
    LCFWD_PSS_V6ECMP,
    LCFWD_PSS_V6ECMP_TLV,
    LCFWD_PSS_MISC,
    LCFWD_PSS_OTV_VLAN,
    LCFWD_PSS_OTV_PEER_VLAN,
    LCFWD_PSS_OIFLIST,
    LCFWD_PSS_MROUTE,
    LCFWD_PSS_OIF,
    LCFWD_PSS_OTVOLIST,
    LCFWD_PSS_OTVROUTE,
    LCFWD_PSS_OTVOIF,
    LCFWD_PSS_TABLE,
    LCFWD_PSS_VLANDB,
    LCFWD_PSS_MAP_CACHE,
    LCFWD_PSS_MPLS_TABLE,
    LCFWD_PSS_MPLS_LABEL,
    LCFWD_PSS_MPLS_ADJ,
    LCFWD_PSS_MPLS_ECMP,
    LCFWD_PSS_MPLS_TE,
    LCFWD_PSS_MPLS_TE_RELATED_ADJ,
    LCFWD_PSS_FRR,
    /* 33 is unused */ LCFWD_PSS_MVPN_MTI_OIF = 34,
    LCFWD_PSS_VPN_ID_ARRAY,
    LCFWD_PSS_UFIB_TABLE,
    LCFWD_PSS_KIND_COUNT
};
static_assert(LCFWD_PSS_KIND_COUNT == 37);

constexpr int LCFWD_PSS_VDC_SERVICE_ID = 30;     /* of the process-wide databases; not to be */
constexpr int LCFWD_PSS_GENERIC_SERVICE_ID = 31; /* confused with the computed ids below */

/* The name of a kind; null for 33 and above 36. */
[[nodiscard]] const char *lcfwd_get_pss_name(uint32_t kind);

/* "<name>_vdc_<id>" in a static buffer, "" for a kind without a name. Valid until the next call. */
[[nodiscard]] const char *lcfwd_pss_file_name(uint32_t kind, uint32_t vdc_id);

/* "volatile:/dev/shm/lcfwd_<file name>" in a static buffer, "" for a kind without a name. */
[[nodiscard]] const char *lcfwd_pss_uri(uint32_t vdc_id, uint32_t kind);

/* The number by which the framework knows a database. */
[[nodiscard]] constexpr int lcfwd_pss_service_id(uint32_t kind, uint32_t vdc_id) {
    return static_cast<int>(kind + vdc_id * LCFWD_PSS_KIND_COUNT + 3);
}
