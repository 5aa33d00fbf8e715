/* core/lcfwd_pump.h: how a message reaches its handler: the three functions that the event engine calls in
 * turn. One thread; nothing here ends the process. */
#pragma once

#include "host/bus/bus.h"
#include "host/engine/engine.h"

#include <cstdint>

/* Waits for the next message, running due timers first. 0 with the event filled, 15 or 16 when there is
 * none to give, or the selector's error word. */
[[nodiscard]] int lcfwd_dequeue(fu_event *event);

/* Receives one message of a ready source into 'event'. 0; 15 for a null argument; 16 when the source is
 * none of the seven queues or the receive failed. */
[[nodiscard]] int lcfwd_get_data_from_queue(const fu_src *source, fu_event *event);

/* Finds the handler of an event and runs it. Follow-up events come back in '*out'. */
[[nodiscard]] int lcfwd_demux(fu_event *event, fu_event_node **out);

[[nodiscard]] int lcfwd_mts_msg_handler(fu_event *event, fu_event_node **out);
[[nodiscard]] int lcfwd_stdby_mts_msg_handler(fu_event *event, fu_event_node **out);
[[nodiscard]] int lcfwd_mts_response_handler(fu_event *event); /* 0 when ignored, 16 when not expected */

/* Frees the follow-up events of a demux. */
void lcfwd_free_demux_list(fu_event_node *list);
void lcfwd_free_event_info(const fu_event *event); /* what an event holds beside its message */
