/* host/command/command_state.h: the request in work. Inside host/command only. */
#pragma once

#include "host/command/command_wire.h"
#include "host/tlv/tlv.h"

inline constexpr uint32_t CMD_DEPTH_MAX = 16; /* lists, rows and objects within one another */

/* The answer's head and cookie are written right before the pieces when it is sent. */
inline constexpr uint32_t CMD_PIECES_AT = CMD_ANSWER_HEAD + CMD_COOKIE_MAX;
inline constexpr uint32_t CMD_PIECES_MAX = CMD_ANSWER_MAX - CMD_PIECES_AT;

struct cmd_handle {
    const mts_msg *message;
    uint16_t vdc_id;
    uint8_t action;
    bool number_taken;
    uint32_t command;
    const uint8_t *cookie;
    uint32_t cookie_length;
    const uint8_t *attributes;
    uint32_t attributes_size;
    const tlv *attribute; /* the one given out last */
    bool answered;
    uint32_t depth;
    cmd_piece_kind ends[CMD_DEPTH_MAX]; /* which end each open list, row or object wants */
    uint32_t used;                      /* bytes of pieces */
    uint8_t out[CMD_ANSWER_MAX];
};
/* What a new request clears: all but the buffer, which is written before it is read. */
inline constexpr size_t CMD_HANDLE_STATE_BYTES = offsetof(cmd_handle, out);

/* Sends what is collected. A terminal answer closes what is open and is sent once. 0 or -1. */
int cmd_send(cmd_handle *handle, cmd_answer_kind kind, uint16_t code, const void *cookie,
             uint32_t cookie_length);

/* Writes the ends that are missing. */
void cmd_close_open(cmd_handle *handle);

extern cmd_counters cmd_counts;
