#include "ufib/ufib_adj_holder.h"

#include "ufib/ufib_hooks.h"
#include "ufib/ufib_mpls_info.h"
#include "ufib/ufib_retry.h"

ufib_adj *ufib_adj_holder_join(ufib_vdc *vdc, const ufib_family &family, const ufib_adj_key &key,
                               const ufib_platform_rewrite &rewrite, uint32_t adj_flags, uint8_t holder,
                               bool check_required) {
    ufib_adj *adj = ufib_adj_search(vdc, family, key);
    const bool held = adj != nullptr && (adj->holders & holder) != 0;
    const ufib_mpls_info refresh = {.labels = nullptr,
                                    .label_count = 0,
                                    .operation = UFIB_MPLS_REFRESH,
                                    .adj_key_id = 0,
                                    .if_index = key.if_index,
                                    .next_hop = {},
                                    .te_if_index = 0,
                                    .active = false,
                                    .master_tunnel = false,
                                    .frr_type = 0,
                                    .backup = nullptr};
    const ufib_adj_request request = {
        .rewrite = &rewrite,
        .flags = adj_flags,
        .ha_handle = 0,
        .holder = holder,
        .mpls_info = &refresh,
        .mpls_only = false,
        .update_rewrite = true,
        .check_required = check_required,
    };
    (void)ufib_get_create_adj(vdc, family, key, request); /* null, too, when the label side only refreshed */
    adj = ufib_adj_search(vdc, family, key);
    if (adj == nullptr || (adj->holders & holder) == 0) return nullptr;
    if (!held) ufib_obj_hold(&adj->obj);
    return adj;
}

void ufib_adj_holder_insist(ufib_adj *adj, const ufib_platform_rewrite &rewrite, uint32_t adj_flags) {
    ufib_adj_init_dyn(adj, &rewrite, adj_flags);
    ufib_retry_adj(adj);
}

bool ufib_adj_holder_leave(ufib_adj *adj, uint8_t holder, bool set_drop) {
    if ((adj->holders & holder) != 0) {
        ufib_obj_drop(&adj->obj);
        adj->holders &= static_cast<uint8_t>(~holder);
    }
    if (ufib_obj_refs(&adj->obj) == 0 && ufib_adj_destroy(nullptr, adj, false) != 0) return true;
    adj->flags &= ~UFIB_ADJ_RESOLVED;
    if (ufib_is_adj_glean_candidate(adj)) adj->flags |= UFIB_ADJ_GLEAN;
    if (set_drop)
        adj->flags |= UFIB_ADJ_DROP;
    else
        adj->flags &= ~UFIB_ADJ_DROP;
    ufib_adj_reinstall(adj);
    if (adj->mpls_child_count != 0 && ufib_hook.adj_update != nullptr) ufib_hook.adj_update(adj);
    return false;
}
