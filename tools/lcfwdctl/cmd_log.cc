#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/options.h"

#include "host/system/root.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

static const char log_path[] = "/var/sysmgr/tmp_logs/lcfwd_log.txt";
static constexpr useconds_t FOLLOW_US = 200000;

/* Puts the file at the start of its last 'lines' lines. */
static void seek_tail(FILE *file, uint32_t lines) {
    char buffer[4096];
    fseek(file, 0, SEEK_END);
    long at = ftell(file);
    uint32_t found = 0;
    for (bool last = true; at > 0;) {
        const long step = at < static_cast<long>(sizeof buffer) ? at : static_cast<long>(sizeof buffer);
        fseek(file, at - step, SEEK_SET);
        const size_t got = fread(buffer, 1, static_cast<size_t>(step), file);
        for (size_t i = got; i-- > 0; last = false) {
            /* The end of the last line begins no further one. */
            if (buffer[i] != '\n' || last || ++found < lines) continue;
            fseek(file, at - step + static_cast<long>(i) + 1, SEEK_SET);
            return;
        }
        at -= step;
    }
    rewind(file);
}

static void copy_rest(FILE *file) {
    char buffer[4096];
    for (size_t got = 0; (got = fread(buffer, 1, sizeof buffer, file)) > 0;) fwrite(buffer, 1, got, stdout);
    clearerr(file);
    fflush(stdout);
}

/* True when the name leads to another file by now, as after a rotation. */
static bool was_rotated(FILE *file, const char *path) {
    struct stat open_file {
    }, named{};
    return fstat(fileno(file), &open_file) == 0 && stat(path, &named) == 0 &&
           open_file.st_ino != named.st_ino;
}

static int show(uint32_t slot, uint32_t lines, bool follow) {
    char path[4096];
    ctl_use_root(slot);
    FILE *file = host_path(log_path, path, sizeof path) == 0 ? fopen(path, "r") : nullptr;
    if (file == nullptr) {
        ctl_error("slot %u: no log %s%s: %s", slot, ctl_root_text(slot).c_str(), log_path, strerror(errno));
        return CTL_UNREACHABLE;
    }
    if (lines != 0) seek_tail(file, lines);
    copy_rest(file);
    while (follow) {
        usleep(FOLLOW_US);
        copy_rest(file);
        FILE *next = was_rotated(file, path) ? fopen(path, "r") : nullptr;
        if (next == nullptr) continue;
        fclose(file);
        file = next;
    }
    fclose(file);
    return CTL_GOOD;
}

static int run(int argc, char **argv) {
    uint32_t lines = 0;
    bool follow = false;
    const ctl_option rows[] = {ctl_number("--lines", &lines, 1, UINT32_MAX), ctl_flag("--follow", &follow)};
    std::vector<const char *> words;
    if (const int status = ctl_options_parse(rows, argc, argv, &words); status != CTL_GOOD) return status;
    if (!words.empty() || (follow && ctl.slots.size() != 1)) {
        ctl_error("usage: lcfwdctl log [--lines N] [--follow], one slot at a time to follow");
        return CTL_USAGE;
    }
    int worst = CTL_GOOD;
    for (uint32_t slot : ctl.slots) worst = ctl_worse(worst, show(slot, lines, follow));
    return worst;
}

const ctl_command ctl_command_log = {"log", "[--lines N] [--follow]", "read the text log",
                                     "Prints the text log of the process.\n\n"
                                     "  --lines N        the last N lines\n"
                                     "  --follow         go on with what comes, over rotations too\n\n"
                                     "Examples:\n"
                                     "  lcfwdctl log --lines 30\n"
                                     "  lcfwdctl log --follow --root /tmp/lcfwd\n",
                                     run};
