/* tools/lcfwdctl/ask.h: questions to the process that are answered, by one message or by several. */
#pragma once

#include "tools/lcfwdctl/session.h"

/* Sends a question; '*token' names its answers. CTL_GOOD, or an exit code after saying why. */
[[nodiscard]] int ctl_ask(ctl_session *session, uint32_t opcode, std::span<const uint8_t> payload,
                          const char *what, uint32_t *token, uint32_t version = 0);

/* The next answer, of at least 'least' bytes. CTL_REFUSED, said: rejected, too short, or none in time, as from a
 * context that does not exist or is being upgraded. */
[[nodiscard]] int ctl_ask_answer(ctl_session *session, uint32_t token, const char *what, size_t least,
                                 std::vector<uint8_t> *answer);
