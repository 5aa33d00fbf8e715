#include "host/bus/bus.h"

#include "host/bus/bus_private.h"

#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

constexpr uint32_t OPTIONS_MAX = 512;

struct opcode_option {
    uint32_t queue;
    uint32_t opcode;
    uint32_t value;
};

static struct {
    mts_config config;
    const mts_transport *transport; /* null = not started */
    mts_queue queues[MTS_QUEUES_MAX];
    opcode_option options[OPTIONS_MAX];
    uint32_t option_count;
    char error[256];
} bus;

mts_counters mts_counts;
volatile bool mts_woken;
static volatile int wake_fd = -1;

void mts_wake_fd_set(int fd) { wake_fd = fd; }

void mts_error_set(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(bus.error, sizeof bus.error, format, arguments);
    va_end(arguments);
}

const char *mts_error_text() { return bus.error; }

const mts_config *mts_config_get() { return &bus.config; }
const mts_transport *mts_transport_get() { return bus.transport; }

mts_queue *mts_queue_find(uint32_t handle) {
    if (handle < 1 || handle > MTS_QUEUES_MAX || bus.queues[handle - 1].handle == 0) return nullptr;
    return &bus.queues[handle - 1];
}

mts_queue *mts_queue_of_sap(uint32_t sap) {
    for (mts_queue &queue : bus.queues)
        if (queue.handle != 0 && queue.sap == sap) return &queue;
    return nullptr;
}

int mts_start(const mts_config *config) {
    if (config == nullptr) return EINVAL;
    mts_reset();
    const mts_transport *transport =
        config->transport == MTS_TRANSPORT_LOCAL ? &mts_local_transport : &mts_socket_transport;
    const int status = transport->open(config);
    if (status != 0) return status;
    bus.config = *config;
    bus.transport = transport;
    return 0;
}

void mts_reset() {
    if (bus.transport != nullptr) bus.transport->close();
    wake_fd = -1;
    for (mts_queue &queue : bus.queues) {
        free(queue.slot);
        frame_fifo_free(&queue.waiting);
    }
    mts_receive_reset();
    mts_send_reset();
    bus = {};
    mts_counts = {};
    mts_woken = false;
}

static int fail(int error) {
    errno = error;
    return -1;
}

static mts_queue *free_queue() {
    for (uint32_t i = 0; i < MTS_QUEUES_MAX; i++) {
        if (bus.queues[i].handle != 0) continue;
        bus.queues[i].handle = i + 1;
        return &bus.queues[i];
    }
    return nullptr;
}

static int queue_open(mts_queue *queue, uint32_t sap, const uint32_t options[3], const char *name) {
    queue->sap = sap;
    queue->depth = options[1];
    queue->uuid = options[2];
    snprintf(queue->name, sizeof queue->name, "%s", name == nullptr ? "" : name);
    queue->waiting.count_max = queue->depth;
    queue->waiting.bytes_max = MTS_WAITING_BYTES;
    queue->slot = static_cast<mts_slot *>(malloc(sizeof(mts_slot)));
    return queue->slot == nullptr ? ENOMEM : bus.transport->bind(queue);
}

int64_t mts_bind(int, uint32_t sap, const uint32_t options[3], const char *name) {
    if (bus.transport == nullptr) return fail(ENOTCONN);
    if (options == nullptr || options[1] < 1 || options[1] > MTS_QUEUE_DEPTH_MAX) return fail(EINVAL);
    if (mts_queue_of_sap(sap) != nullptr) {
        mts_error_set("SAP %u is bound already", sap);
        return fail(EADDRINUSE);
    }
    mts_queue *queue = free_queue();
    if (queue == nullptr) return fail(EMFILE);
    const int status = queue_open(queue, sap, options, name);
    if (status != 0) {
        free(queue->slot);
        *queue = {};
        return fail(status);
    }
    return queue->handle;
}

static opcode_option *option_find(uint32_t queue, uint32_t opcode) {
    for (uint32_t i = 0; i < bus.option_count; i++)
        if (bus.options[i].queue == queue && bus.options[i].opcode == opcode) return &bus.options[i];
    return nullptr;
}

int mts_options_set(uint32_t queue, uint32_t opcode, uint32_t value) {
    if (mts_queue_find(queue) == nullptr) return fail(EBADF);
    opcode_option *option = option_find(queue, opcode);
    if (option == nullptr) {
        if (bus.option_count >= OPTIONS_MAX) return fail(ENOSPC);
        option = &bus.options[bus.option_count++];
    }
    *option = {queue, opcode, value};
    return 0;
}

bool mts_options_get(uint32_t queue, uint32_t opcode, uint32_t *value) {
    const opcode_option *option = option_find(queue, opcode);
    if (option == nullptr) return false;
    *value = option->value;
    return true;
}

uint32_t mts_opc_get(const mts_msg *message) { return message->opcode; }
uint32_t mts_opc_version_get(const mts_msg *message) { return message->version; }
bool mts_is_response(const mts_msg *message) { return (message->flags & MTS_FLAG_RESPONSE) != 0; }
bool mts_is_reject(const mts_msg *message) { return (message->flags & MTS_FLAG_REJECT) != 0; }
uint8_t *mts_payload_get(const mts_msg *message) { return message->payload; }
size_t mts_payload_size(const mts_msg *message) { return message->payload_size; }
uint32_t mts_src_vdc_id_get(const mts_msg *message) { return message->source_vdc; }

int mts_wait(int64_t timeout_ns) {
    if (bus.transport == nullptr) return ENOTCONN;
    return bus.transport->wait(mts_receive_more() ? 0 : timeout_ns);
}

void mts_wake() {
    const int saved = errno;
    mts_woken = true;
    const uint64_t one = 1;
    /* A full counter means that the wake-up is under way already. */
    if (wake_fd >= 0 && write(wake_fd, &one, sizeof one) < 0) mts_woken = true;
    errno = saved;
}

bool mts_queue_info_get(uint32_t handle, mts_queue_info *out) {
    const mts_queue *queue = mts_queue_find(handle);
    if (queue == nullptr) return false;
    const uint32_t pending = queue->state == MTS_SLOT_PENDING ? 1 : 0;
    *out = {queue->sap, queue->depth, static_cast<uint32_t>(queue->waiting.count) + pending, queue->received};
    return true;
}

const mts_counters *mts_counters_get() { return &mts_counts; }
