/* host/bus/bus_client.h: the supervisor's end of the bus, for tools and tests. A client belongs to one slot
 * and connects to the SAPs of that slot's process as it needs them. Several clients, of one slot or of many,
 * live side by side; bus_client_fd() lets one thread wait for all of them. Numbers are in host order;
 * payloads are bytes as they go over the wire. Calls return 0 or an errno. Times are milliseconds; 0 does not
 * wait, -1 waits for ever. One thread for each client. */
#pragma once

#include "host/bus/bus.h"

struct bus_client; /* opaque */

struct bus_client_config {
    uint32_t slot = 1;
    mts_address address = {MTS_NODE_UFDM, 0}; /* the source of what this client sends */
};

/* Makes a client; connects to nothing yet. ENOMEM, EMFILE. */
[[nodiscard]] int bus_client_open(const bus_client_config *config, bus_client **out);
void bus_client_close(bus_client *client); /* null is no fault */

/* Connects to one SAP, trying again until the process has bound it or the time is over. Sending connects by
 * itself; this call waits for a process that is just starting. ENOENT or ECONNREFUSED: nobody serves that
 * SAP. EPERM: the socket belongs to another user. */
[[nodiscard]] int bus_client_connect(bus_client *client, uint32_t sap, int timeout_ms);

/* Asks for the messages that the process sends to addresses with (node & node_mask) == (wanted node &
 * node_mask), the same for the SAP, and waits until the process has said yes. Asked once, it holds for the
 * life of the connection to 'via_sap', by which the messages come. ETIMEDOUT, or the errors of connecting. */
[[nodiscard]] int bus_client_subscribe(bus_client *client, uint32_t via_sap,
                                       const bus_subscription *subscription, int timeout_ms);

/* Subscribes to all that goes to the supervisor: reports of every VDC, table notices, questions. */
[[nodiscard]] int bus_client_subscribe_supervisor(bus_client *client, int timeout_ms);

/* A message to be sent to one SAP of the process. */
struct bus_client_message {
    uint32_t sap;
    uint32_t opcode;
    uint32_t version;
    uint32_t vdc;
    const void *payload;
    size_t payload_size;
};

/* Sends a request and gives it a token of its own (never 0), which its answer carries. Waits when the
 * connection is full. EAGAIN (full, time over), EMSGSIZE, ECONNRESET (the process has gone), or the errors of
 * connecting. */
[[nodiscard]] int bus_client_request(bus_client *client, const bus_client_message *message, int timeout_ms,
                                     uint32_t *token);

/* Answers a question that bus_client_receive() gave. */
[[nodiscard]] int bus_client_respond(bus_client *client, const mts_msg *question, const void *payload,
                                     size_t size, int timeout_ms);

/* The next message from any connection of this client: an answer (MTS_FLAG_RESPONSE, by token), or a message
 * it has subscribed to. It lies in the client's buffer until the next call. message->peer is the SAP of the
 * connection. EAGAIN: nothing came in time. ECONNRESET: the process ended the connection to message->peer. */
[[nodiscard]] int bus_client_receive(bus_client *client, mts_msg *message, int timeout_ms);

/* Receives until the answer with 'token' comes; all other messages that come meanwhile are given to 'other'
 * (may be null: they are lost). */
using bus_client_other = void (*)(void *context, const mts_msg *message);
[[nodiscard]] int bus_client_answer(bus_client *client, uint32_t token, int timeout_ms,
                                    bus_client_other other, void *context, mts_msg *message);

/* Readable (for poll, epoll) when bus_client_receive() would give something. */
int bus_client_fd(const bus_client *client);
