/* tools/lcfwdctl/operator_session.h: one operator's command from the first request to the last piece of output. */
#pragma once

#include "tools/lcfwdctl/operator_request.h"
#include "tools/lcfwdctl/session.h"

/* Sends a command and prints what comes, following cookies to the end. CTL_GOOD; CTL_REFUSED or CTL_UNREACHABLE, said;
 * CTL_REFUSED also when a consistency check found disagreements. With --json exactly one object is printed, whatever happens. 'failure' (may be null) gets the reason instead of the error
 * output. */
[[nodiscard]] int operator_ask(ctl_session *session, const operator_row &row,
                               const std::vector<uint8_t> &attributes, std::string *failure = nullptr);

/* Whether the process serves the VDC of this call. */
[[nodiscard]] bool operator_vdc_is_active(ctl_session *session);

/* Does a whole command line for a verb: argv[0] is the verb. */
[[nodiscard]] int operator_run(int argc, char **argv);

/* The list of a verb's commands with what they take, for its help. */
[[nodiscard]] std::string operator_help(const char *verb);
