#include "tools/lcfwdctl/operator_session.h"

#include "host/command/command_render.h"
#include "tools/lcfwdctl/pager.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

struct asking {
    ctl_session *session;
    const operator_row *row;
    const std::vector<uint8_t> *attributes;
    std::vector<uint8_t> cookie;
    cmd_renderer *renderer;
    std::string failure;
    cmd_answer_kind kind; /* of the last answer */
    bool found_wrong;     /* a check counted disagreements */
};

static void print_bytes(void *, const char *bytes, size_t size) { fwrite(bytes, 1, size, stdout); }
static void print_nothing(void *, const char *, size_t) {}

static int refuse(asking *ask, const std::string &why) {
    ask->failure = why;
    return CTL_REFUSED;
}

/* One request; '*token' names its answers. */
static int request_send(asking *ask, uint32_t *token) {
    uint8_t bytes[CMD_REQUEST_HEAD + CMD_COOKIE_MAX + 4096];
    const size_t size =
        cmd_request_write(bytes, sizeof bytes, static_cast<uint16_t>(ctl.vdc), ask->row->action,
                          ask->row->command, ask->cookie.data(), static_cast<uint32_t>(ask->cookie.size()),
                          ask->attributes->data(), static_cast<uint32_t>(ask->attributes->size()));
    if (size == 0) return refuse(ask, "the request is too long");
    const bus_client_message message = {mts_opc_sap_get(CMD_OPC), CMD_OPC, 0, ctl.vdc, bytes, size};
    const int error =
        bus_client_request(ask->session->client, &message, static_cast<int>(ctl.timeout_ms), token);
    return error == 0 ? CTL_GOOD : ctl_bus_failure(ask->session->slot, "the command", error);
}

static std::string reason_of(const cmd_answer &answer) {
    std::string text;
    const uint8_t *pieces = answer.pieces;
    size_t left = answer.pieces_size;
    for (cmd_piece piece; cmd_piece_read(&pieces, &left, &piece) == 0;) cmd_render_print(&piece, &text);
    while (!text.empty() && text.back() == '\n') text.pop_back();
    return text.empty() ? "refused with code " + std::to_string(answer.code) : text;
}

/* Whether a piece holds the count that ends a check, and that is not 0. */
static bool counts_wrong(const cmd_piece &piece) {
    static constexpr char KEY[] = "wrong";
    const uint8_t *values = piece.values;
    size_t left = piece.values_size;
    for (cmd_value value; cmd_value_read(&values, &left, &value) == 0;)
        if (value.key_length == sizeof KEY - 1 && memcmp(value.key, KEY, sizeof KEY - 1) == 0)
            for (uint32_t at = 0; at < value.length; ++at)
                if (value.data[at] != 0) return true;
    return false;
}

/* Scripts ask for the exit code: a check that found something is a no. */
static void verdict_take(asking *ask, const cmd_answer &answer) {
    if (ask->row->command != CMD_CHECK_CONSISTENCY) return;
    const uint8_t *pieces = answer.pieces;
    size_t left = answer.pieces_size;
    for (cmd_piece piece; cmd_piece_read(&pieces, &left, &piece) == 0;)
        ask->found_wrong |= counts_wrong(piece);
}

/* Takes one answer or part. */
static int answer_take(asking *ask, uint32_t token) {
    mts_msg message{};
    const int error = bus_client_answer(ask->session->client, token, static_cast<int>(ctl.timeout_ms),
                                        nullptr, nullptr, &message);
    if (error == ETIMEDOUT || error == EAGAIN) return refuse(ask, "no answer");
    if (error != 0) return ctl_bus_failure(ask->session->slot, "the command", error);
    cmd_answer answer;
    if ((message.flags & MTS_FLAG_REJECT) != 0 ||
        cmd_answer_read(message.payload, message.payload_size, &answer) != 0)
        return refuse(ask, "an answer that is none");
    ask->kind = answer.kind;
    if (answer.kind == CMD_ANSWER_NOK) {
        if (ctl.json) static_cast<void>(cmd_renderer_feed(ask->renderer, answer.pieces, answer.pieces_size));
        return refuse(ask, reason_of(answer));
    }
    ask->cookie.assign(answer.cookie, answer.cookie + answer.cookie_length);
    if (cmd_renderer_feed(ask->renderer, answer.pieces, answer.pieces_size) != 0)
        return refuse(ask, "an answer that is none");
    verdict_take(ask, answer);
    return CTL_GOOD;
}

static int ask_all(asking *ask) {
    for (ask->kind = CMD_ANSWER_MORE; ask->kind == CMD_ANSWER_MORE;) {
        uint32_t token = 0;
        int status = request_send(ask, &token);
        ask->kind = CMD_ANSWER_PART;
        while (status == CTL_GOOD && ask->kind == CMD_ANSWER_PART) status = answer_take(ask, token);
        if (status != CTL_GOOD) return status;
    }
    return CTL_GOOD;
}

/* A show of an active VDC always has output. */
static bool is_inactive(const asking &ask) {
    return ask.kind == CMD_ANSWER_OK && strcmp(ask.row->verb, "show") == 0;
}

