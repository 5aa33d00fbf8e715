#include "bench/bench_served.h"

#include "core/lcfwd_domain.h"
#include "core/lcfwd_main.h"
#include "diag/show_table.h"
#include "host/engine/engine.h"
#include "platform/platform_library.h"
#include "softfwd/softfwd_config.h"
#include "ufib/ufib_vdc.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

constexpr uint32_t BATCH = 500;

static void serve(const std::string &root, const platform_library *library, lcfwd_start_mode mode) {
    lcfwd_options options = {};
    options.root = root.c_str();
    options.slot = BENCH_SERVED_SLOT;
    options.start_mode = mode;
    softfwd_config_get()->slot = BENCH_SERVED_SLOT;
    platform_library_use(library);
    lcfwd_domain_bind(LCFWD_DOMAIN_UFIB, ufib_domain());
    diag_init();
    std::signal(SIGTERM, [](int) { fu_fsm_stop(); });
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::_Exit(lcfwd_main(&options));
}

bool bench_served_start(const platform_library *library, bench_served *out) {
    char root[] = "/dev/shm/lcfwd-bench-XXXXXX";
    if (mkdtemp(root) == nullptr) return false;
    out->root = root;
    out->pid = fork();
    if (out->pid == 0) serve(out->root, library, LCFWD_START_COLD);
    ctl.root = out->root;
    ctl.quiet = true;
    ctl.vdc = 1;
    ctl_use_root(BENCH_SERVED_SLOT);
    if (ctl_session_open(BENCH_SERVED_SLOT, &out->session) != CTL_GOOD) return false;
    /* The queue of contexts is served last: the report says when the context is there. */
    return ctl_subscribe(&out->session) == CTL_GOOD &&
           ctl_tell(&out->session, CTL_OPC_VDC_CREATE, ctl_vdc_make(1)) == CTL_GOOD &&
           ctl_await_report(&out->session, 5000) == CTL_GOOD;
}

bool bench_served_restart(const platform_library *library, bench_served *process, double *seconds) {
    ctl_session_close(&process->session);
    kill(process->pid, SIGKILL);
    waitpid(process->pid, nullptr, 0);
    const auto begin = std::chrono::steady_clock::now();
    process->pid = fork();
    if (process->pid == 0) serve(process->root, library, LCFWD_START_AUTO);
    const bool answers = ctl_session_open(BENCH_SERVED_SLOT, &process->session) == CTL_GOOD &&
                         ctl_subscribe(&process->session) == CTL_GOOD &&
                         ctl_tell(&process->session, CTL_OPC_STATUS_REQUEST, {}) == CTL_GOOD &&
                         ctl_await_report(&process->session, 60000) == CTL_GOOD;
    *seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return answers;
}

void bench_served_stop(bench_served *process) {
    ctl_session_close(&process->session);
    kill(process->pid, SIGTERM);
    waitpid(process->pid, nullptr, 0);
    const std::string command = "rm -rf '" + process->root + "'";
    if (std::system(command.c_str()) != 0) std::fprintf(stderr, "cannot remove %s\n", process->root.c_str());
}

std::vector<ctl_route> bench_routes_read(uint8_t family) {
    const std::string path = std::string(LCFWD_SOURCE_DIR) +
                             (family == 4 ? "/data/internet-v4.txt.xz" : "/data/internet-v6.txt.xz");
    ctl_route_shape shape;
    shape.aggregates = 10000;
    std::vector<ctl_route> routes;
    if (ctl_routes_load({path.c_str()}, shape, &routes) != CTL_GOOD) routes.clear();
    return routes;
}

ctl_stream_plan bench_load_plan(uint8_t family, const std::vector<ctl_route> &routes, uint32_t paths) {
    ctl_stream_plan plan;
    plan.bracket = true;
    ctl_batch_form form;
    form.family = family;
    form.shape.paths = paths;
    const uint32_t tables[2] = {1, 0x80000001};
    ctl_stream_fill(&plan, form, routes, BATCH, tables);
    return plan;
}
