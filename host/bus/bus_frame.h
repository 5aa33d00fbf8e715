/* host/bus/bus_frame.h: the bytes of one message on a socket: a header of 48 bytes, then the payload. One
 * frame is one packet. Every number of the header is big-endian; docs/bus.md is the description for
 * others. */
#pragma once

#include "host/bus/bus.h"

constexpr uint32_t BUS_FRAME_MAGIC = 0x4c434642; /* "LCFB" */
constexpr uint8_t BUS_FRAME_VERSION = 1;
constexpr size_t BUS_FRAME_HEADER = 48;
constexpr size_t BUS_FRAME_MAX = BUS_FRAME_HEADER + MTS_PAYLOAD_MAX;

enum bus_frame_kind : uint8_t {
    BUS_FRAME_MESSAGE = 0,
    BUS_FRAME_SUBSCRIBE = 1,  /* payload: a bus_frame_subscription */
    BUS_FRAME_SUBSCRIBED = 2, /* the answer to it: the same payload */
};

constexpr size_t BUS_FRAME_SUBSCRIPTION = 16; /* node, node mask, SAP, SAP mask: four u32 */

void bus_subscription_encode(const bus_subscription *subscription, uint8_t out[BUS_FRAME_SUBSCRIPTION]);
bus_subscription bus_subscription_decode(const uint8_t in[BUS_FRAME_SUBSCRIPTION]);
[[nodiscard]] bool bus_subscription_matches(const bus_subscription *subscription, const mts_address *address);

/* Writes the header of 'message' (payload_size is its length field) to 'out'. */
void bus_frame_encode(const mts_msg *message, bus_frame_kind kind, uint8_t out[BUS_FRAME_HEADER]);

/* Reads a frame of 'size' bytes: fills 'message' (its payload points into 'frame') and 'kind'. EBADMSG:
 * shorter than the header, wrong magic, version or kind, or a length field that does not agree with 'size';
 * the message is then unchanged. Does not set queue and peer. */
[[nodiscard]] int bus_frame_decode(uint8_t *frame, size_t size, mts_msg *message, bus_frame_kind *kind);

uint32_t bus_get_u32(const uint8_t *at);
void bus_put_u32(uint8_t *at, uint32_t value);
