#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/options.h"
#include "tools/lcfwdctl/session.h"

#include <cstdio>

static constexpr uint8_t STATE_ACTIVE = 6;

struct stale_plan {
    uint32_t family = 0; /* 4, 6, or 0 for both */
    uint32_t table = 0;
    uint32_t epoch = 0;
};

static int work(ctl_session *session, void *context) {
    const auto *plan = static_cast<const stale_plan *>(context);
    int status = ctl_settle(session);
    if (status == CTL_GOOD) status = ctl_subscribe(session);
    if (status == CTL_GOOD) status = ctl_tell(session, CTL_OPC_STATUS_REQUEST, {});
    if (status == CTL_GOOD) status = ctl_await_report(session, static_cast<int>(ctl.timeout_ms));
    if (status != CTL_GOOD) return status;
    if (session->report.ufib_state != STATE_ACTIVE) {
        ctl_error("slot %u: VDC %u is %s and deletes nothing; it must be ACTIVE, as after a download",
                  session->slot, ctl.vdc, ctl_state_name(session->report.ufib_state));
        return CTL_REFUSED;
    }
    for (uint8_t family : {uint8_t{4}, uint8_t{6}}) {
        if (plan->family != 0 && plan->family != family) continue;
        const auto payload = ctl_stale_make(family, plan->table, static_cast<uint8_t>(plan->epoch));
        if (status == CTL_GOOD) status = ctl_tell(session, CTL_OPC_STALE_DELETE, payload);
    }
    if (status == CTL_GOOD) status = ctl_settle(session);
    if (status == CTL_GOOD)
        printf("slot %u: routes of other epochs than %u are gone\n", session->slot, plan->epoch);
    return status;
}

static int run(int argc, char **argv) {
    stale_plan plan;
    bool epoch_given = false;
    const ctl_option rows[] = {ctl_number("--epoch", &plan.epoch, 0, 255, &epoch_given),
                               ctl_number("--table", &plan.table, 0, UINT32_MAX),
                               ctl_number("--family", &plan.family, 4, 6)};
    std::vector<const char *> words;
    if (const int status = ctl_options_parse(rows, argc, argv, &words); status != CTL_GOOD) return status;
    if (!words.empty() || !epoch_given || plan.family == 5) {
        ctl_error("usage: lcfwdctl stale --epoch N [--table ID] [--family 4|6]");
        return CTL_USAGE;
    }
    return ctl_for_each_slot(work, &plan);
}

const ctl_command ctl_command_stale = {"stale", "--epoch N [--table ID] [--family 4|6]",
                                       "delete the routes of an older download",
                                       "Deletes every route whose epoch is not N: what an older download "
                                       "left behind. Works when the context is ACTIVE.\n\n"
                                       "  --epoch N        the epoch that stays\n"
                                       "  --table ID       one table only (default all)\n"
                                       "  --family 4|6     one family only (default both)\n\n"
                                       "Examples:\n"
                                       "  lcfwdctl load new.txt --epoch 2 && lcfwdctl stale --epoch 2\n"
                                       "  lcfwdctl stale --epoch 2 --table 7 --family 4\n",
                                       run};
