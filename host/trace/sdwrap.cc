#include "host/trace/sdwrap.h"

#include "host/bus/bus.h"
#include "host/trace/history.h"
#include "host/trace/trace_state.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

static constexpr uint32_t DEBUG_HISTORY_BYTES = 0x10000;
static constexpr uint32_t SWITCHES_MAX = 128;

struct sdwrap_history {
    uint32_t uuid;
    uint32_t instance;
    history_ring *ring;
};

struct sdwrap_switch {
    uint32_t family;
    uint32_t subtype;
    bool on;
};

struct sdwrap_state {
    sdwrap_dbg_elem elements[SDWRAP_ELEMS_MAX];
    bool debug_on[SDWRAP_ELEMS_MAX];
    uint32_t element_count;
    const pss2_datum *debug_key;
    const pss2_datum *syslog_key;
    sdwrap_history histories[SDWRAP_INSTANCES_MAX];
    uint32_t history_count;
    sdwrap_switch switches[SWITCHES_MAX]; /* of the main history */
    uint32_t switch_count;
    uint32_t history_family; /* of the latest switch: the one that messages mean */
    void (*sink)(void *ctx, const char *text);
    void *sink_ctx;
    sdwrap_counters counters;
};

const sdwrap_facility *sdwrap_sys_facility;
sdwrap_fault_plan sdwrap_faults;
static sdwrap_state state;

const sdwrap_counters *sdwrap_counters_get() { return &state.counters; }

void sdwrap_reset() {
    for (uint32_t i = 0; i < state.history_count; i++) history_close(state.histories[i].ring);
    state = {};
    sdwrap_faults = {};
    sdwrap_sys_facility = nullptr;
}

/* ---- elements ---- */

static uint32_t element_index(uint32_t subtype) {
    uint32_t i = 0;
    while (i < state.element_count && state.elements[i].subtype != subtype) i++;
    return i;
}

int sdwrap_dbg_init(uint32_t, const char *, const char *, uint32_t count, const sdwrap_dbg_elem *elements,
                    const pss2_datum *store_key) {
    if (sdwrap_faults.dbg_init != 0) return sdwrap_faults.dbg_init;
    if (count > SDWRAP_ELEMS_MAX) return EINVAL;
    std::copy(elements, elements + count, state.elements);
    std::fill(state.debug_on, state.debug_on + SDWRAP_ELEMS_MAX, false);
    state.element_count = count;
    state.debug_key = store_key;
    return sdwrap_hist_init_for_uuid_inst(SDWRAP_DEBUG_UUID, SDWRAP_DEBUG_INSTANCE, DEBUG_HISTORY_BYTES);
}

int sdwrap_sys_init_helper(uint32_t, const char *, const char *, uint32_t, const pss2_datum *store_key) {
    if (sdwrap_faults.sys_init != 0) return sdwrap_faults.sys_init;
    if (sdwrap_sys_facility == nullptr) return EINVAL;
    state.syslog_key = store_key;
    return 0;
}

const pss2_datum *sdwrap_dbg_store_key() { return state.debug_key; }
const pss2_datum *sdwrap_sys_store_key() { return state.syslog_key; }

bool sdwrap_chk_int(uint32_t subtype) {
    const uint32_t i = element_index(subtype);
    return i < state.element_count && state.debug_on[i];
}

int sdwrap_dbg_set(uint32_t subtype, bool on) {
    const uint32_t i = element_index(subtype);
    if (i == state.element_count) return ENOENT;
    state.debug_on[i] = on;
    return 0;
}

const char *sdwrap_dbg_name(uint32_t subtype) {
    const uint32_t i = element_index(subtype);
    return i == state.element_count ? "" : state.elements[i].name;
}

/* ---- histories ---- */

static history_ring *history_find(uint32_t uuid, uint32_t instance) {
    for (uint32_t i = 0; i < state.history_count; i++)
        if (state.histories[i].uuid == uuid && state.histories[i].instance == instance)
            return state.histories[i].ring;
    return nullptr;
}

