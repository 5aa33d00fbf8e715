#include "tests/ufib/ufib_random_guard.h"

#include "platform/ufib_pi.h"
#include "platform/ufib_platform_api.h"
#include "softfwd/softfwd.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_reader.h"

static int (*engine_delete_adj)(void *adj);
static std::string finding;

static std::string users_of(softfwd_reader *reader, uint32_t handle) {
    softfwd_table_info table = {};
    while (softfwd_reader_table_next(reader, &table) == 0) {
        softfwd_prefix_info prefix = {};
        while (softfwd_reader_prefix_next(reader, table.handle, &prefix) == 0)
            if (prefix.next_handle == handle)
                return "adjacency " + std::to_string(handle) + " was deleted, prefix " +
                       std::to_string(prefix.handle) + " of table " + std::to_string(table.table_id) +
                       " leads to it";
    }
    return "";
}

/* Writes that complete later may still show the old way: the engine answers for those itself. */
static int guarded_delete_adj(void *adj) {
    softfwd_reader *reader = nullptr;
    const auto slot = static_cast<uint32_t>(softfwd_config_get()->slot);
    if (!softfwd_config_get()->async && finding.empty() && softfwd_reader_attach(slot, false, &reader) == 0) {
        finding = users_of(reader, ufib_pi_adj_get_hh(adj));
        softfwd_reader_detach(reader);
    }
    return engine_delete_adj(adj);
}

static void guarded_ufib_api_init(ufib_platform_api *api, ufib_platform_caps *caps, int restart) {
    softfwd_library()->ufib_api_init(api, caps, restart);
    engine_delete_adj = api->delete_adj;
    api->delete_adj = guarded_delete_adj;
}

const platform_library *guarded_softfwd_library() {
    static const platform_library library = {softfwd_library()->name, softfwd_library()->lcfwd_api_init,
                                             guarded_ufib_api_init, softfwd_library()->reset};
    return &library;
}

std::string guard_finding() {
    std::string out;
    out.swap(finding);
    return out;
}
