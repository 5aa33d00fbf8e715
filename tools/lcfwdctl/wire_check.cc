#include "tools/lcfwdctl/wire_check.h"

#include "tools/lcfwdctl/wire_append.h"
#include "tools/lcfwdctl/wire_control.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <tuple>

static uint8_t family_number(uint8_t family) { return family == 4 ? 1 : family == 6 ? 2 : 0; }

std::vector<uint8_t> ctl_stats_make(uint8_t type, uint8_t family, uint32_t if_index, const uint8_t *address) {
    std::vector<uint8_t> out;
    ufib_stats_poll_msg poll = {{}, type, family_number(family), {}};
    ctl_append(&out, poll);
    if (if_index == 0) return out;
    ufib_stats_poll_key key = {wire_put(if_index), {}};
    if (address != nullptr) memcpy(key.address, address, sizeof key.address);
    ctl_append(&out, key);
    return out;
}

int ctl_stats_started(std::span<const uint8_t> answer, bool *started) {
    wire_cursor cursor = {answer.data(), answer.size()};
    ufib_stats_poll_rsp body;
    if (wire_take(&cursor, &body) != 0 || cursor.left != 0) return EBADMSG;
    *started = (body.poll[7] & UFIB_STATS_STARTED) != 0;
    return 0;
}

int ctl_stats_read(std::span<const uint8_t> answer, std::vector<ufib_stats_row> *rows, bool *last) {
    wire_cursor cursor = {answer.data(), answer.size()};
    ufib_stats_hdr hdr;
    if (wire_take(&cursor, &hdr) != 0 || wire_get(hdr.total_stats_len) != answer.size() ||
        cursor.left != wire_get(hdr.count) * sizeof(ufib_stats_row))
        return EBADMSG;
    *last = (hdr.flags & UFIB_STATS_LAST) != 0;
    for (ufib_stats_row row; wire_take(&cursor, &row) == 0;) rows->push_back(row);
    return 0;
}

/* ---- consistency ---- */

/* Head of a report; its rows are as long as what is left says, when there are any. */
static int report_begin(wire_cursor *cursor, ufib_cc_hdr *hdr, uint32_t *count, bool *last) {
    if (wire_take(cursor, hdr) != 0) return EBADMSG;
    *count = wire_get(hdr->inconsistent) + wire_get(hdr->missing);
    *last = (hdr->flags & UFIB_CC_LAST) != 0;
    return *count == 0 && cursor->left != 0 ? EBADMSG : 0;
}

int ctl_check_routes_read(std::span<const uint8_t> report, uint8_t family, std::vector<ctl_check_row> *rows,
                          bool *last) {
    wire_cursor cursor = {report.data(), report.size()};
    ufib_cc_hdr hdr;
    uint32_t count;
    const size_t row_bytes = UFIB_CC_ROW_HEAD + (family == 4 ? 4 : 16);
    if (report_begin(&cursor, &hdr, &count, last) != 0 || cursor.left != count * row_bytes) return EBADMSG;
    for (; count > 0; count--, cursor.next += row_bytes) {
        ufib_cc_row row = {};
        memcpy(&row, cursor.next, row_bytes);
        ctl_check_row out = {family, wire_get(hdr.table_id), 0, row.flags, row.mask_len, {}};
        memcpy(out.address, row.address, sizeof out.address);
        rows->push_back(out);
    }
    return 0;
}

int ctl_check_adjs_read(std::span<const uint8_t> report, std::vector<ctl_check_row> *rows, bool *last) {
    wire_cursor cursor = {report.data(), report.size()};
    ufib_cc_hdr hdr;
    uint32_t count;
    if (report_begin(&cursor, &hdr, &count, last) != 0) return EBADMSG;
    const size_t row_bytes = count == 0 ? 0 : cursor.left / count;
    if (cursor.left != count * row_bytes || (count != 0 && row_bytes != 8 && row_bytes != 20)) return EBADMSG;
    for (uint32_t i = 0; i < count; i++, cursor.next += row_bytes) {
        ufib_cc_adj_row row = {};
        memcpy(&row, cursor.next, row_bytes);
        const bool missing = i >= wire_get(hdr.inconsistent);
        ctl_check_row out = {static_cast<uint8_t>(row_bytes == 8 ? 4 : 6),    0, wire_get(row.if_index),
                             missing ? UFIB_CC_NOT_NAMED : UFIB_CC_NEXT_HOPS, 0, {}};
        memcpy(out.address, row.address, sizeof out.address);
        rows->push_back(out);
    }
    return 0;
}

/* Recursive next hops are another list than routes. */
static auto row_key(const ctl_check_row &row) {
    return std::tuple(row.family, row.table, row.if_index,
                      std::string(reinterpret_cast<const char *>(row.address), sizeof row.address),
                      row.mask_len, row.flags & UFIB_CC_RNH);
}

void ctl_check_rows_join(std::vector<ctl_check_row> *rows) {
    std::stable_sort(rows->begin(), rows->end(),
                     [](const ctl_check_row &a, const ctl_check_row &b) { return row_key(a) < row_key(b); });
    std::vector<ctl_check_row> out;
    for (const ctl_check_row &row : *rows) {
        if (out.empty() || row_key(out.back()) != row_key(row))
            out.push_back(row);
        else if ((row.flags & UFIB_CC_NOT_NAMED) == 0)
            out.back().flags |= row.flags;
    }
    *rows = std::move(out);
}

std::vector<uint8_t> ctl_check_neighbours_make(std::span<const ctl_next_hop> hops, bool end, uint8_t family) {
    constexpr uint8_t check = 0x08, last_v4 = 0x01, last_v6 = 0x10;
    std::vector<uint8_t> out = ctl_neighbours_make(hops, true, check);
    if (end) out[4] = static_cast<uint8_t>((family != 6 ? last_v4 : 0) | (family != 4 ? last_v6 : 0));
    return out;
}
