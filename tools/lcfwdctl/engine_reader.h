/* tools/lcfwdctl/engine_reader.h: attaching to the forwarding engine of a slot, with messages for what goes wrong. */
#pragma once

#include "tools/lcfwdctl/ctl.h"

#include "softfwd/softfwd_reader.h"

#include <string>

/* CTL_GOOD with a reader to be given back by softfwd_reader_detach(), or CTL_UNREACHABLE after saying why. */
[[nodiscard]] int ctl_engine_attach(uint32_t slot, bool counting, softfwd_reader **out);

/* Says that a call of the reader has failed and gives the exit code. */
[[nodiscard]] int ctl_engine_failure(uint32_t slot, int error);

/* An address of the engine's family number as text. */
[[nodiscard]] std::string ctl_engine_address(uint32_t family, const uint8_t *address);

/* Runs 'work' for each chosen slot and gives the worst exit code. */
using ctl_engine_work = int (*)(uint32_t slot, softfwd_reader *reader, void *context);
[[nodiscard]] int ctl_engine_for_each_slot(bool counting, ctl_engine_work work, void *context);
