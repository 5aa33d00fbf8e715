#include "tools/lcfwdctl/session.h"

#include "tools/lcfwdctl/wire_batch.h"

#include "host/timer/clock.h"

#include <cerrno>
#include <cstring>

static constexpr uint64_t MS = 1000000;
static constexpr uint8_t EMPTY_BATCH = 0x4; /* any flag but the table end lets a batch without routes pass */

int ctl_bus_failure(uint32_t slot, const char *what, int error) {
    const std::string root = ctl_root_text(slot);
    if (error == ENOENT || error == ECONNREFUSED)
        ctl_error("slot %u: nobody answers below %s; is lcfwd running? Start it: lcfwd --slot %u --root %s",
                  slot, root.c_str(), slot, root.c_str());
    else if (error == EPERM || error == EACCES)
        ctl_error("slot %u: the process below %s belongs to another user; run this as that user or as root",
                  slot, root.c_str());
    else if (error == ECONNRESET || error == EPIPE)
        ctl_error("slot %u: the process has ended during %s; see: lcfwdctl log --root %s", slot, what,
                  root.c_str());
    else if (error == EAGAIN || error == ETIMEDOUT)
        ctl_error("slot %u: no answer to %s within %u ms; see: lcfwdctl log --root %s, or a longer --timeout",
                  slot, what, ctl.timeout_ms, root.c_str());
    else
        ctl_error("slot %u: %s: %s", slot, what, strerror(error));
    return CTL_UNREACHABLE;
}

int ctl_session_open(uint32_t slot, ctl_session *session) {
    ctl_use_root(slot);
    *session = {};
    session->slot = slot;
    bus_client_config config;
    config.slot = slot;
    int error = bus_client_open(&config, &session->client);
    if (error == 0) error = bus_client_connect(session->client, mts_opc_sap_get(CTL_OPC_ROUTES_V4), 1000);
    if (error == 0) return CTL_GOOD;
    ctl_session_close(session);
    return ctl_bus_failure(slot, "connecting", error);
}

void ctl_session_close(ctl_session *session) {
    bus_client_close(session->client);
    session->client = nullptr;
}

static void keep_report(void *context, const mts_msg *message) {
    auto *session = static_cast<ctl_session *>(context);
    if (message->opcode != CTL_OPC_REPORT || message->payload_size < sizeof session->report) return;
    if (ctl_node_vdc(message->destination.node) != ctl.vdc) return;
    memcpy(&session->report, message->payload, sizeof session->report);
    session->has_report = true;
}

int ctl_tell(ctl_session *session, uint32_t opcode, std::span<const uint8_t> payload) {
    const bus_client_message message = {mts_opc_sap_get(opcode), opcode,        0, ctl.vdc,
                                        payload.data(),          payload.size()};
    uint32_t token = 0;
    const int error = bus_client_request(session->client, &message, static_cast<int>(ctl.timeout_ms), &token);
    return error == 0 ? CTL_GOOD : ctl_bus_failure(session->slot, "sending", error);
}

/* An empty batch changes nothing, is answered in its turn, and refused when the context takes no batches. */
int ctl_settle(ctl_session *session, bool silent) {
    ctl_batch_form form;
    form.format = 0;
    const std::vector<uint8_t> batch = ctl_batch_make(form, {}, 0, EMPTY_BATCH);
    const bus_client_message message = {
        mts_opc_sap_get(CTL_OPC_ROUTES_V4), CTL_OPC_ROUTES_V4, 0, ctl.vdc, batch.data(), batch.size()};
    const auto wait = static_cast<int>(ctl.timeout_ms);
    uint32_t token = 0;
    mts_msg answer{};
    int error = bus_client_request(session->client, &message, wait, &token);
    if (error == 0) error = bus_client_answer(session->client, token, wait, keep_report, session, &answer);
    if (error != 0) return ctl_bus_failure(session->slot, "an empty batch", error);
    ctl_batch_verdict verdict{};
    const char *why = nullptr;
    if ((answer.flags & MTS_FLAG_REJECT) != 0)
        why = "it was rejected";
    else
        static_cast<void>(ctl_answer_read(0, batch, {answer.payload, answer.payload_size}, &verdict, &why));
    if (why != nullptr) {
        ctl_error("slot %u: bad answer to an empty batch: %s", session->slot, why);
        return CTL_REFUSED;
    }
    if (verdict.good) return CTL_GOOD;
    if (!silent)
        ctl_error("slot %u: VDC %u takes no routes: it does not exist (make it: lcfwdctl vdc create %u) or "
                  "is being "
                  "upgraded",
                  session->slot, ctl.vdc, ctl.vdc);
    return CTL_REFUSED;
}

int ctl_subscribe(ctl_session *session) {
    if (session->subscribed) return CTL_GOOD;
    const int error = bus_client_subscribe_supervisor(session->client, static_cast<int>(ctl.timeout_ms));
    if (error != 0) return ctl_bus_failure(session->slot, "subscribing", error);
    session->subscribed = true;
    return CTL_GOOD;
}

int ctl_await_report(ctl_session *session, int wait_ms) {
    const uint64_t end = host_clock_monotonic_ns() + static_cast<uint64_t>(wait_ms) * MS;
    session->has_report = false;
    for (uint64_t now = host_clock_monotonic_ns(); now < end; now = host_clock_monotonic_ns()) {
        mts_msg message{};
        const auto left = static_cast<int>((end - now) / MS + 1);
        const int error = bus_client_receive(session->client, &message, left);
        if (error == EAGAIN) break;
        if (error != 0) return ctl_bus_failure(session->slot, "waiting for a report", error);
        keep_report(session, &message);
        if (session->has_report) return CTL_GOOD;
    }
    return CTL_REFUSED;
}

int ctl_for_each_slot(ctl_session_work work, void *context) {
    int worst = CTL_GOOD;
    for (uint32_t slot : ctl.slots) {
        ctl_session session;
        int status = ctl_session_open(slot, &session);
        if (status == CTL_GOOD) status = work(&session, context);
        ctl_session_close(&session);
        worst = ctl_worse(worst, status);
    }
    return worst;
}
