/* tests/ufib/check_rig.h: the unicast domain over the software engine, for tests of what is read back from it:
 * statistics and consistency. */
#pragma once

#include "core/lcfwd_opcodes.h"
#include "softfwd/softfwd.h"
#include "softfwd/softfwd_check.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_fault.h"
#include "softfwd/softfwd_log.h"
#include "tests/ufib/route_rig.h"

struct check_test : route_base {
    check_test() {
        softfwd_config_reset();
        softfwd_config_get()->slot = 3;
        rig.options.library = softfwd_library();
    }
    ~check_test() override { softfwd_config_reset(); }

    /* Payloads of the answers to one message, in hex; the status is checked. */
    lines ask(uint32_t opcode, const bytes &payload, uint32_t version = 1, int status = 0) {
        rig.take();
        EXPECT_EQ(rig.dispatch(opcode, payload, {.version = version}), status);
        return answers(opcode);
    }
    lines answers(uint32_t opcode) {
        lines out;
        for (const rig_message &message : rig.take(opcode)) {
            EXPECT_TRUE(message.response);
            out.push_back(hex_from_bytes(message.payload));
        }
        return out;
    }
    static std::string address_hex(const std::string &address, size_t width = 16) {
        bytes out = address_bytes(address);
        out.resize(width);
        return hex_from_bytes(out);
    }
};
