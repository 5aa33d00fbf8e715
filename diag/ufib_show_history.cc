#include "diag/ufib_show_history.h"

#include "diag/command_numbers.h"
#include "diag/history_row.h"
#include "host/command/command.h"
#include "ufib/ufib_bintrace.h"

#include <algorithm>
#include <cstring>

static constexpr uint32_t PIECE_RECORDS = 1000;
static constexpr uint32_t PIECE_LINES = 4000; /* records of groups have many lines each */

static constexpr uint32_t TIME_LIMIT_MAX = 10000; /* so far a show looks back before it begins */

enum instance : uint32_t { V4_PFX, V6_PFX, V4_RNH, V6_RNH, V4_ADJ, V6_ADJ, ECMP, VOBJ };

static constexpr history_row rows[] = {
    {CMD_HISTORY_V4_PFX, "V4 PFX", &ufib_pfx_v4_global, &ufib_v4, &history_prefix},
    {CMD_HISTORY_V6_PFX, "V6 PFX", &ufib_pfx_v6_global, &ufib_v6, &history_prefix},
    {CMD_HISTORY_V4_RNH, "V4 RNH", &ufib_rnh_v4_global, &ufib_v4, &history_rnh},
    {CMD_HISTORY_V6_RNH, "V6 RNH", &ufib_rnh_v6_global, &ufib_v6, &history_rnh},
    {CMD_HISTORY_V4_ADJ, "V4 ADJ", &ufib_adj_v4_global, &ufib_v4, &history_adj},
    {CMD_HISTORY_V6_ADJ, "V6 ADJ", &ufib_adj_v6_global, &ufib_v6, &history_adj},
    {CMD_HISTORY_ECMP, "ECMP", &ufib_ecmp_global, &ufib_v4, &history_ecmp},
    {CMD_HISTORY_VOBJ, "VOBJ", &ufib_vobj_global, &ufib_v4, &history_vobj},
};

const history_row *history_find(uint32_t number) {
    for (const history_row &row : rows)
        if (row.number == number) return &row;
    return nullptr;
}

const history_row *history_of_desc(const bt_desc *desc) {
    for (const history_row &row : rows)
        if (row.desc == desc) return &row;
    return nullptr;
}

/* ---- parts ---- */

uint32_t history_show_entry(cmd_handle *handle, const history_row &row, const bt_entry *entry) {
    row.kind->key(handle, *row.family, bt_entry_key(entry));
    cmd_prt_decoration(handle, row.kind->head);
    uint32_t lines = 2;
    bt_pos pos = {};
    cmd_prt_list_begin(handle, "records");
    for (const void *record = bt_get_first_record(row.desc, entry, &pos); record != nullptr;
         record = bt_get_next_record(row.desc, entry, &pos)) {
        cmd_prt_row_begin(handle);
        lines += row.kind->line(handle, *row.family, record);
        cmd_prt_row_end(handle);
    }
    cmd_prt_list_end(handle);
    return lines;
}

void history_show_record(cmd_handle *handle, const history_row &row, const bt_entry *entry,
                         const void *record) {
    cmd_prt(handle, "%s: ", cmd_text(row.name, "history"));
    row.kind->key(handle, *row.family, bt_entry_key(entry));
    row.kind->record(handle, *row.family, record);
}

/* A place in a walk as it came back. 0: there is none; 1: it is '*pos'; -1: it is no such place, and the command is
 * answered. */
static int cookie_take(cmd_handle *handle, bt_pos *pos) {
    *pos = {};
    uint32_t length = 0;
    const void *cookie = cmd_req_cookie_get(handle, &length);
    if (cookie == nullptr) return 0;
    if (length == sizeof *pos) {
        std::memcpy(pos, cookie, sizeof *pos);
        return 1;
    }
    cmd_rep_send_nok(handle, 5, "bad cookie");
    return -1;
}

/* ---- settings ---- */

using key_walk = const void *(*)(bt_desc *desc, bt_pos *pos);

static void keys_show(cmd_handle *handle, const history_row &row, const char *list, key_walk first,
                      key_walk next, const char *none) {
    bt_pos pos = {};
    cmd_prt_list_begin(handle, list);
    const void *key = first(row.desc, &pos);
    if (key == nullptr) cmd_prt_decoration(handle, none);
    for (; key != nullptr; key = next(row.desc, &pos)) {
        cmd_prt_row_begin(handle);
        row.kind->key(handle, *row.family, key);
        cmd_prt_row_end(handle);
    }
    cmd_prt_list_end(handle);
}

