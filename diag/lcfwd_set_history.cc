/* Commands that steer histories, and the attributes of all commands about them. */
#include "diag/command_numbers.h"
#include "diag/history_row.h"
#include "diag/ufib_show_history.h"
#include "host/command/command.h"

#include <cerrno>

static bool u32_take(const cmd_attr &attr, uint32_t *out) {
    uint64_t number = 0;
    if (attr.length != sizeof *out || cmd_attr_number(&attr, &number) != 0) return false;
    *out = static_cast<uint32_t>(number);
    return true;
}

static bool attr_take(const cmd_attr &attr, history_request *request) {
    switch (attr.type) {
    case CMD_ATTR_HISTORY: return u32_take(attr, &request->number);
    case CMD_ATTR_LIMIT: return u32_take(attr, &request->limit);
    case CMD_ATTR_VALUE: request->has_value = true; return u32_take(attr, &request->value);
    case CMD_ATTR_HISTORY_KEY:
        request->key = attr.data;
        request->key_len = attr.length;
        return attr.length != 0;
    default: return true;
    }
}

bool history_request_get(cmd_handle *handle, history_request *out) {
    *out = {};
    cmd_attr attr;
    int status;
    while ((status = cmd_req_attr_getnext(handle, &attr)) == 0)
        if (!attr_take(attr, out)) break;
    if (status == ENOENT) return true;
    cmd_rep_send_nok(handle, 6, "bad attribute");
    return false;
}

/* The history that a command names; null: the command is answered. */
static const history_row *steered(cmd_handle *handle, bool with_key, history_request *request) {
    if (!history_request_get(handle, request)) return nullptr;
    const history_row *row = history_find(request->number);
    if (row == nullptr) {
        cmd_rep_send_nok(handle, 4, "no such history");
        return nullptr;
    }
    const bool key_good = !with_key || (request->key != nullptr && request->key_len == row->desc->key_len);
    if (request->has_value && request->value <= 1 && key_good) return row;
    cmd_rep_send_nok(handle, 6, "bad attribute");
    return nullptr;
}

void lcfwd_set_bt_enable(cmd_handle *handle, uint32_t) {
    history_request request;
    const history_row *row = steered(handle, false, &request);
    if (row == nullptr) return;
    bt_enable(row->desc, request.value != 0);
    cmd_rsp_send_ok(handle);
}

using key_call = int (*)(bt_desc *desc, const void *key);

static void key_steer(cmd_handle *handle, key_call add, key_call take_away, const char *full,
                      const char *none) {
    history_request request;
    const history_row *row = steered(handle, true, &request);
    if (row == nullptr) return;
    const bool on = request.value != 0;
    if ((on ? add : take_away)(row->desc, request.key) == 0)
        cmd_rsp_send_ok(handle);
    else
        cmd_rep_send_nok(handle, on ? 8 : 4, on ? full : none);
}

void lcfwd_set_bt_filter(cmd_handle *handle, uint32_t) {
    key_steer(handle, bt_filter_add, bt_filter_delete, "no room for another filter", "no such filter");
}

void lcfwd_set_bt_sticky(cmd_handle *handle, uint32_t) {
    key_steer(handle, bt_sticky_add, bt_sticky_delete, "no room for another sticky entry",
              "no such sticky entry");
}
