/* host/command/command_json.h: pieces as JSON, written as they come. Inside host/command only.
 *
 * The end of a list is written late: when the next piece begins a list of the same name, the list simply goes
 * on. That joins the lists of an answer that comes in several messages without keeping any of them in memory.
 */
#pragma once

#include "host/command/command_wire.h"

#include <string>
#include <unordered_map>
#include <vector>

/* An open object or list. */
struct json_frame {
    bool list;
    bool implied;          /* a list that a row outside any list made necessary */
    bool empty;            /* nothing written in it yet */
    bool late_end;         /* a list in it has ended, and "]" is not written yet */
    bool late_empty;       /* that list has no elements yet */
    std::string late_name; /* of that list */
    std::string name;      /* of this list */
    /* Keys of an object, each with the number that its next namesake tries. */
    std::unordered_map<std::string, unsigned> keys;
    std::vector<std::string> texts; /* prints without values; they are written at the end of the object */
};

struct json_writer {
    std::string *out;
    std::vector<json_frame> frames; /* the first is the whole output */
};

void json_begin(json_writer *writer, std::string *out);
void json_end(json_writer *writer);
/* 0, or EBADMSG for an end that nothing began or for too many levels. The values of the piece are checked
 * already. */
[[nodiscard]] int json_piece(json_writer *writer, const cmd_piece *piece);
