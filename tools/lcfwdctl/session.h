/* tools/lcfwdctl/session.h: a connection to the process of one slot, with messages for whatever goes wrong: every call
 * that fails has told the user why, and gives the exit code. */
#pragma once

#include "tools/lcfwdctl/ctl.h"
#include "tools/lcfwdctl/wire_control.h"

#include "host/bus/bus_client.h"

#include <span>
#include <vector>

struct ctl_session {
    uint32_t slot = 0;
    bus_client *client = nullptr;
    bool subscribed = false;
    bool has_report = false; /* 'report' is the last one of our context */
    ctl_report report = {};
};

/* Connects to the process; waits for one that is just starting. CTL_GOOD or CTL_UNREACHABLE. */
[[nodiscard]] int ctl_session_open(uint32_t slot, ctl_session *session);
void ctl_session_close(ctl_session *session);

/* Sends one message to the SAP that serves its opcode; an answer is neither awaited nor in the way. */
[[nodiscard]] int ctl_tell(ctl_session *session, uint32_t opcode, std::span<const uint8_t> payload);

/* Waits until the process has worked all that was told before on the routes' queue, and finds out whether the
 * context is there: CTL_GOOD; CTL_REFUSED: it is not active, or being upgraded ('silent': without a message). */
[[nodiscard]] int ctl_settle(ctl_session *session, bool silent = false);

/* Asks for reports and table notices to be sent here. */
[[nodiscard]] int ctl_subscribe(ctl_session *session);

/* Waits for the next report of our context and keeps it in the session; 'wait_ms' is the longest wait, and a time
 * that passes without one is CTL_REFUSED without a message. */
[[nodiscard]] int ctl_await_report(ctl_session *session, int wait_ms);

/* Runs 'work' for each chosen slot and gives the worst exit code. */
using ctl_session_work = int (*)(ctl_session *session, void *context);
[[nodiscard]] int ctl_for_each_slot(ctl_session_work work, void *context);

/* Says that the bus has failed in 'what' and gives the exit code for it. */
[[nodiscard]] int ctl_bus_failure(uint32_t slot, const char *what, int error);
