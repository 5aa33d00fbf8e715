#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/options.h"
#include "tools/lcfwdctl/session.h"
#include "tools/lcfwdctl/table.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

struct send_plan {
    uint32_t opcode = 0;
    uint32_t sap = 0;
    uint32_t version = 0;
    bool no_wait = false;
    std::vector<uint8_t> payload;
};

static void print_bytes(const uint8_t *bytes, size_t size) {
    for (size_t at = 0; at < size; at += 16) {
        printf("  %06zx ", at);
        for (size_t i = at; i < at + 16 && i < size; i++) printf(" %02x", bytes[i]);
        printf("\n");
    }
}

static void print_answer(uint32_t slot, const mts_msg &answer) {
    const bool rejected = (answer.flags & MTS_FLAG_REJECT) != 0;
    if (ctl.json) {
        printf("{\"slot\": %u, \"opcode\": %u, \"rejected\": %s, \"payload\": \"%s\"}\n", slot, answer.opcode,
               rejected ? "true" : "false", ctl_hex(answer.payload, answer.payload_size).c_str());
        return;
    }
    printf("slot %u: answer to %u (%s): %s%u bytes\n", slot, answer.opcode, mts_opc_name_get(answer.opcode),
           rejected ? "rejected, " : "", answer.payload_size);
    print_bytes(answer.payload, answer.payload_size);
}

static int work(ctl_session *session, void *context) {
    const auto *plan = static_cast<const send_plan *>(context);
    const bus_client_message message = {plan->sap, plan->opcode,         plan->version,
                                        ctl.vdc,   plan->payload.data(), plan->payload.size()};
    const auto wait = static_cast<int>(ctl.timeout_ms);
    uint32_t token = 0;
    mts_msg answer{};
    int error = bus_client_request(session->client, &message, wait, &token);
    if (error == 0 && plan->no_wait) return CTL_GOOD;
    if (error == 0) error = bus_client_answer(session->client, token, wait, nullptr, nullptr, &answer);
    if (error == ETIMEDOUT || error == EAGAIN) {
        ctl_error("slot %u: no answer within %u ms; many messages have none (then: --no-wait)", session->slot,
                  ctl.timeout_ms);
        return CTL_UNREACHABLE;
    }
    if (error != 0) return ctl_bus_failure(session->slot, "the message", error);
    print_answer(session->slot, answer);
    return (answer.flags & MTS_FLAG_REJECT) != 0 ? CTL_REFUSED : CTL_GOOD;
}

static int read_file(const char *path, std::vector<uint8_t> *out) {
    FILE *file = strcmp(path, "-") == 0 ? stdin : fopen(path, "rb");
    if (file == nullptr) {
        ctl_error("%s: %s", path, strerror(errno));
        return CTL_USAGE;
    }
    uint8_t buffer[4096];
    for (size_t got = 0; (got = fread(buffer, 1, sizeof buffer, file)) > 0 && out->size() <= MTS_PAYLOAD_MAX;)
        out->insert(out->end(), buffer, buffer + got);
    const bool failed = ferror(file) != 0;
    if (file != stdin) fclose(file);
    if (!failed) return CTL_GOOD;
    ctl_error("%s: cannot be read", path);
    return CTL_USAGE;
}

static int prepare(const std::vector<const char *> &words, const std::string &hex, bool hex_given,
                   send_plan *plan) {
    if (words.empty() || words.size() > 2 || !ctl_number_parse(words[0], 0, UINT32_MAX, &plan->opcode)) {
        ctl_error("usage: lcfwdctl send OPCODE [FILE] [--hex BYTES]");
        return CTL_USAGE;
    }
    if (words.size() == 2 && hex_given) {
        ctl_error("bytes come from a file or from --hex, not from both");
        return CTL_USAGE;
    }
    if (hex_given && !ctl_hex_parse(hex, &plan->payload)) {
        ctl_error("--hex takes pairs of hex digits");
        return CTL_USAGE;
    }
    if (words.size() == 2)
        if (const int status = read_file(words[1], &plan->payload); status != CTL_GOOD) return status;
    if (plan->payload.size() > MTS_PAYLOAD_MAX) {
        ctl_error("a message has at most %zu bytes", MTS_PAYLOAD_MAX);
        return CTL_USAGE;
    }
    if (plan->sap == 0) plan->sap = mts_opc_sap_get(plan->opcode);
    if (plan->sap != 0) return CTL_GOOD;
    ctl_error("no queue is known for opcode %u; name it with --sap (198 to 203, 207)", plan->opcode);
    return CTL_USAGE;
}

static int run(int argc, char **argv) {
    send_plan plan;
    std::string hex;
    bool hex_given = false;
    const ctl_option rows[] = {
        ctl_text("--hex", &hex, &hex_given), ctl_number("--sap", &plan.sap, 1, UINT32_MAX),
        ctl_number("--version", &plan.version, 0, UINT32_MAX), ctl_flag("--no-wait", &plan.no_wait)};
    std::vector<const char *> words;
    int status = ctl_options_parse(rows, argc, argv, &words);
    if (status == CTL_GOOD) status = prepare(words, hex, hex_given, &plan);
    return status == CTL_GOOD ? ctl_for_each_slot(work, &plan) : status;
}

const ctl_command ctl_command_send = {
    "send", "OPCODE [FILE] [OPTIONS]", "send raw bytes and print the answer",
    "Sends one message with the bytes of a file ('-': standard input) or of --hex, or with none, and prints "
    "the answer.\n"
    "Exit code 1 when it is rejected: nobody there serves that opcode.\n\n"
    "  --hex BYTES      pairs of hex digits; blanks and ':' may stand between them\n"
    "  --version N      version of the message (default 0)\n"
    "  --sap N          the queue (default: where the opcode is served)\n"
    "  --no-wait        do not wait for an answer\n\n"
    "Examples:\n"
    "  lcfwdctl send 485 --hex '01 00' --no-wait\n"
    "  lcfwdctl send 74767 batch.bin --version 1\n"
    "  lcfwdctl send 4242 --sap 200            an opcode that nobody serves\n",
    run};
