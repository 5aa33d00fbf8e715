#include "core/lcfwd_cmi.h"

#include "core/lcfwd_handlers.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_mts.h"
#include "core/lcfwd_upcalls.h"
#include "core/lcfwd_vdc.h"
#include "host/command/command.h"

#include <algorithm>
#include <iterator>

static constexpr uint32_t opc_command = 7679;

/* By command number, for the binary search. */
static lcfwd_cmi_row set_rows[] = {
    {0x10037, "ufib_bt_v6_clear_entries", nullptr},
    {0x1003f, "lfib_bt_label_clear_entries", nullptr},
    {0x10047, "ufib_bt_v6_adj_clear_entries", nullptr},
    {0x1004f, "ufib_bt_ecmp_clear_entries", nullptr},
    {0x10057, "lfib_bt_mpls_ecmp_clear_entries", nullptr},
    {0x1005f, "ufib_bt_otv_adj_clear_entries", nullptr},
    {0x10067, "ufib_bt_otv_vlan_clear_entries", nullptr},
    {0x1006a, "mfib_bt_v4_route_clear_entries", nullptr},
    {0x10072, "mfib_bt_v6_route_clear_entries", nullptr},
    {0x1007a, "mfib_bt_otv_v4_route_clear_entries", nullptr},
    {0x10082, "mfib_bt_otv_v6_route_clear_entries", nullptr},
    {0x1008a, "mfib_bt_oiflist_clear_entries", nullptr},
    {0x10092, "mfib_bt_oif_clear_entries", nullptr},
    {0x1009a, "mfib_bt_otv_oiflist_clear_entries", nullptr},
    {0x100a2, "mfib_bt_otv_oif_clear_entries", nullptr},
    {0x100a8, "mfib_clear_route_v4_be", nullptr},
    {0x100a9, "mfib_clear_v6_route_be", nullptr},
    {0x100b1, "ufib_bt_v4_rnh_clear_entries", nullptr},
    {0x100b9, "ufib_bt_v6_rnh_clear_entries", nullptr},
    {0x100c1, "ufib_bt_vobj_clear_entries", nullptr},
    {0x100d6, "lfib_bt_clear_entries", nullptr},
    {0x100da, "lfib_te_bt_clear_entries", nullptr},
    {0x100e8, "ufib_bt_v4_clear_entries", nullptr},
    {0x100f1, "ufib_bt_v4_adj_clear_entries", nullptr},
};

static const lcfwd_cmi_row *show_rows;
static size_t show_count;

template <class row> static row *row_find(row *rows, size_t count, uint32_t command) {
    row *found = std::lower_bound(rows, rows + count, command, [](const lcfwd_cmi_row &left, uint32_t right) {
        return left.command < right;
    });
    return found == rows + count || found->command != command ? nullptr : found;
}

int lcfwd_cli_init() {
    if (cmd_backend_init(fib_q_mts_cmi) == 0) return 1;
    LCFWD_ERR("error: cmd_backend_init failed\n");
    return 0;
}

void lcfwd_cmi_set_command(cmd_handle *handle, lcfwd_vdc_desc *vdc) {
    const uint32_t command = cmd_req_cmdId_getnext(handle);
    const lcfwd_cmi_row *row = row_find(set_rows, std::size(set_rows), command);
    if (row != nullptr && row->back_end != nullptr) row->back_end(handle, vdc->vdc_id);
}

void lcfwd_cmi_show_command(cmd_handle *handle, lcfwd_vdc_desc *vdc) {
    const uint32_t command = cmd_req_cmdId_getnext(handle);
    const lcfwd_cmi_row *row = row_find(show_rows, show_count, command);
    if (row != nullptr && row->back_end != nullptr)
        row->back_end(handle, vdc->vdc_id);
    else
        ufib_platform_cli_show_command(handle, vdc->vdc_id, command);
}

int lcfwd_cmi_message(mts_msg *message, lcfwd_vdc_desc *vdc) {
    cmd_handle *handle = nullptr;
    if (cmd_req_handle_get(message, &handle) != 0) return LCFWD_BAD_MESSAGE;
    if (cmd_req_action_is_get(handle))
        lcfwd_cmi_show_command(handle, vdc);
    else
        lcfwd_cmi_set_command(handle, vdc);
    return LCFWD_OK;
}

int lcfwd_fu_cmi_message(fu_event *event, fu_event_node **out) {
    int status = LCFWD_OK;
    lcfwd_mts_handler_init(event, out, &status, opc_command);
    if (status != LCFWD_OK) return status;
    mts_msg *message = lcfwd_event_message(event);
    cmd_handle *handle = nullptr;
    if (cmd_req_handle_get(message, &handle) != 0) {
        LCFWD_ERR("%s: a command that is not one", __func__);
        fu_mts_respond_reject(event->queue, 0, 0, message, 0, 0);
        return LCFWD_BAD_MESSAGE;
    }
    lcfwd_vdc_desc *vdc = lcfwd_vdc_row(cmd_req_vdc_get(handle) & 0xffff);
    if (vdc == nullptr) {
        cmd_rep_send_nok(handle, 1, "invalid vdc");
        return LCFWD_BAD_MESSAGE;
    }
    if ((vdc->flags & LCFWD_VDC_ACTIVE) == 0) {
        cmd_rep_send_ok(handle); /* nothing is there, so there is nothing to show */
        return LCFWD_OK;
    }
    return lcfwd_cmi_message(message, vdc);
}

const lcfwd_cmi_row *lcfwd_cmi_set_rows(size_t *count) {
    *count = std::size(set_rows);
    return set_rows;
}

bool lcfwd_cmi_set_register(uint32_t command, lcfwd_cmi_back_end back_end) {
    lcfwd_cmi_row *row = row_find(set_rows, std::size(set_rows), command);
    if (row != nullptr) row->back_end = back_end;
    return row != nullptr;
}

void lcfwd_cmi_show_register(const lcfwd_cmi_row *rows, size_t count) {
    show_rows = rows;
    show_count = rows == nullptr ? 0 : count;
}

void lcfwd_cmi_reset() {
    for (lcfwd_cmi_row &row : set_rows) row.back_end = nullptr;
    lcfwd_cmi_show_register(nullptr, 0);
}