int sdwrap_hist_init_for_uuid_inst(uint32_t uuid, uint32_t instance, uint32_t bytes) {
    if (sdwrap_faults.hist_init != 0) return sdwrap_faults.hist_init;
    if (history_find(uuid, instance) != nullptr) return 0;
    if (state.history_count == SDWRAP_INSTANCES_MAX) return ENOSPC;
    sdwrap_history *history = &state.histories[state.history_count];
    const int err = history_open(uuid, instance, bytes, &history->ring);
    if (err != 0) return err;
    history->uuid = uuid;
    history->instance = instance;
    state.history_count++;
    return 0;
}

int sdwrap_hist_init_for_uuid(uint32_t uuid, uint32_t bytes) {
    return sdwrap_hist_init_for_uuid_inst(uuid, 0, bytes);
}

int sdwrap_hist_init(uint32_t bytes) {
    return sdwrap_hist_init_for_uuid_inst(SDWRAP_MAIN_UUID, SDWRAP_MAIN_INSTANCE, bytes);
}

static sdwrap_switch *switch_find(uint32_t family, uint32_t subtype) {
    for (uint32_t i = 0; i < state.switch_count; i++)
        if (state.switches[i].family == family && state.switches[i].subtype == subtype)
            return &state.switches[i];
    return nullptr;
}

bool sdwrap_hist_event_subtype_check(uint32_t family, uint32_t subtype) {
    const sdwrap_switch *found = switch_find(family, subtype);
    return found != nullptr && found->on;
}

void sdwrap_hist_set_event_subtype(uint32_t family, uint32_t subtype, bool on) {
    sdwrap_switch *found = switch_find(family, subtype);
    if (found == nullptr) {
        if (state.switch_count == SWITCHES_MAX) return;
        found = &state.switches[state.switch_count++];
    }
    *found = {family, subtype, on};
    state.history_family = family;
}

static void history_store(uint32_t uuid, uint32_t instance, uint32_t family, uint32_t length,
                          const char *text) {
    history_ring *ring = history_find(uuid, instance);
    if (ring != nullptr && history_add(ring, family, text, strnlen(text, length)))
        state.counters.events++;
    else
        state.counters.dropped++;
}

void sdwrap_hist_event(uint32_t family, uint32_t length, const char *text) {
    history_store(SDWRAP_MAIN_UUID, SDWRAP_MAIN_INSTANCE, family, length, text);
}

void sdwrap_his_log_event_for_uuid_inst(uint32_t uuid, uint32_t family, uint32_t instance, uint32_t,
                                        uint32_t length, const char *text) {
    history_store(uuid, instance, family, length, text);
}

/* ---- debug lines ---- */

void sdwrap_set_buginf_sink(void (*sink)(void *ctx, const char *text), void *ctx) {
    state.sink = sink;
    state.sink_ctx = ctx;
}

void sdwrap_debug_line(const char *text) {
    state.counters.debug_lines++;
    history_ring *ring = history_find(SDWRAP_DEBUG_UUID, SDWRAP_DEBUG_INSTANCE);
    if (ring != nullptr) history_add(ring, 0, text, std::strlen(text));
    if (state.sink != nullptr) {
        state.sink(state.sink_ctx, text);
        return;
    }
    const size_t length = std::strlen(text);
    const bool ended = length != 0 && text[length - 1] == '\n';
    std::fprintf(stderr, ended ? "%s" : "%s\n", text);
}

void buginf(const char *format, ...) {
    char text[HISTORY_TEXT_MAX];
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    if (length >= 0) sdwrap_debug_line(text);
}

/* ---- messages ---- */

static uint32_t read_u32(const uint8_t *bytes) {
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
           static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

int sdwrap_process_msg(uint32_t, mts_msg *message) {
    const uint32_t opcode = mts_opc_get(message);
    if (opcode != SDWRAP_OPC_DEBUG_SWITCH && opcode != SDWRAP_OPC_HISTORY_SWITCH) return 1;
    state.counters.messages++;
    const uint8_t *payload = mts_payload_get(message);
    const bool whole = payload != nullptr && mts_payload_size(message) >= 8;
    const uint32_t subtype = whole ? read_u32(payload) : 0;
    if (!whole || element_index(subtype) == state.element_count) {
        state.counters.bad_messages++;
        return 0;
    }
    const bool on = read_u32(payload + 4) != 0;
    if (opcode == SDWRAP_OPC_DEBUG_SWITCH)
        sdwrap_dbg_set(subtype, on);
    else
        sdwrap_hist_set_event_subtype(state.history_family, subtype, on);
    return 0;
}