int operator_ask(ctl_session *session, const operator_row &row, const std::vector<uint8_t> &attributes,
                 std::string *failure) {
    asking ask = {session, &row, &attributes, {}, nullptr, {}, CMD_ANSWER_DONE, false};
    ask.renderer = cmd_renderer_create(ctl.json ? CMD_FORM_JSON : CMD_FORM_TEXT, print_bytes, nullptr);
    if (ask.renderer == nullptr) return refuse(&ask, "out of memory");
    const int status = ask_all(&ask);
    cmd_renderer_finish(ask.renderer);
    if (status == CTL_GOOD && is_inactive(ask))
        ctl_error("slot %u: VDC %u is not active", session->slot, ctl.vdc);
    if (failure != nullptr)
        *failure = ask.failure;
    else if (!ask.failure.empty())
        ctl_error("slot %u: %s", session->slot, ask.failure.c_str());
    return status == CTL_GOOD && ask.found_wrong ? CTL_REFUSED : status;
}

bool operator_vdc_is_active(ctl_session *session) {
    static constexpr const char *words[] = {"table"};
    std::string why;
    size_t used = 0;
    const operator_row *tables = operator_find("show", words, &used, &why);
    std::vector<uint8_t> attributes;
    if (operator_attributes(*tables, {}, nullptr, &attributes) != CTL_GOOD) return false;
    asking ask = {session, tables, &attributes, {}, nullptr, {}, CMD_ANSWER_DONE, false};
    ask.renderer = cmd_renderer_create(CMD_FORM_TEXT, print_nothing, nullptr);
    const bool active = ask.renderer != nullptr && ask_all(&ask) == CTL_GOOD && !is_inactive(ask);
    if (ask.renderer != nullptr) cmd_renderer_finish(ask.renderer);
    return active;
}

struct operator_plan {
    const operator_row *row;
    std::vector<uint8_t> attributes;
    uint32_t slots_begun;
};

/* A switch tells how it stands. */
static bool is_telling(const operator_row &row) {
    return strcmp(row.verb, "show") == 0 || row.operand == OPERAND_SWITCH;
}

/* Of several slots each show has a head, or is a member of one JSON object. */
static void slot_begin(operator_plan *plan, uint32_t slot) {
    const bool first = plan->slots_begun++ == 0;
    if (ctl.slots.size() == 1) return;
    if (ctl.json)
        printf("%s\"%u\":", first ? "{" : ",", slot);
    else if (is_telling(*plan->row))
        printf("%sSlot %u:\n", first ? "" : "\n", slot);
}

static void slots_end(const operator_plan &plan) {
    if (ctl.slots.size() != 1 && ctl.json) printf("%s}\n", plan.slots_begun == 0 ? "{" : "");
}

static int work(ctl_session *session, void *context) {
    auto *plan = static_cast<operator_plan *>(context);
    slot_begin(plan, session->slot);
    const int status = operator_ask(session, *plan->row, plan->attributes);
    if (status == CTL_GOOD && !is_telling(*plan->row) && !ctl.quiet && !ctl.json)
        printf("slot %u: done\n", session->slot);
    return status;
}

int operator_run(int argc, char **argv) {
    operator_options options;
    std::vector<const char *> words;
    const std::vector<ctl_option> rows = operator_option_rows(&options);
    int status = ctl_options_parse(rows, argc, argv, &words);
    if (status != CTL_GOOD) return status;
    std::string why;
    size_t used = 0;
    operator_plan plan = {};
    plan.row = operator_find(argv[0], words, &used, &why);
    if (plan.row == nullptr || words.size() > used + 1) {
        ctl_error("%s: %s; see: lcfwdctl %s --help", argv[0],
                  plan.row == nullptr ? why.c_str() : "too many words", argv[0]);
        return CTL_USAGE;
    }
    const char *operand = words.size() > used ? words[used] : nullptr;
    status = operator_attributes(*plan.row, options, operand, &plan.attributes);
    if (status != CTL_GOOD) return status;
    if (strcmp(argv[0], "show") == 0) ctl_pager_begin();
    status = ctl_for_each_slot(work, &plan);
    slots_end(plan);
    ctl_pager_end();
    return status;
}

/* The many histories share one line: NAME stands for any of them. */
static bool history_line(const operator_row &row, std::string *words) {
    static const std::string shown = "history v4-prefix";
    *words = row.words;
    if (row.history == 0) return true;
    if (row.words.compare(0, shown.size(), shown) != 0) return false;
    *words = "history NAME" + row.words.substr(shown.size());
    return true;
}

std::string operator_help(const char *verb) {
    std::string text, words;
    for (const operator_row &row : operator_rows()) {
        if (strcmp(row.verb, verb) != 0 || !history_line(row, &words)) continue;
        const char *operand = operator_operand_text(row.operand);
        if (*operand != '\0')
            words +=
                operator_operand_needed(row) ? " " + std::string(operand) : " [" + std::string(operand) + "]";
        char line[160];
        snprintf(line, sizeof line, "  %s %-32s %s\n", verb, words.c_str(), row.summary);
        text += line;
    }
    return text + "\n" + operator_history_help();
}
