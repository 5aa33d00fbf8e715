/* tests/diag/show_rig.h: operators' commands over the bus: a request goes in, all pieces of the answer come out, as a
 * person and as a program would see them; cookies are followed. */
#pragma once

#include "diag/command_numbers.h"
#include "host/command/command_render.h"
#include "host/command/command_wire.h"
#include "host/tlv/tlv.h"
#include "tests/ufib/vobj_rig.h"

#include <cctype>
#include <fstream>
#include <set>
#include <utility>

struct show_attr {
    uint16_t id;
    bytes data;
};
inline bytes be32(uint32_t value) {
    bytes out;
    put32(&out, value);
    return out;
}

struct show_answer {
    uint32_t pieces = 0; /* answers that ended a request; 0: nobody answered */
    uint8_t kind = 0;    /* cmd_answer_kind of the last one */
    uint16_t code = 0;
    bytes cookie; /* of the last one */
    std::string text, json;
};

inline bytes show_request(uint32_t command, const std::vector<show_attr> &attrs, const bytes &cookie = {},
                          uint16_t vdc = 1, cmd_action action = CMD_ACTION_GET) {
    bytes array(1024), out(4096);
    tlv_aligned_array writer;
    static_cast<void>(tlv_array_init(&writer, array.data(), static_cast<uint32_t>(array.size())));
    for (const show_attr &attr : attrs)
        static_cast<void>(
            tlv_array_add_tlv(&writer, attr.id, static_cast<uint16_t>(attr.data.size()), attr.data.data()));
    out.resize(cmd_request_write(out.data(), out.size(), vdc, action, command, cookie.data(),
                                 static_cast<uint32_t>(cookie.size()), array.data(),
                                 tlv_aligned_array_size_get(array.data())));
    return out;
}

/* One request and all messages of its answer; the renderers take the pieces. */
inline void show_step(lcfwd_rig *rig, const bytes &request, cmd_renderer *text, cmd_renderer *json,
                      show_answer *out) {
    rig->take();
    rig->send(OPC_COMMAND, request);
    out->kind = 0;
    for (const rig_message &message : rig->take(OPC_COMMAND)) {
        cmd_answer answer;
        if (!message.response ||
            cmd_answer_read(message.payload.data(), message.payload.size(), &answer) != 0)
            continue;
        EXPECT_EQ(cmd_renderer_feed(text, answer.pieces, answer.pieces_size), 0);
        EXPECT_EQ(cmd_renderer_feed(json, answer.pieces, answer.pieces_size), 0);
        out->kind = answer.kind;
        out->code = answer.code;
        out->cookie.assign(answer.cookie, answer.cookie + answer.cookie_length);
        out->pieces += answer.kind == CMD_ANSWER_PART ? 0 : 1;
    }
}

/* Every key that a program may meet stands in the operators' page. */
inline void show_keys_told(const std::string &json) {
    static const std::set<std::string> words = [] {
        std::set<std::string> out;
        std::ifstream page(LCFWD_SOURCE_DIR "/docs/commands.md");
        std::string word;
        for (char c; page.get(c);)
            if (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_')
                word += c;
            else
                out.insert(std::exchange(word, ""));
        return out;
    }();
    for (size_t at = json.find("\":"); at != std::string::npos; at = json.find("\":", at + 1)) {
        if (std::isalnum(static_cast<unsigned char>(json[at - 1])) == 0) continue; /* an address */
        const size_t begin = json.rfind('"', at - 1) + 1;
        EXPECT_EQ(words.count(json.substr(begin, at - begin)), 1u) << json.substr(begin, at - begin);
    }
}

inline void show_append(void *to, const char *text, size_t size) {
    static_cast<std::string *>(to)->append(text, size);
}

/* Asks until the end. 'cookie': begins with that one; 'steps': so many requests at most. 'between' runs before each
 * further request. */
inline show_answer show(lcfwd_rig *rig, uint32_t command, const std::vector<show_attr> &attrs = {},
                        const bytes &cookie = {}, uint32_t steps = 1000, void (*between)() = nullptr) {
    show_answer out;
    cmd_renderer *text = cmd_renderer_create(CMD_FORM_TEXT, show_append, &out.text);
    cmd_renderer *json = cmd_renderer_create(CMD_FORM_JSON, show_append, &out.json);
    show_step(rig, show_request(command, attrs, cookie), text, json, &out);
    while (out.kind == CMD_ANSWER_MORE && out.pieces < steps) {
        if (between != nullptr) between();
        show_step(rig, show_request(command, attrs, out.cookie), text, json, &out);
    }
    cmd_renderer_finish(text);
    cmd_renderer_finish(json);
    show_keys_told(out.json);
    return out;
}

inline size_t times(const std::string &text, const std::string &what) {
    size_t found = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) found++;
    return found;
}
