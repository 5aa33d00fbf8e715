/* Messages that read the model and change none of it: consistency checks of both formats, polls of statistics, and the
 * entries of neighbours that are compared; over routes that come and go between them. */
#include "tests/fuzz/fuzz_process.h"

constexpr uint32_t OPC_CHECK_V4 = 1119;
constexpr uint32_t OPC_CHECK_V6 = 1123;
constexpr uint32_t OPC_STATISTICS = 74753;

static const std::vector<fuzz_opcode> opcodes = {{OPC_CHECK_V4, 1}, {OPC_CHECK_V6, 1},   {OPC_CHECK_V4, 0},
                                                 {OPC_CHECK_V6, 0}, {OPC_STATISTICS, 3}, {OPC_AM_NOTICE, 1},
                                                 {OPC_V4_ROUTES, 1}};

static void checks_run(const uint8_t *data, size_t size) { fuzz_messages_run(opcodes, data, size); }

/* A batch as the last of a check: its flags lie at another place in each format. */
static bytes ending(bytes batch, bool version0) {
    batch[version0 ? 14 : 10] |= 2;
    return batch;
}

static std::vector<bytes> checks_seeds() {
    bytes routes, older, notices;
    for (const bool v6 : {false, true}) {
        fuzz_put_message(&routes, v6 ? 1 : 0, ending(fuzz_routes(v6, false, false), false));
        fuzz_put_message(&older, v6 ? 3 : 2, ending(fuzz_routes(v6, true, false), true));
    }
    fuzz_put_message(&routes, 6, fuzz_routes(false, false, true));
    fuzz_put_message(&routes, 0, ending(fuzz_routes(false, false, false), false));
    for (const char *poll : {"0102030401000507", "0102030403011e1f1a000001c0000201000000000000000000000000",
                             "0102030401021e1f1a000001fe800000000000000000000000000001"})
        fuzz_put_message(&notices, 4, bytes_from_hex(poll));
    fuzz_put_message(&notices, 5,
                     wire_am_notice({{"192.0.2.1", 0x1a000001, "020000000001", 8},
                                     {"fe80::1", 0x1a000001, "020000000001", 12}},
                                    0x11));
    return {routes, older, notices};
}
const fuzz_target fuzz_checks = {"checks", checks_run, checks_seeds};
