/* diag/show_params.h: what a show was asked for and how far it has come. A command's attributes make one; it is also
 * the cookie that a piece of output ends with, and that the client sends back to get the next piece. So it comes from
 * outside each time: all of it is checked, and nothing in it is a pointer. Numbers are in host order, addresses in
 * network order (IPv4 in the first four bytes, the rest zero). One thread. */
#pragma once

#include "ufib/ufib_family.h"

#include <cstdint>

struct cmd_handle;

constexpr uint32_t UFIB_SHOW_PIECE = 100;         /* objects that one piece shows at most */
constexpr uint32_t UFIB_SHOW_LAYOUT = 0x55530001; /* of the cookies of this version */
constexpr uint32_t UFIB_SHOW_VISITED =
    2000; /* objects that one piece looks at; a filter may show none of them */

/* What a set of parameters belongs to: a cookie of one show is no cookie of another. */
enum ufib_show_what : uint32_t {
    UFIB_SHOW_ROUTES = 1,
    UFIB_SHOW_STORED_ROUTES,
    UFIB_SHOW_ADJ,
    UFIB_SHOW_ECMP,
    UFIB_SHOW_VOBJ,
    UFIB_SHOW_TABLES,
    UFIB_SHOW_INTERFACES,
    UFIB_SHOW_SECURITY,
    UFIB_SHOW_SECURITY_TAGS,
    UFIB_SHOW_OTHER,
    UFIB_SHOW_CHECK,
    UFIB_SHOW_WHATS
};

enum ufib_show_mode : uint32_t {
    UFIB_SHOW_ALL = 1,
    UFIB_SHOW_SUMMARY = 2,
    UFIB_SHOW_EXACT = 3, /* with UFIB_SHOW_LONGER: all prefixes inside it */
    UFIB_SHOW_LONGEST = 4,
    UFIB_SHOW_INTF = 5,
    UFIB_SHOW_NH = 6,
    UFIB_SHOW_ATTACHED = 8,
    UFIB_SHOW_UNRESOLVED = 9,
    UFIB_SHOW_ON_ADJ = 10,
    UFIB_SHOW_ADJ_DROP = 11,
    UFIB_SHOW_ADJ_GLEAN = 12,
    UFIB_SHOW_ADJ_PUNT = 13,
    UFIB_SHOW_ALL_TOO = 14,
};

constexpr uint32_t UFIB_SHOW_ALL_VRFS = 0x01;
constexpr uint32_t UFIB_SHOW_RNH = 0x02;        /* recursive next hops instead of routes */
constexpr uint32_t UFIB_SHOW_CONTINUING = 0x04; /* the position below is valid */
constexpr uint32_t UFIB_SHOW_LONGER = 0x08;
constexpr uint32_t UFIB_SHOW_STATISTICS = 0x10;
constexpr uint32_t UFIB_SHOW_HAS_PREFIX = 0x20; /* asked for: 'prefix' */
constexpr uint32_t UFIB_SHOW_HAS_IF = 0x40;     /* 'if_index' */
constexpr uint32_t UFIB_SHOW_HAS_NH = 0x80;     /* 'next_hop' */
constexpr uint32_t UFIB_SHOW_HAS_HANDLE = 0x100;
constexpr uint32_t UFIB_SHOW_HAS_VOBJ = 0x200;
constexpr uint32_t UFIB_SHOW_IN_WILDCARD = 0x400; /* the walk stands in the wildcard table that goes first */
constexpr uint32_t UFIB_SHOW_TABLE_DONE = 0x800;  /* it goes on with the table behind */
constexpr uint32_t UFIB_SHOW_FLAGS = 0xfff;

struct ufib_show_params {
    uint32_t mode; /* ufib_show_mode */

    /* Position of the walk, valid with UFIB_SHOW_CONTINUING: what was shown last, which may be gone by now. */
    uint8_t at_prefix[16]; /* or next hop, for adjacencies */
    uint32_t at_mask_len;
    uint32_t table_id;    /* where the walk stands; before that, the table asked for */
    uint32_t at_if_index; /* of adjacencies and interfaces */
    uint32_t at_handle;   /* of groups */
    uint64_t at_id;       /* of virtual objects, or anything that a show orders its objects by */

    uint32_t limit; /* 0: none */
    uint32_t count; /* shown so far, over all pieces */
    uint32_t flags; /* UFIB_SHOW_* */
    uint32_t detail;

    /* What was asked for. */
    uint32_t what; /* ufib_show_what */
    uint32_t afi;  /* 1, 2; 0 for shows of both families */
    uint32_t vdc_id;
    uint32_t asked_table_id;
    uint8_t prefix[16];
    uint32_t mask_len;
    uint32_t if_index;
    uint8_t next_hop[16];
    uint32_t handle;
    uint64_t vobj_id;
    uint32_t label_space;
    uint32_t label;
    uint32_t vlan;
    uint32_t overlay;
    uint32_t value;
    uint32_t phase; /* for shows that walk several lists one after the other */
    uint32_t zero[22];
    uint32_t layout; /* UFIB_SHOW_LAYOUT */
};
static_assert(sizeof(ufib_show_params) == 256);

/* Fills '*out' from the cookie of the request, or without one from its attributes; unknown attributes are skipped.
 * False: the command is answered already, 5 "bad cookie" or 6 "bad attribute", and the back-end returns. After true
 * every number is in the range that the comments give, whoever wrote the cookie: mode is one of the show's, masks are
 * not longer than the family's, 'count' is below the limit, VDC and show are those of this request.
 * Without CMD_ATTR_LIMIT the limit is 0, without CMD_ATTR_TABLE and CMD_ATTR_VRF the table is the default one; an unknown
 * VRF gives table 0, which does not exist. 'family' null: a show of both families, which has no prefix or next hop. */
[[nodiscard]] bool ufib_show_get_params(cmd_handle *handle, uint32_t vdc_id, const ufib_family *family,
                                        ufib_show_what what, ufib_show_params *out);

[[nodiscard]] inline bool ufib_show_route_v4_get_params(cmd_handle *handle, uint32_t vdc_id,
                                                        ufib_show_params *out) {
    return ufib_show_get_params(handle, vdc_id, &ufib_v4, UFIB_SHOW_ROUTES, out);
}
[[nodiscard]] inline bool ufib_show_route_v6_get_params(cmd_handle *handle, uint32_t vdc_id,
                                                        ufib_show_params *out) {
    return ufib_show_get_params(handle, vdc_id, &ufib_v6, UFIB_SHOW_ROUTES, out);
}
[[nodiscard]] inline bool ufib_show_adj_get_params(cmd_handle *handle, uint32_t vdc_id,
                                                   ufib_show_params *out) {
    return ufib_show_get_params(handle, vdc_id, &ufib_v4, UFIB_SHOW_ADJ, out);
}
[[nodiscard]] inline bool ufib_show_adj_v6_get_params(cmd_handle *handle, uint32_t vdc_id,
                                                      ufib_show_params *out) {
    return ufib_show_get_params(handle, vdc_id, &ufib_v6, UFIB_SHOW_ADJ, out);
}

/* Ends a piece: the client asks again with these parameters. Sets UFIB_SHOW_CONTINUING. */
void ufib_show_send_cookie(cmd_handle *handle, ufib_show_params *params);

/* Counts an object that was shown, over all pieces. True: that was the last one that the user wants, the walk ends. */
[[nodiscard]] inline bool ufib_show_limit_reached(ufib_show_params *params) {
    params->count++;
    return params->limit != 0 && params->count >= params->limit;
}
