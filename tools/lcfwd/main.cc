/* lcfwd: the forwarding-table process. This file chooses what it is made of (domains, platform library) from the
 * command line; everything else is lcfwd_main(). */
#include "core/lcfwd_domain.h"
#include "core/lcfwd_export.h"
#include "core/lcfwd_main.h"
#include "diag/show_table.h"
#include "host/engine/engine.h"
#include "platform/platform_library.h"
#include "softfwd/softfwd.h"
#include "softfwd/softfwd_config.h"
#include "ufib/ufib_vdc.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <getopt.h>

constexpr int EXIT_USAGE = 2;
constexpr unsigned long SLOT_MAX = 64;

static void usage(FILE *to) {
    std::fputs(
        "usage: lcfwd [options]\n"
        "The forwarding-table process of one forwarding engine. Runs in the foreground until SIGTERM.\n"
        "\n"
        "  --slot N            instance number, 1 to 64 (default 1)\n"
        "  --root DIR          take all absolute paths of the system below DIR (default /)\n"
        "  --platform WHAT     softfwd (default), none, or the path of a platform library\n"
        "  --interfaces FILE   names, types and MACs of interfaces (default: a numbering rule)\n"
        "  --cold              forget what survived of an earlier run, in store and forwarding tables\n"
        "  --help              this text\n"
        "\n"
        "Several instances run side by side, one a slot, each on a root directory of its own: store and log\n"
        "belong to one instance, and a second one on the same root is refused (69; the same slot: 64).\n"
        "\n"
        "  lcfwd --root /tmp/sw1                  a switch of one card below /tmp/sw1\n"
        "  lcfwd --root /tmp/sw1 --platform none  the same without forwarding tables\n"
        "  lcfwd --slot 2 --root /tmp/sw2         a second card\n"
        "\n"
        "Exit codes: 0 stopped, 2 usage, 64 bus, 65 message options, 66 selector, 69 services, 70 debug,\n"
        "71 syslog, 73 timers, 74 condition queue, 76 framework, 85 process data, 87 holder locks.\n",
        to);
}

struct arguments {
    lcfwd_options options;
    const char *platform;
};

/* 0; or -1 when the command line is wrong; or 1 when the help was asked for. */
static int arguments_parse(int argc, char **argv, arguments *out) {
    static const option known[] = {
        {"slot", required_argument, nullptr, 's'},
        {"root", required_argument, nullptr, 'r'},
        {"platform", required_argument, nullptr, 'p'},
        {"cold", no_argument, nullptr, 'c'},
        {"interfaces", required_argument, nullptr, 'i'},
        {"help", no_argument, nullptr, 'h'},
        {nullptr, 0, nullptr, 0},
    };
    *out = {.options = {}, .platform = "softfwd"};
    out->options.slot = 1;
    for (int c; (c = getopt_long(argc, argv, "", known, nullptr)) != -1;) {
        char *end = nullptr;
        unsigned long slot;
        switch (c) {
        case 's':
            slot = std::strtoul(optarg, &end, 10);
            if (*optarg == '\0' || *end != '\0' || slot == 0 || slot > SLOT_MAX) return -1;
            out->options.slot = static_cast<uint32_t>(slot);
            break;
        case 'r': out->options.root = optarg; break;
        case 'p': out->platform = optarg; break;
        case 'i': out->options.interfaces_file = optarg; break;
        case 'c': out->options.start_mode = LCFWD_START_COLD; break;
        case 'h': return 1;
        default: return -1;
        }
    }
    return optind == argc ? 0 : -1;
}

/* 0, or -1 after saying why. */
static int platform_choose(const arguments &args) {
    if (std::strcmp(args.platform, "none") == 0) return 0;
    if (std::strcmp(args.platform, "softfwd") == 0) {
        softfwd_config_get()->slot = static_cast<int>(args.options.slot);
        platform_library_use(softfwd_library());
        return 0;
    }
    char error[256];
    if (platform_library_load(args.platform, error, sizeof error) == 0) return 0;
    std::fprintf(stderr, "lcfwd: cannot load the platform library: %s\n", error);
    return -1;
}

static void stop(int signal) {
    lcfwd_sigterm_signal_handler(signal);
    fu_fsm_stop();
}

static void signals_install() {
    struct sigaction action = {};
    action.sa_handler = stop;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

int main(int argc, char **argv) {
    arguments args;
    const int parsed = arguments_parse(argc, argv, &args);
    if (parsed != 0) {
        usage(parsed > 0 ? stdout : stderr);
        return parsed > 0 ? 0 : EXIT_USAGE;
    }
    if (platform_choose(args) != 0) return LCFWD_EXIT_SERVICE;
    lcfwd_domain_bind(LCFWD_DOMAIN_UFIB, ufib_domain());
    diag_init();
    signals_install();
    return lcfwd_main(&args.options);
}
