/* host/command/command_render.h: output of commands, as text for people or as JSON for programs, from the
 * same pieces. A client feeds it the answers as they come; text and JSON leave it at once, so that an output
 * of any length needs little memory.
 *
 * JSON: the whole output is one object. A value becomes a member under its key; without one the key is the
 * text before it, in lower case, words joined by '_'. A key that the object has already gets "_2", "_3" and
 * so on. Texts without values are collected in the member "text" at the end of their object. Numbers stay
 * numbers (64-bit ones also), addresses and MACs become strings. An empty text is no member. */
#pragma once

#include "host/command/command_wire.h"

#include <string>

struct cmd_renderer;

enum cmd_form { CMD_FORM_TEXT, CMD_FORM_JSON };

/* 'write' takes what is ready; the bytes are good for the call. The renderer is the caller's. */
[[nodiscard]] cmd_renderer *
cmd_renderer_create(cmd_form form, void (*write)(void *ctx, const char *bytes, size_t size), void *ctx);

/* Renders the pieces of one answer or part. 0, or EBADMSG (the pieces before the bad one are rendered). */
[[nodiscard]] int cmd_renderer_feed(cmd_renderer *renderer, const uint8_t *pieces, size_t size);

/* Ends the output (closes what JSON has open) and frees the renderer. */
void cmd_renderer_finish(cmd_renderer *renderer);

/* One print piece as text. */
void cmd_render_print(const cmd_piece *piece, std::string *out);
/* 'text' as a JSON string with its quotes; bytes that are no UTF-8 become U+FFFD. */
void cmd_render_json_string(const char *text, size_t size, std::string *out);
