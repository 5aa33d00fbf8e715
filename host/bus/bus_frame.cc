#include "host/bus/bus_frame.h"

#include <cerrno>
#include <cstring>

/* Offsets in the header. */
constexpr size_t AT_MAGIC = 0, AT_VERSION = 4, AT_KIND = 5, AT_FLAGS = 6, AT_OPCODE = 8,
                 AT_OPCODE_VERSION = 12;
constexpr size_t AT_SOURCE_NODE = 16, AT_SOURCE_SAP = 20, AT_SOURCE_VDC = 24, AT_DESTINATION_NODE = 28;
constexpr size_t AT_DESTINATION_SAP = 32, AT_TOKEN = 36, AT_SIZE = 40, AT_RESERVED = 44;
static_assert(AT_RESERVED + 4 == BUS_FRAME_HEADER);

uint32_t bus_get_u32(const uint8_t *at) {
    return static_cast<uint32_t>(at[0]) << 24 | static_cast<uint32_t>(at[1]) << 16 |
           static_cast<uint32_t>(at[2]) << 8 | at[3];
}

void bus_put_u32(uint8_t *at, uint32_t value) {
    at[0] = static_cast<uint8_t>(value >> 24);
    at[1] = static_cast<uint8_t>(value >> 16);
    at[2] = static_cast<uint8_t>(value >> 8);
    at[3] = static_cast<uint8_t>(value);
}

void bus_frame_encode(const mts_msg *message, bus_frame_kind kind, uint8_t out[BUS_FRAME_HEADER]) {
    bus_put_u32(out + AT_MAGIC, BUS_FRAME_MAGIC);
    out[AT_VERSION] = BUS_FRAME_VERSION;
    out[AT_KIND] = kind;
    out[AT_FLAGS] = static_cast<uint8_t>(message->flags >> 8);
    out[AT_FLAGS + 1] = static_cast<uint8_t>(message->flags);
    bus_put_u32(out + AT_OPCODE, message->opcode);
    bus_put_u32(out + AT_OPCODE_VERSION, message->version);
    bus_put_u32(out + AT_SOURCE_NODE, message->source.node);
    bus_put_u32(out + AT_SOURCE_SAP, message->source.sap);
    bus_put_u32(out + AT_SOURCE_VDC, message->source_vdc);
    bus_put_u32(out + AT_DESTINATION_NODE, message->destination.node);
    bus_put_u32(out + AT_DESTINATION_SAP, message->destination.sap);
    bus_put_u32(out + AT_TOKEN, message->token);
    bus_put_u32(out + AT_SIZE, message->payload_size);
    bus_put_u32(out + AT_RESERVED, 0);
}

static bool frame_is_sound(const uint8_t *frame, size_t size) {
    return size >= BUS_FRAME_HEADER && size <= BUS_FRAME_MAX &&
           bus_get_u32(frame + AT_MAGIC) == BUS_FRAME_MAGIC && frame[AT_VERSION] == BUS_FRAME_VERSION &&
           frame[AT_KIND] <= BUS_FRAME_SUBSCRIBED && bus_get_u32(frame + AT_SIZE) == size - BUS_FRAME_HEADER;
}

int bus_frame_decode(uint8_t *frame, size_t size, mts_msg *message, bus_frame_kind *kind) {
    if (!frame_is_sound(frame, size)) return EBADMSG;
    *kind = static_cast<bus_frame_kind>(frame[AT_KIND]);
    *message = {};
    message->flags = static_cast<uint16_t>(frame[AT_FLAGS] << 8 | frame[AT_FLAGS + 1]);
    message->opcode = bus_get_u32(frame + AT_OPCODE);
    message->version = bus_get_u32(frame + AT_OPCODE_VERSION);
    message->source = {bus_get_u32(frame + AT_SOURCE_NODE), bus_get_u32(frame + AT_SOURCE_SAP)};
    message->source_vdc = bus_get_u32(frame + AT_SOURCE_VDC);
    message->destination = {bus_get_u32(frame + AT_DESTINATION_NODE),
                            bus_get_u32(frame + AT_DESTINATION_SAP)};
    message->token = bus_get_u32(frame + AT_TOKEN);
    message->payload_size = bus_get_u32(frame + AT_SIZE);
    message->payload = message->payload_size == 0 ? nullptr : frame + BUS_FRAME_HEADER;
    return 0;
}

void bus_subscription_encode(const bus_subscription *subscription, uint8_t out[BUS_FRAME_SUBSCRIPTION]) {
    bus_put_u32(out, subscription->node);
    bus_put_u32(out + 4, subscription->node_mask);
    bus_put_u32(out + 8, subscription->sap);
    bus_put_u32(out + 12, subscription->sap_mask);
}

bus_subscription bus_subscription_decode(const uint8_t in[BUS_FRAME_SUBSCRIPTION]) {
    return {bus_get_u32(in), bus_get_u32(in + 4), bus_get_u32(in + 8), bus_get_u32(in + 12)};
}

bool bus_subscription_matches(const bus_subscription *subscription, const mts_address *address) {
    return ((subscription->node ^ address->node) & subscription->node_mask) == 0 &&
           ((subscription->sap ^ address->sap) & subscription->sap_mask) == 0;
}
