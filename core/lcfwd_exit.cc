#include "core/lcfwd_exit.h"

#include "core/lcfwd_log_file.h"

#include <cstdio>
#include <cstdlib>

static lcfwd_exit_function exit_function;
static int exit_code;

static const char *code_name(int code) {
    switch (code) {
    case LCFWD_EXIT_BIND: return "message bus";
    case LCFWD_EXIT_OPTIONS: return "message options";
    case LCFWD_EXIT_SELECTOR: return "selector";
    case LCFWD_EXIT_SERVICE: return "framework or services";
    case LCFWD_EXIT_DEBUG: return "debug service";
    case LCFWD_EXIT_SYSLOG: return "syslog service";
    case LCFWD_EXIT_TIMER: return "timers";
    case LCFWD_EXIT_CONDITION_QUEUE: return "condition queue";
    case LCFWD_EXIT_DEFAULTS: return "framework defaults";
    case LCFWD_EXIT_DATA: return "process data";
    case LCFWD_EXIT_HOLDER_LOCKS: return "holder locks";
    default: return "unknown";
    }
}

static void code_tell(int code) {
    std::fprintf(stderr, "lcfwd: the start failed with exit code %d (%s)", code, code_name(code));
    if (lcfwd_log_fp != nullptr) std::fprintf(stderr, "; the log %s may tell more", lcfwd_log_file_path());
    std::fputs("\n", stderr);
}

int lcfwd_exit(int code) {
    if (exit_code != 0) return exit_code;
    exit_code = code;
    if (exit_function == nullptr) {
        code_tell(code);
        std::exit(code);
    }
    exit_function(code);
    return code;
}

void lcfwd_exit_function_set(lcfwd_exit_function function) { exit_function = function; }

void lcfwd_exit_reset() { exit_code = 0; }
