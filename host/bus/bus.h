/* host/bus/bus.h: the message bus of the card, as the process sees it. A queue is bound to a SAP; messages
 * wait in it until they are received. A message has an opcode, a version, the addresses of both ends, the
 * context (VDC) of its sender and a token by which an answer finds its question.
 *
 * Two transports stand behind this interface: sockets under the run directory (docs/bus.md has the bytes),
 * and queues inside the process for tests (host/bus/bus_local.h). One thread. No call blocks but mts_wait()
 * and mts_recv(). All numbers here are in host order; payloads are the sender's bytes. Calls that return -1
 * set errno. */
#pragma once

#include <cstddef>
#include <cstdint>

/* Largest payload; the largest message of the system (120808 bytes) fits. */
constexpr size_t MTS_PAYLOAD_MAX = 128 * 1024;
constexpr uint32_t MTS_QUEUES_MAX = 16;
constexpr uint32_t MTS_QUEUE_DEPTH_MAX = 4096; /* messages */

/* Flags of a message. */
constexpr uint16_t MTS_FLAG_REQUEST = 0x1;  /* the sender waits for an answer with the same token */
constexpr uint16_t MTS_FLAG_RESPONSE = 0x2; /* answer to the message with this token */
constexpr uint16_t MTS_FLAG_REJECT = 0x4;   /* with RESPONSE: nobody here serves that opcode */

/* Addresses of the supervisor's ends. */
constexpr uint32_t MTS_NODE_UFDM = 0xfe000000;
constexpr uint32_t MTS_NODE_SUPERVISOR = 0xfe000001; /* of VDC v: ((v - 1) & 255) << 16 | this */
constexpr uint32_t MTS_SAP_TABLE_NOTICE = 190;
constexpr uint32_t MTS_SAP_TABLE_QUESTION = 196;

struct mts_address {
    uint32_t node;
    uint32_t sap;
};

/* Addresses that a client wants to hear of: (node & node_mask) == (address.node & node_mask), the same for
 * SAPs. */
struct bus_subscription {
    uint32_t node;
    uint32_t node_mask;
    uint32_t sap;
    uint32_t sap_mask; /* 0 = any SAP */
};

struct mts_msg {
    uint32_t opcode;
    uint32_t version;
    mts_address source;
    mts_address destination;
    uint32_t source_vdc;
    uint32_t token;
    uint16_t flags;   /* MTS_FLAG_* */
    uint32_t queue;   /* handle of the queue that received it */
    uint32_t peer;    /* the connection it came by; 0 = none */
    uint8_t *payload; /* null iff payload_size is 0; may be written in place */
    uint32_t payload_size;
    bool held; /* kept by mts_hold(): whoever asked for that drops it */
};

/* How the bus of this process is reached. */
enum mts_transport_kind : uint8_t { MTS_TRANSPORT_SOCKET, MTS_TRANSPORT_LOCAL };
struct mts_config {
    mts_transport_kind transport = MTS_TRANSPORT_SOCKET;
    uint32_t slot =
        1; /* sockets lie in host_path("/var/run/lcfwd/slot<slot>"); also this end's node address */
    uint32_t question_timeout_ms = 2000; /* longest wait of mts_recv() */
};

/* Starts the bus; before the first mts_bind(). 0 or an errno: the run directory cannot be made or is not ours
 * (EPERM), another process serves this slot (EADDRINUSE). mts_error_text() says it in words. */
[[nodiscard]] int mts_start(const mts_config *config);
const char *mts_error_text(); /* what the last failing mts_start() or mts_bind() met; never null */

/* Closes all queues and connections, removes the sockets, forgets everything. */
void mts_reset();

/* Binds a queue to 'sap'; from now on messages wait in it. 'options' are {1, depth in messages, uuid}; 'name'
 * is for display. Returns the handle (above 0), or -1: EINVAL (null options, depth not in
 * 1..MTS_QUEUE_DEPTH_MAX), EADDRINUSE (SAP taken), ENOTCONN (not started), EMFILE (no queue left), or the
 * socket's own error. */
int64_t mts_bind(int kind, uint32_t sap, const uint32_t options[3], const char *name);

/* Keeps the option word of one opcode on a queue: it is shown by tools and changes nothing in this bus. 0 or
 * -1: EBADF (no such queue), ENOSPC (more than 512 opcodes). */
int mts_options_set(uint32_t queue, uint32_t opcode, uint32_t value);
[[nodiscard]] bool mts_options_get(uint32_t queue, uint32_t opcode, uint32_t *value);

