/* The receiving half: from a transport's frames to the messages of a queue. */
#include "host/bus/bus_private.h"
#include "host/timer/clock.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

/* Frames that are no message (garbage, subscriptions) and may be worked off in one go. A sender of garbage
 * alone so gets no more of a turn than others do. */
constexpr uint32_t FRAMES_PER_LOOK = 64;

static struct {
    mts_slot *question; /* for the answers that mts_recv() waits for; made at the first question */
    bool question_lent;
    bool more; /* a look ended by its bound: there may be more to read although no new event will tell */
    mts_slot *held[MTS_HELD_MAX];
} receive;

void mts_receive_reset() {
    free(receive.question);
    for (mts_slot *slot : receive.held) free(slot);
    receive = {};
}

static int fail(int error) {
    errno = error;
    return -1;
}

static void subscribe(const mts_msg *frame, uint32_t peer) {
    if (frame->payload_size != BUS_FRAME_SUBSCRIPTION) {
        mts_counts.bad_frames++;
        return;
    }
    const bus_subscription subscription = bus_subscription_decode(frame->payload);
    const int status = mts_transport_get()->subscribe(peer, &subscription);
    mts_msg answer = *frame;
    answer.destination = frame->source;
    answer.source = frame->destination;
    answer.flags = status == 0 ? MTS_FLAG_RESPONSE : MTS_FLAG_RESPONSE | MTS_FLAG_REJECT;
    answer.peer = peer;
    if (mts_transport_get()->send(&answer, BUS_FRAME_SUBSCRIBED) != 0) mts_counts.undeliverable++;
}

/* Reads the transport's next message of 'queue' into 'slot'. EAGAIN: none now. */
static int transport_message(mts_queue *queue, mts_slot *slot) {
    for (uint32_t i = 0; i < FRAMES_PER_LOOK; i++) {
        size_t size = 0;
        uint32_t peer = 0;
        if (mts_transport_get()->receive(queue, slot->frame, &size, &peer) != 0) return EAGAIN;
        bus_frame_kind kind;
        if (bus_frame_decode(slot->frame, size, &slot->message, &kind) != 0 || kind == BUS_FRAME_SUBSCRIBED) {
            mts_counts.bad_frames++;
        } else if (kind == BUS_FRAME_SUBSCRIBE) {
            subscribe(&slot->message, peer);
        } else {
            slot->message.queue = queue->handle;
            slot->message.peer = peer;
            mts_counts.received++;
            queue->received++;
            return 0;
        }
    }
    receive.more = true;
    return EAGAIN;
}

bool mts_receive_more() {
    const bool more = receive.more;
    receive.more = false;
    return more;
}

/* Copies a frame that was put aside into 'slot'. It was decoded once, so it decodes again. */
static void slot_fill(mts_slot *slot, const mts_queue *queue, const frame_view *frame) {
    bus_frame_kind kind;
    memcpy(slot->frame, frame->bytes, frame->size);
    if (bus_frame_decode(slot->frame, frame->size, &slot->message, &kind) != 0) abort();
    slot->message.queue = queue->handle;
    slot->message.peer = frame->tag;
}

static void queue_look(mts_queue *queue) {
    if (queue->state != MTS_SLOT_EMPTY) return;
    frame_view frame;
    if (frame_fifo_front(&queue->waiting, &frame)) {
        slot_fill(queue->slot, queue, &frame);
        frame_fifo_pop(&queue->waiting);
        if (queue->waiting.count == 0) frame_fifo_free(&queue->waiting);
        queue->state = MTS_SLOT_PENDING;
    } else if (transport_message(queue, queue->slot) == 0) {
        queue->state = MTS_SLOT_PENDING;
    }
}

bool mts_queue_ready(uint32_t handle) {
    mts_queue *queue = mts_queue_find(handle);
    if (queue == nullptr) return false;
    queue_look(queue);
    return queue->state == MTS_SLOT_PENDING;
}

int mts_queue_receive(uint32_t handle, mts_msg **message) {
    mts_queue *queue = mts_queue_find(handle);
    if (queue == nullptr) return fail(EBADF);
    if (queue->state == MTS_SLOT_LENT) return fail(EBUSY);
    queue_look(queue);
    if (queue->state != MTS_SLOT_PENDING) return fail(EAGAIN);
    queue->state = MTS_SLOT_LENT;
    *message = &queue->slot->message;
    return 0;
}

