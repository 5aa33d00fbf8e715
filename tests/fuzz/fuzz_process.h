/* tests/fuzz/fuzz_process.h: the process that the inputs go to: the whole of it over the software engine, with one VDC
 * that holds a few routes and neighbours of both families. */
#pragma once

#include "tests/fuzz/fuzz.h"
#include "tests/support/lcfwd_rig.h"

/* A rig with the engine, not started. */
[[nodiscard]] rig_options fuzz_rig_options();

/* Starts, makes VDC 1 and loads. */
void fuzz_process_make(lcfwd_rig *rig);

/* Aborts unless the model and, as asked for, engine and store agree; then again when all timers have run. */
void fuzz_process_check(lcfwd_rig &rig, bool engine, bool records);

/* A whole input: messages, each with the index of its opcode, its version, VDC and payload. */
struct fuzz_opcode {
    uint32_t opcode;
    uint32_t version; /* of the message, unless the input says otherwise */
};
void fuzz_messages_run(const std::vector<fuzz_opcode> &opcodes, const uint8_t *data, size_t size);
void fuzz_put_message(bytes *out, uint8_t opcode_index, const bytes &payload, uint8_t how = 0);

/* Good payloads. */
[[nodiscard]] bytes fuzz_routes(bool v6, bool version0, bool remove);
[[nodiscard]] bytes fuzz_neighbour_notice(bool resolved);
