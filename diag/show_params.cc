#include "diag/show_params.h"

#include "diag/command_numbers.h"
#include "host/command/command.h"
#include "host/command/command_wire.h"
#include "host/interfaces/l3vm.h"
#include "host/system/system.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <iterator>

static_assert(CMD_ATTR_VRF == CMD_ATTR_ROUTE_CONTEXT);

/* Seen while attributes are read, never in a cookie. */
static constexpr uint32_t FLAG_TABLE = 0x10000;
static constexpr uint32_t FLAG_VRF = 0x20000;
static constexpr uint32_t FLAG_MASK_LENGTH = 0x40000;
static constexpr uint32_t FLAG_LONGEST = 0x80000;
static constexpr uint32_t FLAG_CLASS = 0x100000;
static constexpr uint32_t FLAG_DETAIL = 0x200000;

static constexpr int LENGTH_ADDRESS = -1; /* of the family */
static constexpr int LENGTH_NAME = -2;
static constexpr uint16_t VRF_NAME_MAX = 64;

struct attr_row {
    uint16_t type;
    int length;    /* bytes, or LENGTH_*; 0: the flag alone */
    size_t offset; /* of the member: u32 for up to four bytes, u64 for eight, 16 bytes for an address */
    uint32_t flag;
};
using sp = ufib_show_params;
static constexpr attr_row attr_rows[] = {
    {CMD_ATTR_ALL_VRFS, 0, 0, UFIB_SHOW_ALL_VRFS},
    {CMD_ATTR_VRF, LENGTH_NAME, 0, FLAG_VRF},
    {CMD_ATTR_TABLE, 4, offsetof(sp, asked_table_id), FLAG_TABLE},
    {CMD_ATTR_PREFIX, LENGTH_ADDRESS, offsetof(sp, prefix), UFIB_SHOW_HAS_PREFIX},
    {CMD_ATTR_MASK_LENGTH, 1, offsetof(sp, mask_len), FLAG_MASK_LENGTH},
    {CMD_ATTR_LONGER, 0, 0, UFIB_SHOW_LONGER},
    {CMD_ATTR_LONGEST, 0, 0, FLAG_LONGEST},
    {CMD_ATTR_IF_INDEX, 4, offsetof(sp, if_index), UFIB_SHOW_HAS_IF},
    {CMD_ATTR_NEXT_HOP, LENGTH_ADDRESS, offsetof(sp, next_hop), UFIB_SHOW_HAS_NH},
    {CMD_ATTR_CLASS, 1, offsetof(sp, mode), FLAG_CLASS},
    {CMD_ATTR_LIMIT, 4, offsetof(sp, limit), 0},
    {CMD_ATTR_DETAIL, 0, 0, FLAG_DETAIL},
    {CMD_ATTR_RNH, 0, 0, UFIB_SHOW_RNH},
    {CMD_ATTR_LABEL_SPACE, 4, offsetof(sp, label_space), 0},
    {CMD_ATTR_LABEL, 4, offsetof(sp, label), 0},
    {CMD_ATTR_VLAN, 2, offsetof(sp, vlan), 0},
    {CMD_ATTR_OVERLAY, 4, offsetof(sp, overlay), 0},
    {CMD_ATTR_HANDLE, 4, offsetof(sp, handle), UFIB_SHOW_HAS_HANDLE},
    {CMD_ATTR_VOBJ, 8, offsetof(sp, vobj_id), UFIB_SHOW_HAS_VOBJ},
    {CMD_ATTR_VALUE, 4, offsetof(sp, value), 0},
    {CMD_ATTR_STATISTICS, 0, 0, UFIB_SHOW_STATISTICS},
};

static bool length_good(const attr_row &row, uint16_t length, const ufib_family *family) {
    if (row.length == LENGTH_NAME) return length >= 1 && length <= VRF_NAME_MAX;
    if (row.length == LENGTH_ADDRESS) return length == family->addr_bytes;
    return length == row.length;
}

/* False: its length is wrong. */
static bool attr_take(const cmd_attr &attr, const ufib_family *family, ufib_show_params *params) {
    for (const attr_row &row : attr_rows) {
        if (row.type != attr.type || (row.length == LENGTH_ADDRESS && family == nullptr)) continue;
        if (!length_good(row, attr.length, family)) return false;
        params->flags |= row.flag;
        if (row.length == 0 || row.length == LENGTH_NAME) return true;
        auto *member = reinterpret_cast<uint8_t *>(params) + row.offset;
        uint64_t number = 0;
        if (row.length == LENGTH_ADDRESS) {
            std::memcpy(member, attr.data, attr.length);
        } else if (cmd_attr_number(&attr, &number) == 0) {
            const auto word = static_cast<uint32_t>(number);
            if (row.length == 8)
                std::memcpy(member, &number, sizeof number);
            else
                std::memcpy(member, &word, sizeof word);
        }
        return true;
    }
    return true;
}

static uint32_t default_table(const ufib_family *family) {
    return family != nullptr && family->index == ufib_v6.index ? UFIB_DEFAULT_V6 : UFIB_DEFAULT_V4;
}

