/* diag/ufib_show_history.h: back-ends that show, clear and steer the histories of objects. A history belongs to the
 * process, not to a VDC. Shows of entries come in pieces of at most 1000 records; CMD_ATTR_HISTORY_KEY asks for one
 * entry. A damaged cookie is answered with 5 "bad cookie", a damaged attribute with 6 "bad attribute". One thread. */
#pragma once

#include <cstdint>

struct bt_entry;
struct cmd_handle;

/* Settings: size, filters, sticky entries. */
void ufib_show_v4_pfx_conf(cmd_handle *handle, uint32_t vdc_id);
void ufib_show_v6_pfx_conf(cmd_handle *handle, uint32_t vdc_id);
void ufib_show_v4_rnh_conf(cmd_handle *handle, uint32_t vdc_id);
void ufib_show_v6_rnh_conf(cmd_handle *handle, uint32_t vdc_id);
void ufib_show_v4_adj_conf(cmd_handle *handle, uint32_t vdc_id);
void ufib_show_v6_adj_conf(cmd_handle *handle, uint32_t vdc_id);
void ufib_show_ecmp_conf(cmd_handle *handle, uint32_t vdc_id);
void ufib_show_vobj_conf(cmd_handle *handle, uint32_t vdc_id);

/* All entries, in the order of their keys. */
void ufib_show_v4_pfx_hist(cmd_handle *handle, uint32_t vdc_id);
void ufib_show_v6_pfx_hist(cmd_handle *handle, uint32_t vdc_id);
void ufib_show_v4_rnh_hist(cmd_handle *handle, uint32_t vdc_id);
void ufib_show_v6_rnh_hist(cmd_handle *handle, uint32_t vdc_id);
void ufib_show_v4_adj_hist(cmd_handle *handle, uint32_t vdc_id);
void ufib_show_v6_adj_hist(cmd_handle *handle, uint32_t vdc_id);
void ufib_show_ecmp_hist(cmd_handle *handle, uint32_t vdc_id);
void ufib_show_vobj_hist(cmd_handle *handle, uint32_t vdc_id);

/* One entry as a table, the oldest record first; how many lines that took. */
uint32_t ufib_show_one_v4_pfx_hist_entry(cmd_handle *handle, const bt_entry *entry);
uint32_t ufib_show_one_v6_pfx_hist_entry(cmd_handle *handle, const bt_entry *entry);
uint32_t ufib_show_one_v4_rnh_hist_entry(cmd_handle *handle, const bt_entry *entry);
uint32_t ufib_show_one_v6_rnh_hist_entry(cmd_handle *handle, const bt_entry *entry);
uint32_t ufib_show_one_v4_adj_hist_entry(cmd_handle *handle, const bt_entry *entry);
uint32_t ufib_show_one_v6_adj_hist_entry(cmd_handle *handle, const bt_entry *entry);
uint32_t ufib_show_one_ecmp_hist_entry(cmd_handle *handle, const bt_entry *entry);
uint32_t ufib_show_one_vobj_hist_entry(cmd_handle *handle, const bt_entry *entry);

/* One record by itself, as the view by time has it. */
void ufib_show_one_v4_pfx_hist_rec(cmd_handle *handle, const bt_entry *entry, const void *record);
void ufib_show_one_v6_pfx_hist_rec(cmd_handle *handle, const bt_entry *entry, const void *record);
void ufib_show_one_v4_rnh_hist_rec(cmd_handle *handle, const bt_entry *entry, const void *record);
void ufib_show_one_v6_rnh_hist_rec(cmd_handle *handle, const bt_entry *entry, const void *record);
void ufib_show_one_v4_adj_hist_rec(cmd_handle *handle, const bt_entry *entry, const void *record);
void ufib_show_one_v6_adj_hist_rec(cmd_handle *handle, const bt_entry *entry, const void *record);
void ufib_show_one_ecmp_hist_rec(cmd_handle *handle, const bt_entry *entry, const void *record);
void ufib_show_one_vobj_hist_rec(cmd_handle *handle, const bt_entry *entry, const void *record);

/* Forget all entries. */
void ufib_bt_v4_clear_entries(cmd_handle *handle, uint32_t vdc_id);
void ufib_bt_v6_clear_entries(cmd_handle *handle, uint32_t vdc_id);
void ufib_bt_v4_rnh_clear_entries(cmd_handle *handle, uint32_t vdc_id);
void ufib_bt_v6_rnh_clear_entries(cmd_handle *handle, uint32_t vdc_id);
void ufib_bt_v4_adj_clear_entries(cmd_handle *handle, uint32_t vdc_id);
void ufib_bt_v6_adj_clear_entries(cmd_handle *handle, uint32_t vdc_id);
void ufib_bt_ecmp_clear_entries(cmd_handle *handle, uint32_t vdc_id);
void ufib_bt_vobj_clear_entries(cmd_handle *handle, uint32_t vdc_id);

/* The records of all histories by time, oldest first. */
void lcfwd_show_bt_rec_queue(cmd_handle *handle, uint32_t vdc_id);

/* Steering: CMD_ATTR_HISTORY names the history, CMD_ATTR_VALUE is 1 or 0, CMD_ATTR_HISTORY_KEY the key of a filter or
 * of a sticky entry. 4: there is no such history, filter or sticky entry; 8: no room for another. */
void lcfwd_set_bt_enable(cmd_handle *handle, uint32_t vdc_id);
void lcfwd_set_bt_filter(cmd_handle *handle, uint32_t vdc_id);
void lcfwd_set_bt_sticky(cmd_handle *handle, uint32_t vdc_id);