uint32_t mts_opc_get(const mts_msg *message);
uint32_t mts_opc_version_get(const mts_msg *message);
bool mts_is_response(const mts_msg *message);
bool mts_is_reject(const mts_msg *message);
uint8_t *mts_payload_get(const mts_msg *message); /* null iff the size is 0 */
size_t mts_payload_size(const mts_msg *message);  /* bytes */
uint32_t mts_src_vdc_id_get(const mts_msg *message);

const char *mts_opc_name_get(uint32_t opcode); /* never null; "MTS_OPC_UNKNOWN" */
uint32_t mts_opc_sap_get(uint32_t opcode);     /* SAP that serves the opcode on a card; 0 = unknown */

/* How mts_send() sends; zero is the default of each. */
struct mts_opts {
    uint32_t respond;    /* 1: this is an answer; needs the 'request' (which makes it one anyway) */
    uint32_t copy;       /* 1: the bytes are copied before the call returns (they always are) */
    uint32_t want_reply; /* 1: a question; its token is then mts_rr_token_get() */
    uint32_t version;
    uint32_t vdc; /* source VDC; 0 with a request = the request's */
};

/* Sends 'size' bytes to a node and SAP, or, with 'request' given, as the answer to it (opcode 0 = the
 * request's). Never blocks: a connection that does not take its messages has a bounded queue, and what does
 * not fit is dropped and counted. 0 or -1: EBADF (queue), EMSGSIZE, EHOSTUNREACH (nobody listens there, or
 * the asker has gone), ENOBUFS (dropped). 'flags' is not used. */
int mts_send(uint32_t queue, uint32_t node, uint32_t sap, uint32_t opcode, const void *payload, size_t size,
             int flags, const mts_msg *request, const mts_opts *options);

/* Token of the last question sent from 'queue'; 0 = none yet. */
uint32_t mts_rr_token_get(uint32_t queue);

/* Waits for the answer with 'token' on 'queue'; other messages of the queue stay, in order. The answer is to
 * be given to mts_drop() before the next question. 0 or -1: EBADF, ETIMEDOUT, ENOBUFS (depth of the queue, or
 * 64 MiB, reached while waiting), EBUSY (last answer not dropped), EDEADLK (in-process transport and no
 * answer there). */
int mts_recv(uint32_t queue, uint32_t token, mts_msg **message);

/* Gives a received message back; its payload is no longer valid. Null is no fault. */
void mts_drop(mts_msg *message);

/* Keeps a received message, in place, after its handler has returned, so that it can be answered later; the
 * queue goes on with another buffer. Ends with mts_drop(). 0, ENOMEM, or ENOBUFS (MTS_HELD_MAX are held
 * already). */
constexpr uint32_t MTS_HELD_MAX = 64;
[[nodiscard]] int mts_hold(mts_msg *message);

/* For the engine. Looks for new messages, for at most 'timeout_ns' (negative = for ever, 0 = not at all);
 * returns early for mts_wake() and for signals. 0 or an errno (EDEADLK: in-process transport, waiting for
 * ever). */
int mts_wait(int64_t timeout_ns);
/* True when the queue holds a message; reads from the connections known to be ready, makes no wait. */
[[nodiscard]] bool mts_queue_ready(uint32_t queue);
/* The next message of the queue, in place in the queue's buffer until mts_drop(). 0 or -1: EBADF, EAGAIN
 * (none), EBUSY (the last one is not dropped yet). */
int mts_queue_receive(uint32_t queue, mts_msg **message);
/* Ends a running or the next mts_wait() at once. May be called from a signal handler. */
void mts_wake();

struct mts_queue_info {
    uint32_t sap;
    uint32_t depth;    /* messages */
    uint32_t waiting;  /* that the bus holds for it; more may lie in the transport */
    uint64_t received; /* since it was bound */
};
[[nodiscard]] bool mts_queue_info_get(uint32_t queue, mts_queue_info *out); /* false: no such queue */

struct mts_counters {
    uint64_t received;        /* good messages taken from a transport */
    uint64_t sent;            /* handed to a connection, at once or into its queue */
    uint64_t dropped;         /* did not fit into the queue of their connection */
    uint64_t undeliverable;   /* nobody listens at the address, or the connection has gone */
    uint64_t bad_frames;      /* short, long, wrong magic, version, kind or length */
    uint64_t foreign_senders; /* connections of other users, refused */
    uint64_t refused_peers;   /* connections beyond the bound, refused */
    uint64_t peers;           /* connections now */
};
const mts_counters *mts_counters_get();