static bool is_answer(const mts_msg *message, uint32_t token) {
    return mts_is_response(message) && message->token == token;
}

/* Looks for the answer among the messages that came earlier. */
static bool answer_waiting(mts_queue *queue, uint32_t token, mts_slot *slot) {
    size_t at = 0;
    frame_view frame;
    while (frame_fifo_next(&queue->waiting, &at, &frame)) {
        mts_msg message;
        bus_frame_kind kind;
        if (bus_frame_decode(frame.bytes, frame.size, &message, &kind) != 0 || !is_answer(&message, token))
            continue;
        slot_fill(slot, queue, &frame);
        frame_fifo_remove(&queue->waiting, &frame);
        return true;
    }
    return false;
}

/* Takes what has come: 0 with the answer in 'slot', all else put aside; EAGAIN; ENOBUFS: no more can be put
 * aside, so no more is read. */
static int answer_take(mts_queue *queue, uint32_t token, mts_slot *slot) {
    for (;;) {
        if (!frame_fifo_fits(&queue->waiting, BUS_FRAME_MAX)) return ENOBUFS;
        if (transport_message(queue, slot) != 0) return EAGAIN;
        if (is_answer(&slot->message, token)) return 0;
        const mts_msg *other = &slot->message;
        const int status = frame_fifo_push(&queue->waiting, other->peer, slot->frame, BUS_FRAME_HEADER,
                                           other->payload, other->payload_size);
        if (status == 0) continue;
        mts_counts.dropped++; /* memory is short */
        return status;
    }
}

static int answer_wait(mts_queue *queue, uint32_t token, mts_slot *slot) {
    const int64_t allowed = static_cast<int64_t>(mts_config_get()->question_timeout_ms) * 1'000'000;
    const uint64_t begin = host_clock_monotonic_ns();
    for (;;) {
        int status = answer_take(queue, token, slot);
        if (status != EAGAIN) return status;
        const auto passed = static_cast<int64_t>(host_clock_monotonic_ns() - begin);
        if (passed >= allowed) return ETIMEDOUT;
        status = mts_wait(allowed - passed);
        if (status != 0) return status;
    }
}

int mts_recv(uint32_t handle, uint32_t token, mts_msg **message) {
    mts_queue *queue = mts_queue_find(handle);
    if (queue == nullptr) return fail(EBADF);
    if (receive.question_lent) return fail(EBUSY);
    if (receive.question == nullptr) receive.question = static_cast<mts_slot *>(malloc(sizeof(mts_slot)));
    if (receive.question == nullptr) return fail(ENOMEM);
    if (queue->state == MTS_SLOT_PENDING && is_answer(&queue->slot->message, token)) {
        mts_slot *answer = queue->slot;
        queue->slot = receive.question;
        receive.question = answer;
        queue->state = MTS_SLOT_EMPTY;
    } else if (!answer_waiting(queue, token, receive.question)) {
        const int status = answer_wait(queue, token, receive.question);
        if (status != 0) return fail(status);
    }
    receive.question_lent = true;
    *message = &receive.question->message;
    return 0;
}

int mts_hold(mts_msg *message) {
    mts_queue *queue = mts_queue_find(message->queue);
    if (queue == nullptr || queue->state != MTS_SLOT_LENT || &queue->slot->message != message) return EINVAL;
    for (mts_slot *&place : receive.held) {
        if (place != nullptr) continue;
        auto *fresh = static_cast<mts_slot *>(malloc(sizeof(mts_slot)));
        if (fresh == nullptr) return ENOMEM;
        place = queue->slot;
        message->held = true;
        queue->slot = fresh;
        queue->state = MTS_SLOT_EMPTY;
        return 0;
    }
    return ENOBUFS;
}

static void held_drop(const mts_msg *message) {
    for (mts_slot *&place : receive.held) {
        if (place == nullptr || &place->message != message) continue;
        free(place);
        place = nullptr;
        return;
    }
}

void mts_drop(mts_msg *message) {
    if (message == nullptr) return;
    if (message->held) {
        held_drop(message);
    } else if (receive.question != nullptr && message == &receive.question->message) {
        receive.question_lent = false;
    } else {
        mts_queue *queue = mts_queue_find(message->queue);
        if (queue != nullptr && message == &queue->slot->message) queue->state = MTS_SLOT_EMPTY;
    }
}
