#include "softfwd/softfwd_rpf_check.h"

#include "softfwd/softfwd_reader_private.h"

#include <cerrno>
#include <iterator>

static constexpr uint8_t MODE_STRICT = 3;

static const char *const verdict_names[] = {"off", "pass", "fail"};
static const char *const tunnel_names[] = {"none", "gre", "6to4", "isatap", "sgrp"};

const char *softfwd_rpf_name(uint8_t verdict) {
    return verdict < std::size(verdict_names) ? verdict_names[verdict] : "?";
}
const char *softfwd_tunnel_name(uint8_t type) {
    return type < std::size(tunnel_names) ? tunnel_names[type] : "?";
}

/* What the word of a key says; 0: nothing. */
static uint32_t value_find(const softfwd_reader *reader, uint64_t key) {
    uint32_t at = softfwd_rpf_place(key);
    for (uint32_t step = 0; step < SOFTFWD_RPF_ROOM; step++, at = (at + 1) % SOFTFWD_RPF_ROOM) {
        const uint64_t word = softfwd_load(&reader->rpf[at]);
        if (word == 0) return 0;
        if (softfwd_rpf_key_of(word) == key) return softfwd_rpf_value_of(word);
    }
    return 0;
}

static uint8_t mode_of(softfwd_reader *reader, address_family family, uint32_t vdc_id, uint32_t if_index) {
    const uint32_t modes = value_find(reader, softfwd_rpf_if_key(vdc_id, if_index));
    return static_cast<uint8_t>(family == ADDRESS_FAMILY_V4 ? modes >> 4 : modes & 15);
}

static bool leaves_by(const softfwd_reader *reader, uint32_t adj_handle, uint32_t if_index) {
    const softfwd_adj *record = softfwd_reader_record(reader, adj_handle);
    return record != nullptr && record->if_index == if_index;
}

static bool reached_through(const softfwd_reader *reader, const softfwd_result &route, uint32_t if_index) {
    if (leaves_by(reader, route.next_handle, if_index)) return true;
    if (value_find(reader, softfwd_rpf_prefix_key(route.hop.prefix_handle)) == if_index) return true;
    const softfwd_group *group = softfwd_reader_group(reader, route.next_handle);
    for (uint32_t i = 0; group != nullptr && i < group->count; i++)
        if (leaves_by(reader, softfwd_group_adjs(group)[i], if_index)) return true;
    return false;
}

/* The route is looked up in a stay of its own: what it named may have gone since, and then names nothing. */
static bool passes(softfwd_reader *reader, const softfwd_result &route, uint8_t mode, uint32_t if_index) {
    if (route.hop.action == SOFTFWD_NO_ROUTE || route.hop.action == SOFTFWD_DROP) return false;
    return mode != MODE_STRICT || reached_through(reader, route, if_index);
}

int softfwd_rpf_check(softfwd_reader *reader, address_family family, uint32_t vdc_id, uint32_t table_id,
                      uint32_t if_index, const uint8_t *source, softfwd_rpf_result *out) {
    *out = {};
    softfwd_result route;
    int status = softfwd_lookup(reader, family, vdc_id, table_id, source, &route);
    if (status != 0) return status;
    status = ESTALE;
    if (softfwd_enter(reader)) {
        status = 0;
        out->mode = mode_of(reader, family, vdc_id, if_index);
        if (out->mode != 0)
            out->verdict = passes(reader, route, out->mode, if_index) ? SOFTFWD_RPF_PASS : SOFTFWD_RPF_FAIL;
    }
    softfwd_leave(reader);
    return status;
}
