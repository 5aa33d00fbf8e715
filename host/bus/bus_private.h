/* host/bus/bus_private.h: what the bus and its transports share. For host/bus/ only. */
#pragma once

#include "host/bus/bus.h"
#include "host/bus/bus_frame.h"
#include "host/bus/frame_fifo.h"

/* Memory for one received message. */
struct mts_slot {
    mts_msg message;
    uint8_t frame[BUS_FRAME_MAX];
};

enum mts_slot_state : uint8_t {
    MTS_SLOT_EMPTY,
    MTS_SLOT_PENDING, /* holds the queue's next message */
    MTS_SLOT_LENT,    /* its message was received and is not dropped yet */
};

struct mts_queue {
    uint32_t handle; /* 0 = not bound */
    uint32_t sap;
    uint32_t depth; /* messages */
    uint32_t uuid;
    char name[48];
    mts_slot *slot;
    mts_slot_state state;
    frame_fifo waiting; /* came before what the transport still holds: put aside while a question was open */
    uint32_t last_token;
    uint64_t received; /* good messages */
};

/* A way to carry frames. All calls give 0 or an errno. */
struct mts_transport {
    int (*open)(const mts_config *config);
    void (*close)();
    int (*bind)(mts_queue *queue); /* queue->handle and sap are set */
    /* The next frame of a queue into 'buffer' (BUS_FRAME_MAX bytes). '*size' may pass the buffer: the rest of
     * a frame that is too long is lost. EAGAIN: none. */
    int (*receive)(mts_queue *queue, uint8_t *buffer, size_t *size, uint32_t *peer);
    int (*wait)(int64_t timeout_ns); /* as mts_wait() */
    /* To message->peer, or, if that is 0, to whoever listens at message->destination. EHOSTUNREACH,
     * ENOBUFS. */
    int (*send)(const mts_msg *message, bus_frame_kind kind);
    int (*subscribe)(uint32_t peer, const bus_subscription *subscription); /* ENOSPC */
};
extern const mts_transport mts_socket_transport;
extern const mts_transport mts_local_transport;

extern mts_counters mts_counts;
extern volatile bool mts_woken; /* set by mts_wake(), cleared by the wait that saw it */

mts_queue *mts_queue_find(uint32_t handle); /* null for none */
mts_queue *mts_queue_of_sap(uint32_t sap);
void mts_error_set(const char *format, ...) __attribute__((format(printf, 1, 2)));

/* Descriptor that mts_wake() writes to; -1 = none. */
void mts_wake_fd_set(int fd);

/* What one connection may subscribe to. */
constexpr uint32_t MTS_SUBSCRIPTIONS_PER_PEER = 8;

const mts_config *mts_config_get();
const mts_transport *mts_transport_get(); /* null before mts_start() */
bool mts_receive_more();                  /* asks once: must be looked at again before a wait may begin */
void mts_receive_reset();

/* Bytes of other messages that a queue puts aside while a question is open. */
constexpr size_t MTS_WAITING_BYTES = 64 * 1024 * 1024;
void mts_send_reset();