static const void *first_filter(bt_desc *desc, bt_pos *pos) { return bt_get_first_filter(desc, pos); }
static const void *next_filter(bt_desc *desc, bt_pos *pos) { return bt_get_next_filter(desc, pos); }

static void conf_show(cmd_handle *handle, const history_row &row) {
    const bt_desc *desc = row.desc;
    cmd_prt(handle, "Enable: %s\n", cmd_bool(desc->enabled != 0, "enable"));
    cmd_prt(handle, "Max Number of Entries: %d\n", cmd_u32(desc->max_entries, "max_entries"));
    cmd_prt(handle, "Current Number of Entries: %d\n", cmd_u32(bt_get_num_entries(desc), "entries"));
    cmd_prt(handle, "Max Number of Records per entry: %d\n",
            cmd_u32(bt_get_num_records(desc), "max_records"));
    cmd_prt_decoration(handle, "Defined filters:\n");
    keys_show(handle, row, "filters", first_filter, next_filter, "No filter defined\n");
    cmd_prt_decoration(handle, "Defined sticky entries:\n");
    keys_show(handle, row, "sticky", bt_get_first_sticky, bt_get_next_sticky, "No sticky entry defined\n");
    cmd_prt_send(handle);
}

/* ---- entries ---- */

static void closing_line(cmd_handle *handle, uint32_t shown) {
    cmd_prt_list_end(handle);
    cmd_prt(handle, "Number of entries displayed: %d\n", cmd_u32(shown, "entries_displayed"));
    cmd_prt_send(handle);
}

static void row_show(cmd_handle *handle, const history_row &row, const bt_entry *entry, uint32_t *lines) {
    cmd_prt_row_begin(handle);
    *lines += history_show_entry(handle, row, entry);
    cmd_prt_row_end(handle);
}

static void one_show(cmd_handle *handle, const history_row &row, const uint8_t *key) {
    uint32_t lines = 0;
    const bt_entry *entry = bt_get_entry(row.desc, key);
    cmd_prt_list_begin(handle, "entries");
    if (entry != nullptr) row_show(handle, row, entry, &lines);
    closing_line(handle, entry == nullptr ? 0 : 1);
}

static void entries_show(cmd_handle *handle, const history_row &row, const bt_entry *entry, bt_pos *pos) {
    const uint32_t piece = PIECE_RECORDS / bt_get_num_records(row.desc);
    uint32_t shown = 0, lines = 0;
    cmd_prt_list_begin(handle, "entries");
    for (; entry != nullptr; entry = bt_get_next_entry(row.desc, pos)) {
        row_show(handle, row, entry, &lines);
        pos->shown++;
        if (++shown < piece && lines < PIECE_LINES) continue;
        cmd_prt_list_end(handle);
        pos->instance = row.number;
        cmd_prt_send_cookie(handle, pos, sizeof *pos);
        return;
    }
    closing_line(handle, pos->shown);
}

static void hist_show(cmd_handle *handle, const history_row &row) {
    bt_pos pos;
    const int resumed = cookie_take(handle, &pos);
    if (resumed < 0) return;
    if (resumed == 1) {
        if (pos.instance == row.number && bt_pos_ok(row.desc, &pos))
            entries_show(handle, row, bt_get_next_entry(row.desc, &pos), &pos);
        else
            cmd_rep_send_nok(handle, 5, "bad cookie");
        return;
    }
    history_request request;
    if (!history_request_get(handle, &request)) return;
    if (request.key == nullptr)
        entries_show(handle, row, bt_get_first_entry(row.desc, &pos), &pos);
    else if (request.key_len == row.desc->key_len)
        one_show(handle, row, request.key);
    else
        cmd_rep_send_nok(handle, 6, "bad attribute");
}

static void entries_clear(cmd_handle *handle, const history_row &row) {
    (void)bt_delete_all_entries(row.desc);
    cmd_rsp_send_ok(handle);
}

/* ---- by time ---- */

