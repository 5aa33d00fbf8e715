#include "host/bus/bus_local.h"

#include "host/bus/bus_private.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

static struct {
    frame_fifo inbound[MTS_QUEUES_MAX]; /* by queue handle - 1 */
    frame_fifo sent;
    mts_local_hook hook;
    void *hook_context;
} local;

static int local_open(const mts_config *) { return 0; }

static void local_close() {
    for (frame_fifo &fifo : local.inbound) {
        frame_fifo_free(&fifo);
        fifo = {};
    }
    frame_fifo_free(&local.sent);
    local.hook = nullptr;
    local.hook_context = nullptr;
}

static int local_bind(mts_queue *queue) {
    local.inbound[queue->handle - 1].count_max = queue->depth;
    return 0;
}

static int local_receive(mts_queue *queue, uint8_t *buffer, size_t *size, uint32_t *peer) {
    frame_fifo *fifo = &local.inbound[queue->handle - 1];
    frame_view frame;
    if (!frame_fifo_front(fifo, &frame)) return EAGAIN;
    memcpy(buffer, frame.bytes, frame.size < BUS_FRAME_MAX ? frame.size : BUS_FRAME_MAX);
    *size = frame.size;
    *peer = frame.tag;
    frame_fifo_pop(fifo);
    return 0;
}

/* Nobody puts a message here while the only thread waits: waiting would never end. */
static int local_wait(int64_t timeout_ns) {
    const bool woken = mts_woken;
    mts_woken = false;
    if (woken || timeout_ns == 0) return 0;
    for (const frame_fifo &fifo : local.inbound)
        if (fifo.count != 0) return 0;
    return EDEADLK;
}

static int local_send(const mts_msg *message, bus_frame_kind kind) {
    const int status = local.hook == nullptr ? 0 : local.hook(local.hook_context, message);
    if (status != 0) return status;
    uint8_t header[BUS_FRAME_HEADER];
    bus_frame_encode(message, kind, header);
    return frame_fifo_push(&local.sent, message->peer, header, sizeof header, message->payload,
                           message->payload_size);
}

/* All that is sent is kept for the test, so there is nothing to choose. */
static int local_subscribe(uint32_t, const bus_subscription *) { return 0; }

const mts_transport mts_local_transport = {
    .open = local_open,
    .close = local_close,
    .bind = local_bind,
    .receive = local_receive,
    .wait = local_wait,
    .send = local_send,
    .subscribe = local_subscribe,
};

static int inbound_push(uint32_t sap, uint32_t peer, const void *head, size_t head_size, const void *body,
                        size_t body_size) {
    const mts_queue *queue = mts_queue_of_sap(sap);
    if (queue == nullptr) return ENOENT;
    const int status =
        frame_fifo_push(&local.inbound[queue->handle - 1], peer, head, head_size, body, body_size);
    if (status != 0) mts_counts.dropped++;
    return status;
}

int mts_local_inject(const mts_msg *message) {
    if (message->payload_size > MTS_PAYLOAD_MAX) return EMSGSIZE;
    uint8_t header[BUS_FRAME_HEADER];
    bus_frame_encode(message, BUS_FRAME_MESSAGE, header);
    return inbound_push(message->destination.sap, message->peer, header, sizeof header, message->payload,
                        message->payload_size);
}

int mts_local_inject_frame(uint32_t sap, const uint8_t *frame, size_t size) {
    return inbound_push(sap, 0, frame, size, nullptr, 0);
}

size_t mts_local_sent_count() { return local.sent.count; }

bool mts_local_take(mts_msg *message, std::vector<uint8_t> *payload) {
    frame_view frame;
    if (!frame_fifo_front(&local.sent, &frame)) return false;
    bus_frame_kind kind;
    if (bus_frame_decode(frame.bytes, frame.size, message, &kind) != 0) abort();
    message->peer = frame.tag;
    payload->assign(frame.bytes + BUS_FRAME_HEADER, frame.bytes + frame.size);
    message->payload = payload->empty() ? nullptr : payload->data();
    frame_fifo_pop(&local.sent);
    return true;
}

void mts_local_sent_clear() { frame_fifo_clear(&local.sent); }

void mts_local_hook_set(mts_local_hook hook, void *context) {
    local.hook = hook;
    local.hook_context = context;
}
