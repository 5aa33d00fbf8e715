#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/options.h"
#include "tools/lcfwdctl/session.h"

#include <cstdio>
#include <cstring>

static constexpr int POLL_MS = 100;
static constexpr uint8_t STATE_INITIALIZED = 4;

/* The message has no answer. What tells that a context stands is its first report; one that stood before sends none
 * by itself, so it is asked for. */
static int create(ctl_session *session) {
    int status = ctl_subscribe(session);
    if (status == CTL_GOOD)
        status = ctl_tell(session, CTL_OPC_VDC_CREATE, ctl_vdc_make(static_cast<uint16_t>(ctl.vdc)));
    for (uint32_t waited = 0; status == CTL_GOOD && waited < ctl.timeout_ms; waited += POLL_MS) {
        status = ctl_tell(session, CTL_OPC_STATUS_REQUEST, {});
        if (status == CTL_GOOD) status = ctl_await_report(session, POLL_MS);
        if (status == CTL_GOOD && session->report.ufib_state >= STATE_INITIALIZED) {
            printf("slot %u: VDC %u is there, %s\n", session->slot, ctl.vdc,
                   ctl_state_name(session->report.ufib_state));
            return CTL_GOOD;
        }
        if (status == CTL_REFUSED) status = CTL_GOOD;
    }
    if (status != CTL_GOOD) return status;
    ctl_error("slot %u: VDC %u was not made within %u ms; ids are 1 to 5; see: lcfwdctl log", session->slot,
              ctl.vdc, ctl.timeout_ms);
    return CTL_REFUSED;
}

static int remove_vdc(ctl_session *session) {
    int status = ctl_settle(session, true);
    if (status == CTL_REFUSED) {
        ctl_error("slot %u: there is no VDC %u", session->slot, ctl.vdc);
        return CTL_REFUSED;
    }
    if (status == CTL_GOOD) status = ctl_subscribe(session);
    if (status == CTL_GOOD)
        status = ctl_tell(session, CTL_OPC_VDC_DELETE, ctl_vdc_make(static_cast<uint16_t>(ctl.vdc)));
    if (status != CTL_GOOD) return status;
    /* The two sides end one after the other, each with a report. */
    do {
        status = ctl_await_report(session, static_cast<int>(ctl.timeout_ms));
        if (status == CTL_UNREACHABLE) return status;
    } while (status == CTL_GOOD && (session->report.ufib_state | session->report.mfib_state) != 0);
    if (status == CTL_GOOD) {
        printf("slot %u: VDC %u has gone\n", session->slot, ctl.vdc);
        return CTL_GOOD;
    }
    ctl_error("slot %u: VDC %u was not removed within %u ms", session->slot, ctl.vdc, ctl.timeout_ms);
    return CTL_REFUSED;
}

static int work(ctl_session *session, void *context) {
    return *static_cast<const bool *>(context) ? create(session) : remove_vdc(session);
}

static int run(int argc, char **argv) {
    std::vector<const char *> arguments;
    if (const int status = ctl_options_parse({}, argc, argv, &arguments); status != CTL_GOOD) return status;
    const bool is_create = arguments.size() == 2 && strcmp(arguments[0], "create") == 0;
    const bool is_delete = arguments.size() == 2 && strcmp(arguments[0], "delete") == 0;
    if (!is_create && !is_delete) {
        ctl_error("usage: lcfwdctl vdc create|delete ID");
        return CTL_USAGE;
    }
    if (!ctl_number_parse(arguments[1], 1, 5, &ctl.vdc)) {
        ctl_error("a VDC has an id from 1 to 5, not \"%s\"", arguments[1]);
        return CTL_USAGE;
    }
    bool creating = is_create;
    return ctl_for_each_slot(work, &creating);
}

const ctl_command ctl_command_vdc = {"vdc", "create|delete ID", "make or remove a virtual device context",
                                     "Makes or removes a virtual device context (a logical switch with "
                                     "tables of its own), and waits until it stands\n"
                                     "or has gone. Making one that is there is no fault.\n\n"
                                     "Examples:\n"
                                     "  lcfwdctl vdc create 1\n"
                                     "  lcfwdctl vdc create 2 --slot 1-4      on four cards\n"
                                     "  lcfwdctl vdc delete 2\n",
                                     run};
