/* diag/history_row.h: the histories as their shows see them: one row an instance. What a kind of object prints is told
 * once for both families. Inside diag only. One thread. */
#pragma once

#include "host/trace/bt.h"
#include "ufib/ufib_family.h"

#include <cstdint>

struct cmd_handle;

struct history_kind {
    void (*key)(cmd_handle *handle, const ufib_family &family, const void *key); /* one line */
    const char *head;                                                            /* of the table of records */
    /* One record in the table; how many lines that took. */
    uint32_t (*line)(cmd_handle *handle, const ufib_family &family, const void *record);
    /* One record by itself, under its key. */
    void (*record)(cmd_handle *handle, const ufib_family &family, const void *record);
};
extern const history_kind history_prefix, history_rnh, history_adj, history_ecmp, history_vobj;

struct history_row {
    uint32_t number; /* CMD_HISTORY_* */
    const char *name;
    bt_desc *desc;
    const ufib_family *family; /* of kinds that know one */
    const history_kind *kind;
};
[[nodiscard]] const history_row *history_find(uint32_t number);        /* null: none */
[[nodiscard]] const history_row *history_of_desc(const bt_desc *desc); /* the same */

/* An entry as a table; how many lines that took. A record of it by itself, under the name of the history. */
uint32_t history_show_entry(cmd_handle *handle, const history_row &row, const bt_entry *entry);
void history_show_record(cmd_handle *handle, const history_row &row, const bt_entry *entry,
                         const void *record);

/* What a command about histories carries. Other attributes are skipped. */
struct history_request {
    uint32_t number; /* 0: not given */
    uint32_t limit;  /* 0: none */
    bool has_value;
    uint32_t value;
    const uint8_t *key; /* in the request; null: not given */
    uint32_t key_len;
};
/* False: the command is answered already, 6 "bad attribute". */
[[nodiscard]] bool history_request_get(cmd_handle *handle, history_request *out);
