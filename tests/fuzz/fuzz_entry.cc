/* One target under libFuzzer; the build says which. */
#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const fuzz_target *const target = fuzz_find(FUZZ_TARGET);
    target->run(data, size);
    return 0;
}
