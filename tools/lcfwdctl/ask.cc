#include "tools/lcfwdctl/ask.h"

#include <cerrno>

int ctl_ask(ctl_session *session, uint32_t opcode, std::span<const uint8_t> payload, const char *what,
            uint32_t *token, uint32_t version) {
    const bus_client_message message = {mts_opc_sap_get(opcode), opcode,        version, ctl.vdc,
                                        payload.data(),          payload.size()};
    const int error = bus_client_request(session->client, &message, static_cast<int>(ctl.timeout_ms), token);
    return error == 0 ? CTL_GOOD : ctl_bus_failure(session->slot, what, error);
}

int ctl_ask_answer(ctl_session *session, uint32_t token, const char *what, size_t least,
                   std::vector<uint8_t> *answer) {
    mts_msg message{};
    const int error = bus_client_answer(session->client, token, static_cast<int>(ctl.timeout_ms), nullptr,
                                        nullptr, &message);
    if (error != 0) return ctl_bus_failure(session->slot, what, error);
    if ((message.flags & MTS_FLAG_REJECT) != 0 || message.payload_size < least) {
        ctl_error("slot %u: bad answer to %s: %s", session->slot, what,
                  (message.flags & MTS_FLAG_REJECT) != 0 ? "it was rejected" : "too short");
        return CTL_REFUSED;
    }
    answer->assign(message.payload, message.payload + message.payload_size);
    return CTL_GOOD;
}
