/* tests/fuzz/fuzz.h: targets for damaged input. Each takes any bytes as one input, gives them to a whole process inside
 * the program, and ends the program (abort) when the process leaves its objects inconsistent; the sanitizers see the
 * rest. One target runs under libFuzzer in each lcfwd_fuzz_<name> (preset "fuzz"); lcfwd_fuzz_replay runs any of them
 * over its seeds, over damaged forms of these, and over stored inputs, with any compiler. */
#pragma once

#include "tests/support/wire_build.h"

#include <cstddef>
#include <cstdint>
#include <vector>

struct fuzz_target {
    const char *name;
    void (*run)(const uint8_t *data, size_t size);
    std::vector<bytes> (*seeds)(); /* good inputs, from which the damaged ones come */
};

/* Null: no such target. */
[[nodiscard]] const fuzz_target *fuzz_find(const char *name);
[[nodiscard]] const std::vector<const fuzz_target *> &fuzz_targets();

extern const fuzz_target fuzz_routes_v1;  /* route batches of both families, with neighbour notices between */
extern const fuzz_target fuzz_routes_v0;  /* the same in the older format */
extern const fuzz_target fuzz_neighbours; /* neighbour notices, over some routes */
extern const fuzz_target fuzz_control;    /* every opcode that the process knows */
extern const fuzz_target fuzz_commands;   /* operators' requests */
extern const fuzz_target fuzz_checks;     /* consistency checks and polls of statistics */
extern const fuzz_target fuzz_frames;     /* frames of the bus */
extern const fuzz_target fuzz_tlv;        /* arrays of type, length, value */
extern const fuzz_target fuzz_codec;      /* message structures, by their tables */
extern const fuzz_target fuzz_store_file; /* damaged files of the store, at a restart */
extern const fuzz_target fuzz_store_record; /* records of any kind with any bytes, at a restart */

/* Reads an input piece by piece; beyond its end come zeros and empty pieces. */
struct fuzz_input {
    const uint8_t *data;
    size_t left;

    uint8_t u8();
    uint16_t u16();
    bytes piece(); /* a length of two bytes, then as many bytes as there are */
};
void fuzz_put_piece(bytes *out, const bytes &piece);

/* Says what is wrong and aborts. */
[[noreturn]] void fuzz_fail(const char *text);
