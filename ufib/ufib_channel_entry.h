/* ufib/ufib_channel_entry.h: the checks that every handler of a control message begins with. One thread. */
#pragma once

#include "core/lcfwd_mts.h"
#include "core/lcfwd_vdc.h"
#include "core/wire.h"

#include <cstdint>

struct ufib_control {
    const mts_msg *message;
    lcfwd_vdc_desc *vdc; /* active, with its model; unless the check asked for less */
    wire_cursor body;    /* at least as long as the check asked for */
};

/* True: the handler goes on. False: it returns '*status': 15 for another opcode, 16 for a short payload or a bad VDC,
 * 0 for a VDC that is not active or is being upgraded. */
[[nodiscard]] bool ufib_control_begin(fu_event *event, fu_event_node **out, uint32_t opcode,
                                      const char *handler, size_t min_size, ufib_control *control,
                                      int *status);

/* The same, but in every state of the VDC. */
[[nodiscard]] bool ufib_control_begin_any_state(fu_event *event, fu_event_node **out, uint32_t opcode,
                                                const char *handler, size_t min_size, ufib_control *control,
                                                int *status);
