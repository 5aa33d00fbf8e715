#include "softfwd/softfwd_show.h"

#include "host/command/command.h"
#include "platform/ufib_pi.h"
#include "softfwd/softfwd_adj.h"
#include "softfwd/softfwd_engine.h"
#include "softfwd/softfwd_group.h"
#include "softfwd/softfwd_prefix.h"
#include "softfwd/softfwd_reader.h"

static int missing(cmd_handle *handle, uint32_t number) {
    cmd_prt(handle, "   Engine: %s\n", cmd_text("ERROR: NO ENTRY", "error"), cmd_u32(number, "handle"));
    return 0;
}

static const char *kind_of(uint32_t number) {
    if (softfwd_adj_of(number) != nullptr) return "adjacency";
    return softfwd_group_of(number) != nullptr ? "group" : "nothing";
}

static int prefix_print(cmd_handle *handle, uint32_t number) {
    const softfwd_prefix *entry = softfwd_prefix_of(number, 0, true);
    if (entry == nullptr) return missing(handle, number);
    const uint32_t next = softfwd_word_next(entry->a_word);
    cmd_prt(handle, "   Engine: entry %#x leads to %s %#x, flags %#x%s\n", cmd_u32(number, "handle"),
            cmd_text(kind_of(next), "next_kind"), cmd_u32(next, "next_handle"),
            cmd_u32(softfwd_word_flags(entry->a_word), "flags"),
            cmd_text(entry->state == SOFTFWD_PENDING ? ", being written" : "", "state"));
    return 0;
}

static int adj_print(cmd_handle *handle, uint32_t number) {
    const softfwd_adj *entry = softfwd_adj_of(number);
    if (entry == nullptr) return missing(handle, number);
    cmd_prt(handle, "   Engine: adjacency %#x, %s, if_index %#x, destination %s, source %s\n",
            cmd_u32(number, "handle"), cmd_text(softfwd_action_name(entry->action), "action"),
            cmd_u32(entry->if_index, "if_index"), cmd_mac(entry->dmac, "destination"),
            cmd_mac(entry->smac, "source"));
    return 0;
}

static int group_print(cmd_handle *handle, uint32_t number) {
    const softfwd_group *entry = softfwd_group_of(number);
    if (entry == nullptr) return missing(handle, number);
    cmd_prt(handle, "   Engine: group %#x, %u of %u places in use\n", cmd_u32(number, "handle"),
            cmd_u32(entry->count, "members"), cmd_u32(entry->size, "places"));
    return 0;
}

static int show(cmd_handle *handle, const void *obj, int (*print)(cmd_handle *handle, uint32_t number)) {
    cmd_prt_object_begin(handle, "engine");
    const int status = print(handle, ufib_pi_obj_get_hh(obj));
    cmd_prt_object_end(handle);
    return status;
}

int softfwd_show_prefix(cmd_handle *handle, void *pfx) { return show(handle, pfx, prefix_print); }
int softfwd_show_adj(cmd_handle *handle, void *adj) { return show(handle, adj, adj_print); }
int softfwd_show_group(cmd_handle *handle, void *obj) { return show(handle, obj, group_print); }
