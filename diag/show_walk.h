/* diag/show_walk.h: how a show walks objects: bounded in what it shows and in what it looks at, so that one piece never
 * holds up the process; the rest comes with the cookie. One thread. */
#pragma once

#include "diag/show_params.h"

#include <cstdint>

struct show_walk {
    ufib_show_params *params;
    uint32_t shown;
    uint32_t visited; /* objects, and what was printed for one beside it */
    bool full;        /* the piece ends here, the show does not */
};

/* After each object, shown or not, with the position already in the parameters. False: the walk stops. */
[[nodiscard]] bool show_walk_step(show_walk *walk, bool shown);

/* Ends the list that the walk filled, and the answer: with a cookie when more is to come. With 'one', the kind of the
 * object that was asked for, a show that found none ends with 4 "no such <one>". */
void show_walk_end(cmd_handle *handle, show_walk *walk, const char *one = nullptr);

/* Positions among objects that lie in buckets by hash: the hash, and how many of its bucket are done. */
inline uint32_t show_hash_at(const ufib_show_params &params) {
    return static_cast<uint32_t>(params.at_id >> 32);
}
inline uint32_t show_hash_passed(const ufib_show_params &params) {
    return static_cast<uint32_t>(params.at_id);
}
inline void show_hash_pass(ufib_show_params *params, uint32_t hash) {
    const bool same = show_hash_at(*params) == hash;
    params->at_id = uint64_t{hash} << 32 | (same ? show_hash_passed(*params) + 1 : 1);
}
