/* The sending half: addresses, tokens, answers, rejects. */
#include "host/bus/bus_private.h"
#include "host/bus/fu_mts.h"

#include <cerrno>

static uint32_t tokens_given;

void mts_send_reset() { tokens_given = 0; }

static int fail(int error) {
    errno = error;
    return -1;
}

static int transport_send(const mts_msg *message) {
    const int status = mts_transport_get()->send(message, BUS_FRAME_MESSAGE);
    if (status == 0) {
        mts_counts.sent++;
        return 0;
    }
    if (status == ENOBUFS)
        mts_counts.dropped++;
    else
        mts_counts.undeliverable++;
    return fail(status);
}

static mts_msg message_from(const mts_queue *queue, const void *payload, size_t size) {
    mts_msg message = {};
    message.source = {mts_config_get()->slot, queue->sap};
    message.payload = static_cast<uint8_t *>(const_cast<void *>(payload));
    message.payload_size = static_cast<uint32_t>(size);
    return message;
}

/* Questions have tokens above 2^31, so that they never meet the tokens of well-behaved clients in a trace. */
static uint32_t next_token() { return 0x80000000u | ++tokens_given; }

static int check(const mts_queue *queue, const void *payload, size_t size) {
    if (queue == nullptr) return EBADF;
    if (size > MTS_PAYLOAD_MAX) return EMSGSIZE;
    return size != 0 && payload == nullptr ? EINVAL : 0;
}

static int answer(mts_queue *queue, uint32_t opcode, uint32_t vdc, uint16_t flags, const void *payload,
                  size_t size, const mts_msg *request) {
    const int status = check(queue, payload, size);
    if (status != 0) return fail(status);
    mts_msg message = message_from(queue, payload, size);
    message.opcode = opcode == 0 ? request->opcode : opcode;
    message.version = request->version;
    message.destination = request->source;
    message.source_vdc = vdc == 0 ? request->source_vdc : vdc;
    message.token = request->token;
    message.flags = static_cast<uint16_t>(MTS_FLAG_RESPONSE | flags);
    message.peer = request->peer;
    return transport_send(&message);
}

int mts_send(uint32_t handle, uint32_t node, uint32_t sap, uint32_t opcode, const void *payload, size_t size,
             int, const mts_msg *request, const mts_opts *options) {
    const mts_opts given = options == nullptr ? mts_opts{} : *options;
    mts_queue *queue = mts_queue_find(handle);
    if (request != nullptr) return answer(queue, opcode, given.vdc, 0, payload, size, request);
    if (given.respond != 0) return fail(EINVAL);
    const int status = check(queue, payload, size);
    if (status != 0) return fail(status);
    mts_msg message = message_from(queue, payload, size);
    message.opcode = opcode;
    message.version = given.version;
    message.destination = {node, sap};
    message.source_vdc = given.vdc;
    if (given.want_reply != 0) {
        message.flags = MTS_FLAG_REQUEST;
        message.token = next_token();
        queue->last_token = message.token;
    }
    return transport_send(&message);
}

uint32_t mts_rr_token_get(uint32_t handle) {
    const mts_queue *queue = mts_queue_find(handle);
    return queue == nullptr ? 0 : queue->last_token;
}

int fu_mts_recv(uint32_t queue, mts_msg **message, int, int) { return mts_queue_receive(queue, message); }

int fu_mts_send(const mts_msg_desc *message, uint32_t options) {
    if (message == nullptr) return fail(EINVAL);
    const mts_opts opts = {.respond = 0,
                           .copy = 1,
                           .want_reply = (options & FU_MTS_SEND_NO_REPLY) == 0 ? 1u : 0u,
                           .version = message->version,
                           .vdc = message->source_vdc};
    return mts_send(message->queue, message->destination.node, message->destination.sap, message->opcode,
                    message->payload, message->payload_size, 0, nullptr, &opts);
}

int fu_mts_send_response(uint32_t queue, const void *payload, size_t size, const mts_msg *request, uint32_t) {
    if (request == nullptr) return fail(EINVAL);
    return answer(mts_queue_find(queue), 0, 0, 0, payload, size, request);
}

int fu_mts_respond_reject(uint32_t queue, int, int, const mts_msg *request, int, int) {
    if (request == nullptr) return fail(EINVAL);
    if (mts_is_response(request)) return 0;
    return answer(mts_queue_find(queue), 0, 0, MTS_FLAG_REJECT, nullptr, 0, request);
}

void fu_mts_drop(mts_msg *message) { mts_drop(message); }
