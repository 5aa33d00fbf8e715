/* core/lcfwd_mts.h: the seven message queues of the process and the checks that each message handler
 * begins with. A handler takes (event, out) and returns a status: 0 success, 15 wrong message for it, 16
 * bad payload or context, 21 declined. It answers a request itself; nobody answers for it. One thread; a
 * handler runs to its end. */
#pragma once

#include "host/bus/bus.h"
#include "host/engine/engine.h"

#include <cstdint>

struct lcfwd_vdc_desc;

constexpr int LCFWD_OK = 0;
constexpr int LCFWD_WRONG_MESSAGE = 15;
constexpr int LCFWD_BAD_MESSAGE = 16;
constexpr int LCFWD_DECLINED = 21;

constexpr uint32_t LCFWD_UUID = 378;     /* of the service, wherever the system asks for one */
constexpr uint32_t LCFWD_LIB_UUID = 652; /* as a library beside a host process */

/* Rows of lcfwd_mts_q_array; row 0 is never used. */
enum lcfwd_queue_index : uint32_t {
    LCFWD_Q_SYS = 1,
    LCFWD_Q_SP,
    LCFWD_Q_UCAST,
    LCFWD_Q_MCAST,
    LCFWD_Q_PD,
    LCFWD_Q_LP,
    LCFWD_Q_CMI,
    LCFWD_Q_TIMER, /* in the selector only: no messages come from it */
};
constexpr uint32_t LCFWD_Q_ROWS = 8;

struct lcfwd_mts_queue {
    uint32_t handle; /* as the bus gave it */
    uint32_t sap;
    int32_t weight; /* turns in a round of the selector; -1: when no other queue is ready */
    const char *name;
};
extern lcfwd_mts_queue lcfwd_mts_q_array[LCFWD_Q_ROWS];

/* The handles again, by name. */
extern uint32_t fib_q_mts_sys;
extern uint32_t fib_q_mts_sp;
extern uint32_t fib_q_mts_ucast;
extern uint32_t fib_q_mts_mcast;
extern uint32_t fib_q_mts_pd;
extern uint32_t fib_q_mts_lp;
extern uint32_t fib_q_mts_cmi;

/* Binds the queues, makes the list of opcodes, sets the options of each opcode. 0; 67 when the list has no
 * memory; a failing bind or option ends the process with 64 or 65 (and gives that code when the exit
 * function returns). */
[[nodiscard]] int lcfwd_mts_queue_initialize();

void lcfwd_mts_q_array_init(); /* fills rows 1 to 7 from the handles */

/* The entry check. '*status' becomes 0 when the event carries a message of 'opcode', else 15; '*out' is
 * cleared. A null 'status' is left alone: the caller has nothing to learn. */
void lcfwd_mts_handler_init(fu_event *event, fu_event_node **out, int *status, uint32_t opcode);

/* The message of an event, also of a wrapped one; null when the event carries none. Borrowed. */
[[nodiscard]] mts_msg *lcfwd_event_message(fu_event *event);

/* The payload when at least 'min_size' bytes came; null for less, as for none at all. Borrowed; writable. */
[[nodiscard]] uint8_t *lcfwd_mts_payload(const mts_msg *message, size_t min_size);

/* The context check: the sender's VDC must be 1 to 5; it becomes ufib_cur_vdc_id. The row, active or not;
 * null for another id (then nothing has changed). Logging, and the active bit, are the caller's. */
[[nodiscard]] lcfwd_vdc_desc *lcfwd_mts_vdc(const mts_msg *message);

/* Tells the system manager that the process is alive; nothing in library mode. Long loops call it at a fixed
 * count, since nothing else runs while they do. 'unused' keeps the call's form. */
void lcfwd_update_and_send_heartbeat(int unused);

void lcfwd_mts_reset(); /* process teardown in tests */
