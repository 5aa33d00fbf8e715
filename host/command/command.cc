#include "host/command/command.h"

#include "host/bus/fu_mts.h"
#include "host/command/command_state.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

static constexpr uint32_t RANGES_MAX = 32;

struct cli_range {
    char token[32];
    uint32_t low, high;
};

struct cmd_service {
    uint32_t queue;
    int next_init_status;
    cli_range ranges[RANGES_MAX];
    uint32_t range_count;
};

cmd_counters cmd_counts;
static cmd_service service;
static cmd_handle the_handle; /* one thread and one request at a time */

const cmd_counters *cmd_counters_get() { return &cmd_counts; }
void cmd_fail_next_init(int status) { service.next_init_status = status; }

int cmd_backend_init(uint32_t queue) {
    const int status = service.next_init_status;
    service.next_init_status = 0;
    if (status == 0) service.queue = queue;
    return status;
}

void cmd_reset() {
    service = {};
    cmd_counts = {};
    std::memset(&the_handle, 0, CMD_HANDLE_STATE_BYTES);
}

/* ---- ranges ---- */

static cli_range *range_find(const char *token) {
    for (uint32_t i = 0; i < service.range_count; i++)
        if (std::strncmp(service.ranges[i].token, token, sizeof service.ranges[i].token - 1) == 0)
            return &service.ranges[i];
    return nullptr;
}

void cli_set_dynamic_integer_range(const char *token, uint32_t low, uint32_t high) {
    cli_range *range = range_find(token);
    if (range == nullptr) {
        if (service.range_count == RANGES_MAX) return;
        range = &service.ranges[service.range_count++];
    }
    std::snprintf(range->token, sizeof range->token, "%s", token);
    range->low = low;
    range->high = high;
}

int cli_get_dynamic_integer_range(const char *token, uint32_t *low, uint32_t *high) {
    const cli_range *range = range_find(token);
    if (range == nullptr) return ENOENT;
    *low = range->low;
    *high = range->high;
    return 0;
}

/* ---- request ---- */

static uint32_t read_number(const uint8_t *bytes, size_t length) {
    uint32_t number = 0;
    for (size_t i = 0; i < length; i++) number = number << 8 | bytes[i];
    return number;
}

static bool request_parse(const uint8_t *bytes, size_t size, cmd_handle *handle) {
    if (bytes == nullptr || size < CMD_REQUEST_HEAD) return false;
    handle->vdc_id = static_cast<uint16_t>(read_number(bytes, 2));
    handle->action = bytes[2];
    handle->command = read_number(bytes + 4, 4);
    handle->cookie_length = read_number(bytes + 8, 4);
    if (handle->cookie_length > CMD_COOKIE_MAX || handle->cookie_length > size - CMD_REQUEST_HEAD)
        return false;
    handle->cookie = bytes + CMD_REQUEST_HEAD;
    handle->attributes = handle->cookie + handle->cookie_length;
    handle->attributes_size = static_cast<uint32_t>(size - CMD_REQUEST_HEAD - handle->cookie_length);
    return handle->action == CMD_ACTION_GET || handle->action == CMD_ACTION_SET;
}

int cmd_req_handle_get(mts_msg *message, cmd_handle **out) {
    *out = nullptr;
    const bool again = the_handle.message == message && !the_handle.answered;
    std::memset(&the_handle, 0, CMD_HANDLE_STATE_BYTES);
    if (!request_parse(mts_payload_get(message), mts_payload_size(message), &the_handle)) {
        cmd_counts.bad_requests++;
        return EBADMSG;
    }
    the_handle.message = message;
    if (!again) cmd_counts.requests++;
    *out = &the_handle;
    return 0;
}

uint32_t cmd_req_vdc_get(const cmd_handle *handle) { return handle->vdc_id; }
bool cmd_req_action_is_get(const cmd_handle *handle) { return handle->action == CMD_ACTION_GET; }

uint32_t cmd_req_cmdId_getnext(cmd_handle *handle) {
    const uint32_t number = handle->number_taken ? 0 : handle->command;
    handle->number_taken = true;
    return number;
}