/* With a limit it is what happened last that counts. */
static bool time_begin(cmd_handle *handle, uint32_t limit, bt_pos *pos, bt_ordered_rec *rec, bool *more) {
    const int resumed = cookie_take(handle, pos);
    if (resumed < 0) return false;
    if (resumed == 0) {
        *more = limit == 0 ? bt_get_first_rec_queue(&rec_order_q, pos, rec)
                           : bt_get_newest_rec_queue(&rec_order_q, limit, pos, rec);
    } else if (pos->instance == CMD_SHOW_HISTORY_TIME && bt_pos_in_queue(&rec_order_q, pos)) {
        *more = bt_get_next_rec_queue(&rec_order_q, pos, rec);
    } else {
        cmd_rep_send_nok(handle, 5, "bad cookie");
        return false;
    }
    return true;
}

/* 125 records a piece, as many as a show of entries has entries: each takes some lines. */
void lcfwd_show_bt_rec_queue(cmd_handle *handle, uint32_t) {
    history_request request;
    if (!history_request_get(handle, &request)) return;
    const uint32_t limit = std::min(request.limit, TIME_LIMIT_MAX);
    bt_pos pos;
    bt_ordered_rec rec;
    bool more = false;
    if (!time_begin(handle, limit, &pos, &rec, &more)) return;
    const uint32_t end = pos.shown + PIECE_RECORDS / 8;
    cmd_prt_list_begin(handle, "records");
    for (; more && (limit == 0 || pos.shown < limit);
         more = bt_get_next_rec_queue(&rec_order_q, &pos, &rec)) {
        if (const history_row *row = history_of_desc(rec.desc); row != nullptr) {
            cmd_prt_row_begin(handle);
            history_show_record(handle, *row, rec.entry, rec.rec);
            cmd_prt_row_end(handle);
        }
        if (++pos.shown != end) continue;
        cmd_prt_list_end(handle);
        pos.instance = CMD_SHOW_HISTORY_TIME;
        cmd_prt_send_cookie(handle, &pos, sizeof pos);
        return;
    }
    cmd_prt_list_end(handle);
    cmd_prt(handle, "Number of records displayed: %d\n", cmd_u32(pos.shown, "records_displayed"));
    cmd_prt_send(handle);
}

/* ---- named entry points ---- */

void ufib_show_v4_pfx_conf(cmd_handle *handle, uint32_t) { conf_show(handle, rows[V4_PFX]); }
void ufib_show_v6_pfx_conf(cmd_handle *handle, uint32_t) { conf_show(handle, rows[V6_PFX]); }
void ufib_show_v4_rnh_conf(cmd_handle *handle, uint32_t) { conf_show(handle, rows[V4_RNH]); }
void ufib_show_v6_rnh_conf(cmd_handle *handle, uint32_t) { conf_show(handle, rows[V6_RNH]); }
void ufib_show_v4_adj_conf(cmd_handle *handle, uint32_t) { conf_show(handle, rows[V4_ADJ]); }
void ufib_show_v6_adj_conf(cmd_handle *handle, uint32_t) { conf_show(handle, rows[V6_ADJ]); }
void ufib_show_ecmp_conf(cmd_handle *handle, uint32_t) { conf_show(handle, rows[ECMP]); }
void ufib_show_vobj_conf(cmd_handle *handle, uint32_t) { conf_show(handle, rows[VOBJ]); }

void ufib_show_v4_pfx_hist(cmd_handle *handle, uint32_t) { hist_show(handle, rows[V4_PFX]); }
void ufib_show_v6_pfx_hist(cmd_handle *handle, uint32_t) { hist_show(handle, rows[V6_PFX]); }
void ufib_show_v4_rnh_hist(cmd_handle *handle, uint32_t) { hist_show(handle, rows[V4_RNH]); }
void ufib_show_v6_rnh_hist(cmd_handle *handle, uint32_t) { hist_show(handle, rows[V6_RNH]); }
void ufib_show_v4_adj_hist(cmd_handle *handle, uint32_t) { hist_show(handle, rows[V4_ADJ]); }
void ufib_show_v6_adj_hist(cmd_handle *handle, uint32_t) { hist_show(handle, rows[V6_ADJ]); }
void ufib_show_ecmp_hist(cmd_handle *handle, uint32_t) { hist_show(handle, rows[ECMP]); }
void ufib_show_vobj_hist(cmd_handle *handle, uint32_t) { hist_show(handle, rows[VOBJ]); }

