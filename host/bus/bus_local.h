/* host/bus/bus_local.h: the in-process transport's other end, for tests: put messages into the queues that
 * the process has bound, and take what it sent. Steady traffic makes no allocation. One thread. */
#pragma once

#include "host/bus/bus.h"

#include <vector>

/* Puts a copy of 'message' (destination.sap names the queue) behind what waits there. 0, ENOENT (SAP not
 * bound), EMSGSIZE, or ENOBUFS when the queue's depth is reached (counted as dropped). */
[[nodiscard]] int mts_local_inject(const mts_msg *message);

/* Puts raw frame bytes, as a hostile client would send them. Errors as above. */
[[nodiscard]] int mts_local_inject_frame(uint32_t sap, const uint8_t *frame, size_t size);

/* Messages that the process has sent and nobody has taken yet. */
size_t mts_local_sent_count();

/* Takes the oldest one; its payload is copied to 'payload', to which message->payload then points. False when
 * none is there. */
[[nodiscard]] bool mts_local_take(mts_msg *message, std::vector<uint8_t> *payload);

/* Forgets what has been sent so far. */
void mts_local_sent_clear();

/* Called at each send, before the message is put with the sent ones (null = none): the place to answer a
 * question. Returning an errno makes the send fail with it. */
using mts_local_hook = int (*)(void *context, const mts_msg *message);
void mts_local_hook_set(mts_local_hook hook, void *context);
