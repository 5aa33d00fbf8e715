#include "host/command/command_render.h"

#include "host/command/command_json.h"
#include "host/command/print_format.h"

#include <cerrno>
#include <new>

static constexpr size_t WRITE_AT = 64 * 1024; /* text collected before it is given out */

struct cmd_renderer {
    cmd_form form;
    void (*write)(void *ctx, const char *bytes, size_t size);
    void *ctx;
    std::string text;
    json_writer json;
};

cmd_renderer *cmd_renderer_create(cmd_form form, void (*write)(void *ctx, const char *bytes, size_t size),
                                  void *ctx) {
    auto *renderer = new (std::nothrow) cmd_renderer{form, write, ctx, {}, {}};
    if (renderer != nullptr && form == CMD_FORM_JSON) json_begin(&renderer->json, &renderer->text);
    return renderer;
}

static void write_out(cmd_renderer *renderer) {
    if (!renderer->text.empty()) renderer->write(renderer->ctx, renderer->text.data(), renderer->text.size());
    renderer->text.clear();
}

/* A conversion without a value left shows nothing; a value without a conversion is for JSON only. */
void cmd_render_print(const cmd_piece *piece, std::string *out) {
    std::string_view format{piece->text, piece->text_length};
    const uint8_t *values = piece->values;
    size_t left = piece->values_size;
    for (format_part part; format_next(&format, &part);) {
        cmd_value value;
        format_literal(part.literal, out);
        if (part.conversion && cmd_value_read(&values, &left, &value) == 0) format_value(&part, &value, out);
    }
}

/* Whether the values of a piece are whole and as many as it says. */
static bool values_good(const cmd_piece *piece) {
    const uint8_t *values = piece->values;
    size_t left = piece->values_size;
    uint32_t count = 0;
    int status;
    for (cmd_value value; (status = cmd_value_read(&values, &left, &value)) == 0;) count++;
    return status == ENOENT && count == piece->count;
}

static int render(cmd_renderer *renderer, const cmd_piece *piece) {
    if (!values_good(piece)) return EBADMSG;
    if (renderer->form == CMD_FORM_JSON) return json_piece(&renderer->json, piece);
    if (piece->kind == CMD_PIECE_PRINT)
        cmd_render_print(piece, &renderer->text);
    else if (piece->kind == CMD_PIECE_DECORATION)
        renderer->text.append(piece->text, piece->text_length);
    return 0;
}

int cmd_renderer_feed(cmd_renderer *renderer, const uint8_t *pieces, size_t size) {
    cmd_piece piece;
    int status;
    while ((status = cmd_piece_read(&pieces, &size, &piece)) == 0) {
        status = render(renderer, &piece);
        if (status != 0) break;
        if (renderer->text.size() >= WRITE_AT) write_out(renderer);
    }
    write_out(renderer);
    return status == ENOENT ? 0 : status;
}

void cmd_renderer_finish(cmd_renderer *renderer) {
    if (renderer->form == CMD_FORM_JSON) json_end(&renderer->json);
    write_out(renderer);
    delete renderer;
}
