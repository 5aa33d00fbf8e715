#include "diag/show_walk.h"

#include "host/command/command.h"
#include "host/system/system.h"

bool show_walk_step(show_walk *walk, bool shown) {
    if (shown && ufib_show_limit_reached(walk->params)) return false;
    walk->shown += shown ? 1 : 0;
    if (tsp_should_sched_yield()) tsp_sched_yield();
    walk->full = walk->shown >= UFIB_SHOW_PIECE || ++walk->visited >= UFIB_SHOW_VISITED;
    return !walk->full;
}

void show_walk_end(cmd_handle *handle, show_walk *walk, const char *one) {
    cmd_prt_list_end(handle);
    if (walk->full) {
        ufib_show_send_cookie(handle, walk->params);
        return;
    }
    const bool nothing = walk->params->count == 0;
    if (nothing && one != nullptr) {
        cmd_prt_send_nok(handle, 4, "no such %s", one);
        return;
    }
    if (nothing) cmd_prt_decoration(handle, "Nothing to show\n");
    cmd_prt_send(handle);
}
