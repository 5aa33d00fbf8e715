#include "tests/fuzz/fuzz.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

const std::vector<const fuzz_target *> &fuzz_targets() {
    static const std::vector<const fuzz_target *> targets = {
        &fuzz_routes_v1, &fuzz_routes_v0, &fuzz_neighbours, &fuzz_control,    &fuzz_commands,    &fuzz_checks,
        &fuzz_frames,    &fuzz_tlv,       &fuzz_codec,      &fuzz_store_file, &fuzz_store_record};
    return targets;
}

const fuzz_target *fuzz_find(const char *name) {
    for (const fuzz_target *target : fuzz_targets())
        if (std::strcmp(target->name, name) == 0) return target;
    return nullptr;
}

uint8_t fuzz_input::u8() {
    if (left == 0) return 0;
    left--;
    return *data++;
}

uint16_t fuzz_input::u16() {
    const unsigned high = u8();
    return static_cast<uint16_t>(high << 8 | u8());
}

bytes fuzz_input::piece() {
    const size_t size = std::min<size_t>(u16(), left);
    const bytes out(data, data + size);
    data += size;
    left -= size;
    return out;
}

void fuzz_put_piece(bytes *out, const bytes &piece) {
    put16(out, static_cast<unsigned>(piece.size()));
    put_bytes(out, piece);
}

void fuzz_fail(const char *text) {
    std::fprintf(stderr, "fuzz: %s\n", text);
    std::abort();
}