/* The table of a VRF by its name; 0 when there is no such VRF. */
static uint32_t vrf_table(const cmd_handle *handle, uint32_t vdc_id, const ufib_family *family) {
    char name[VRF_NAME_MAX + 1];
    cmd_req_route_context_get(handle, name, sizeof name);
    if (std::strcmp(name, "default") == 0) return default_table(family);
    if (sysmgr_set_vdc_ctxt(vdc_id) != 0) return 0;
    const uint32_t table_id =
        l3vm_context_get_table_id(name, family == nullptr ? ufib_v4.afi : family->afi, "base");
    sysmgr_reset_vdc_ctxt();
    return table_id;
}

static uint32_t asked_mode(const ufib_show_params &params) {
    if ((params.flags & FLAG_CLASS) != 0) return params.mode;
    if ((params.flags & UFIB_SHOW_HAS_PREFIX) != 0)
        return (params.flags & FLAG_LONGEST) != 0 ? UFIB_SHOW_LONGEST : UFIB_SHOW_EXACT;
    const uint32_t hop = params.flags & (UFIB_SHOW_HAS_IF | UFIB_SHOW_HAS_NH);
    if (hop == (UFIB_SHOW_HAS_IF | UFIB_SHOW_HAS_NH)) return UFIB_SHOW_ON_ADJ;
    if (hop == UFIB_SHOW_HAS_IF) return UFIB_SHOW_INTF;
    return hop == UFIB_SHOW_HAS_NH ? UFIB_SHOW_NH : UFIB_SHOW_ALL;
}

/* What a mode cannot do without. */
static uint32_t needed_flags(uint32_t mode) {
    switch (mode) {
    case UFIB_SHOW_EXACT:
    case UFIB_SHOW_LONGEST: return UFIB_SHOW_HAS_PREFIX;
    case UFIB_SHOW_INTF: return UFIB_SHOW_HAS_IF;
    case UFIB_SHOW_NH: return UFIB_SHOW_HAS_NH;
    case UFIB_SHOW_ON_ADJ: return UFIB_SHOW_HAS_IF | UFIB_SHOW_HAS_NH;
    default: return 0;
    }
}

static bool request_sound(const ufib_show_params &params, const ufib_family *family) {
    const bool mode = params.mode >= UFIB_SHOW_ALL && params.mode <= UFIB_SHOW_ALL_TOO && params.mode != 7;
    const uint32_t needed = needed_flags(params.mode);
    return mode && (params.flags & needed) == needed &&
           params.mask_len <= (family == nullptr ? 0 : family->max_len);
}

static bool attributes_read(cmd_handle *handle, uint32_t vdc_id, const ufib_family *family,
                            ufib_show_params *params) {
    (void)cmd_req_cmdId_getnext(handle);
    params->vdc_id = vdc_id;
    cmd_attr attr;
    int status;
    while ((status = cmd_req_attr_getnext(handle, &attr)) == 0)
        if (!attr_take(attr, family, params)) return false;
    if (status != ENOENT) return false;
    if ((params->flags & FLAG_MASK_LENGTH) == 0) params->mask_len = family == nullptr ? 0 : family->max_len;
    if ((params->flags & FLAG_TABLE) == 0)
        params->asked_table_id =
            (params->flags & FLAG_VRF) != 0 ? vrf_table(handle, vdc_id, family) : default_table(family);
    params->table_id = params->asked_table_id;
    params->mode = asked_mode(*params);
    params->detail = (params->flags & FLAG_DETAIL) != 0 ? 1 : 0;
    params->flags &= UFIB_SHOW_FLAGS;
    return request_sound(*params, family);
}

static bool cookie_sound(const ufib_show_params &params, uint32_t vdc_id, const ufib_family *family,
                         ufib_show_what what) {
    for (const uint32_t word : params.zero)
        if (word != 0) return false;
    const bool ours = params.layout == UFIB_SHOW_LAYOUT && params.what == what && params.vdc_id == vdc_id &&
                      params.afi == (family == nullptr ? 0 : family->afi);
    const bool standing = (params.flags & UFIB_SHOW_CONTINUING) != 0 &&
                          params.at_mask_len <= (family == nullptr ? 0 : family->max_len) &&
                          (params.limit == 0 || params.count < params.limit);
    return ours && standing && params.detail <= 1 && (params.flags & ~UFIB_SHOW_FLAGS) == 0 &&
           request_sound(params, family);
}

bool ufib_show_get_params(cmd_handle *handle, uint32_t vdc_id, const ufib_family *family, ufib_show_what what,
                          ufib_show_params *out) {
    *out = {};
    uint32_t length = 0;
    const void *cookie = cmd_req_cookie_get(handle, &length);
    if (cookie != nullptr) {
        if (length == sizeof *out) std::memcpy(out, cookie, sizeof *out);
        if (length == sizeof *out && cookie_sound(*out, vdc_id, family, what)) return true;
        cmd_rep_send_nok(handle, 5, "bad cookie");
        return false;
    }
    if (attributes_read(handle, vdc_id, family, out)) {
        out->layout = UFIB_SHOW_LAYOUT;
        out->what = what;
        out->afi = family == nullptr ? 0 : family->afi;
        return true;
    }
    cmd_rep_send_nok(handle, 6, "bad attribute");
    return false;
}

void ufib_show_send_cookie(cmd_handle *handle, ufib_show_params *params) {
    params->flags |= UFIB_SHOW_CONTINUING;
    cmd_prt_send_cookie(handle, params, sizeof *params);
}
