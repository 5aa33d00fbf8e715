/* diag/show_value.h: the one number that a command may carry: CMD_ATTR_VALUE. */
#pragma once

#include <cstdint>

struct cmd_handle;

struct show_value {
    bool given;
    uint32_t value;
};

/* False: the command is answered already, 6 "bad attribute". Other attributes are skipped. */
[[nodiscard]] bool show_get_value(cmd_handle *handle, show_value *out);