uint32_t ufib_show_one_v4_pfx_hist_entry(cmd_handle *handle, const bt_entry *entry) {
    return history_show_entry(handle, rows[V4_PFX], entry);
}
uint32_t ufib_show_one_v6_pfx_hist_entry(cmd_handle *handle, const bt_entry *entry) {
    return history_show_entry(handle, rows[V6_PFX], entry);
}
uint32_t ufib_show_one_v4_rnh_hist_entry(cmd_handle *handle, const bt_entry *entry) {
    return history_show_entry(handle, rows[V4_RNH], entry);
}
uint32_t ufib_show_one_v6_rnh_hist_entry(cmd_handle *handle, const bt_entry *entry) {
    return history_show_entry(handle, rows[V6_RNH], entry);
}
uint32_t ufib_show_one_v4_adj_hist_entry(cmd_handle *handle, const bt_entry *entry) {
    return history_show_entry(handle, rows[V4_ADJ], entry);
}
uint32_t ufib_show_one_v6_adj_hist_entry(cmd_handle *handle, const bt_entry *entry) {
    return history_show_entry(handle, rows[V6_ADJ], entry);
}
uint32_t ufib_show_one_ecmp_hist_entry(cmd_handle *handle, const bt_entry *entry) {
    return history_show_entry(handle, rows[ECMP], entry);
}
uint32_t ufib_show_one_vobj_hist_entry(cmd_handle *handle, const bt_entry *entry) {
    return history_show_entry(handle, rows[VOBJ], entry);
}

void ufib_show_one_v4_pfx_hist_rec(cmd_handle *handle, const bt_entry *entry, const void *record) {
    history_show_record(handle, rows[V4_PFX], entry, record);
}
void ufib_show_one_v6_pfx_hist_rec(cmd_handle *handle, const bt_entry *entry, const void *record) {
    history_show_record(handle, rows[V6_PFX], entry, record);
}
void ufib_show_one_v4_rnh_hist_rec(cmd_handle *handle, const bt_entry *entry, const void *record) {
    history_show_record(handle, rows[V4_RNH], entry, record);
}
void ufib_show_one_v6_rnh_hist_rec(cmd_handle *handle, const bt_entry *entry, const void *record) {
    history_show_record(handle, rows[V6_RNH], entry, record);
}
void ufib_show_one_v4_adj_hist_rec(cmd_handle *handle, const bt_entry *entry, const void *record) {
    history_show_record(handle, rows[V4_ADJ], entry, record);
}
void ufib_show_one_v6_adj_hist_rec(cmd_handle *handle, const bt_entry *entry, const void *record) {
    history_show_record(handle, rows[V6_ADJ], entry, record);
}
void ufib_show_one_ecmp_hist_rec(cmd_handle *handle, const bt_entry *entry, const void *record) {
    history_show_record(handle, rows[ECMP], entry, record);
}
void ufib_show_one_vobj_hist_rec(cmd_handle *handle, const bt_entry *entry, const void *record) {
    history_show_record(handle, rows[VOBJ], entry, record);
}

void ufib_bt_v4_clear_entries(cmd_handle *handle, uint32_t) { entries_clear(handle, rows[V4_PFX]); }
void ufib_bt_v6_clear_entries(cmd_handle *handle, uint32_t) { entries_clear(handle, rows[V6_PFX]); }
void ufib_bt_v4_rnh_clear_entries(cmd_handle *handle, uint32_t) { entries_clear(handle, rows[V4_RNH]); }
void ufib_bt_v6_rnh_clear_entries(cmd_handle *handle, uint32_t) { entries_clear(handle, rows[V6_RNH]); }
void ufib_bt_v4_adj_clear_entries(cmd_handle *handle, uint32_t) { entries_clear(handle, rows[V4_ADJ]); }
void ufib_bt_v6_adj_clear_entries(cmd_handle *handle, uint32_t) { entries_clear(handle, rows[V6_ADJ]); }
void ufib_bt_ecmp_clear_entries(cmd_handle *handle, uint32_t) { entries_clear(handle, rows[ECMP]); }
void ufib_bt_vobj_clear_entries(cmd_handle *handle, uint32_t) { entries_clear(handle, rows[VOBJ]); }
