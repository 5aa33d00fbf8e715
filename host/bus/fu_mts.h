/* host/bus/fu_mts.h: the engine's forms of the bus calls, which handlers use. One thread; no call blocks. */
#pragma once

#include "host/bus/bus.h"

/* A message to be sent. The bytes stay the caller's; they are copied. */
struct mts_msg_desc {
    uint32_t queue; /* the queue it is sent from */
    mts_address destination;
    uint32_t opcode;
    uint32_t version;
    uint32_t source_vdc;
    const void *payload;
    size_t payload_size;
};

/* Receives the next message of a queue, in place. The options (1, 0) are not used. 0 or -1 with errno. */
int fu_mts_recv(uint32_t queue, mts_msg **message, int option1, int option2);

/* Sends; errors as mts_send(). Option bit 0: no answer is wanted (clear: the message is a question). */
constexpr uint32_t FU_MTS_SEND_NO_REPLY = 1;
int fu_mts_send(const mts_msg_desc *message, uint32_t options);

/* Answers 'request' with its own opcode, by its connection and with its token. 0 or -1 with errno. */
int fu_mts_send_response(uint32_t queue, const void *payload, size_t size, const mts_msg *request,
                         uint32_t options);

/* Answers 'request' with an empty response that carries the reject mark, so that its sender stops waiting.
 * A response is never rejected (0, nothing sent). */
int fu_mts_respond_reject(uint32_t queue, int unused1, int unused2, const mts_msg *request, int unused3,
                          int unused4);

void fu_mts_drop(mts_msg *message);
