#include "core/lcfwd_exit.h"

#include <cstdlib>

static lcfwd_exit_function exit_function;
static int exit_code;

int lcfwd_exit(int code) {
    if (exit_code != 0) return exit_code;
    exit_code = code;
    if (exit_function == nullptr) std::exit(code);
    exit_function(code);
    return code;
}

void lcfwd_exit_function_set(lcfwd_exit_function function) { exit_function = function; }

void lcfwd_exit_reset() { exit_code = 0; }