int cmd_req_attr_getnext(cmd_handle *handle, cmd_attr *out) {
    if (handle->attributes_size == 0) return ENOENT;
    const int status =
        tlv_array_get_next_tlv(handle->attributes, handle->attributes_size, &handle->attribute);
    if (status != TLV_OK) return status == TLV_END ? ENOENT : EBADMSG;
    *out = {tlv_type(handle->attribute), tlv_length(handle->attribute), tlv_data(handle->attribute)};
    return 0;
}

void cmd_req_attr_rewind(cmd_handle *handle) { handle->attribute = nullptr; }

int cmd_attr_number(const cmd_attr *attr, uint64_t *out) {
    if (attr->length != 1 && attr->length != 2 && attr->length != 4 && attr->length != 8) return EBADMSG;
    uint64_t number = 0;
    for (uint16_t i = 0; i < attr->length; i++) number = number << 8 | attr->data[i];
    *out = number;
    return 0;
}

void cmd_req_route_context_get(const cmd_handle *handle, char *name, size_t size) {
    const tlv *attr = tlv_array_find_tlv(handle->attributes, handle->attributes_size, CMD_ATTR_ROUTE_CONTEXT);
    if (attr == nullptr || tlv_length(attr) == 0)
        std::snprintf(name, size, "default");
    else
        std::snprintf(name, size, "%.*s", static_cast<int>(tlv_length(attr)),
                      reinterpret_cast<const char *>(tlv_data(attr)));
}

const void *cmd_req_cookie_get(const cmd_handle *handle, uint32_t *length) {
    *length = handle->cookie_length;
    return handle->cookie_length == 0 ? nullptr : handle->cookie;
}

/* ---- answers ---- */

static void write_number(uint8_t *bytes, uint32_t number, size_t length) {
    for (size_t i = length; i-- > 0; number >>= 8) bytes[i] = static_cast<uint8_t>(number);
}

int cmd_send(cmd_handle *handle, cmd_answer_kind kind, uint16_t code, const void *cookie,
             uint32_t cookie_length) {
    const bool part = kind == CMD_ANSWER_PART;
    if (handle->answered) {
        cmd_counts.second_answers++;
        return -1;
    }
    if (!part) cmd_close_open(handle);
    uint8_t *head = handle->out + CMD_COOKIE_MAX - cookie_length;
    write_number(head, kind, 1);
    write_number(head + 1, 0, 1);
    write_number(head + 2, code, 2);
    write_number(head + 4, cookie_length, 4);
    if (cookie_length != 0) std::memcpy(head + CMD_ANSWER_HEAD, cookie, cookie_length);
    const size_t size = CMD_ANSWER_HEAD + cookie_length + handle->used;
    handle->used = 0;
    handle->answered = !part;
    if (fu_mts_send_response(service.queue, head, size, handle->message, 0) != 0) {
        cmd_counts.send_failures++;
        return -1;
    }
    (part ? cmd_counts.parts : cmd_counts.answers)++;
    return 0;
}

int cmd_rep_send_ok(cmd_handle *handle) { return cmd_send(handle, CMD_ANSWER_OK, 0, nullptr, 0); }
int cmd_rsp_send_ok(cmd_handle *handle) { return cmd_rep_send_ok(handle); }
int cmd_prt_send(cmd_handle *handle) { return cmd_send(handle, CMD_ANSWER_DONE, 0, nullptr, 0); }

int cmd_rep_send_nok(cmd_handle *handle, int code, const char *text) {
    if (!handle->answered) handle->used = handle->depth = 0;
    const cmd_arg reason = cmd_text(text, "error");
    cmd_prt_args(handle, "%s", &reason, 1);
    return cmd_send(handle, CMD_ANSWER_NOK, static_cast<uint16_t>(code), nullptr, 0);
}

int cmd_prt_send_nok(cmd_handle *handle, int code, const char *format, ...) {
    char text[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    return cmd_rep_send_nok(handle, code, text);
}

int cmd_prt_send_cookie(cmd_handle *handle, const void *cookie, uint32_t length) {
    if (length > CMD_COOKIE_MAX) return EINVAL;
    return cmd_send(handle, CMD_ANSWER_MORE, 0, cookie, length);
}
