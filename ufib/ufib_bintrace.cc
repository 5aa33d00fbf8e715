/* The instances of the histories, and their set-up. */
#include "ufib/ufib_bintrace.h"

#include "core/lcfwd_log.h"

#include <cstdlib>

bt_desc ufib_adj_v4_global;
bt_desc ufib_adj_v6_global;
bt_desc ufib_pfx_v4_global;
bt_desc ufib_pfx_v6_global;
bt_desc ufib_rnh_v4_global;
bt_desc ufib_rnh_v6_global;
bt_desc ufib_vobj_global;
bt_desc ufib_ecmp_global;
bt_order_q rec_order_q;

enum instance : uint32_t { V4_ADJ, V6_ADJ, V4_PFX, V6_PFX, V4_RNH, V6_RNH, VOBJ, ECMP };

static constexpr ufib_bintrace_row rows[] = {
    {&ufib_adj_v4_global, ufib_adj_bintrace_init, "V4_ADJ BINTRACE: Key %d Record %d\n", 4096, 8, 4, 27, 0},
    {&ufib_adj_v6_global, ufib_v6_adj_bintrace_init, "V6_ADJ BINTRACE: Key %d Record %d\n", 4096, 8, 4, 39,
     1},
    {&ufib_pfx_v4_global, ufib_pfx_bintrace_init, "V4_PFX BINTRACE: Key %d Record %d\n", 4096, 8, 9, 32, 2},
    {&ufib_pfx_v6_global, ufib_v6_pfx_bintrace_init, "V6_PFX BINTRACE: Key %d Record %d\n", 4096, 8, 21, 32,
     3},
    {&ufib_rnh_v4_global, ufib_v4_rnh_bintrace_init, "V4_RNH BINTRACE: Key %d Record %d\n", 4096, 8, 9, 34,
     4},
    {&ufib_rnh_v6_global, ufib_v6_rnh_bintrace_init, "V6_RNH BINTRACE: Key %d Record %d\n", 4096, 8, 21, 34,
     5},
    {&ufib_vobj_global, ufib_vobj_bintrace_init, "VOBJ BINTRACE: Key %d Record %d\n", 4096, 8, 8, 53, 6},
    {&ufib_ecmp_global, ufib_ecmp_bintrace_init, "ECMP BINTRACE: Key %d Record %d\n", 1000, 8, 4, 1556, 8},
};

void ufib_bintrace_setup(const ufib_bintrace_row &row) {
    int status =
        bt_init(row.desc, row.key_len, row.rec_len, row.max_entries, row.records, std::malloc, std::free);
    if (status == 0 && row.order_row != UFIB_BINTRACE_UNORDERED)
        status = bt_set_rec_order(row.desc, &rec_order_q, row.order_row);
    if (status != 0) UFIB_ERR("no history with keys of %d and records of %d bytes", row.key_len, row.rec_len);
    if (row.header != nullptr)
        UFIB_TRACE(row.header, static_cast<int>(row.key_len), static_cast<int>(row.rec_len));
}

void ufib_adj_bintrace_init() { ufib_bintrace_setup(rows[V4_ADJ]); }
void ufib_v6_adj_bintrace_init() { ufib_bintrace_setup(rows[V6_ADJ]); }
void ufib_pfx_bintrace_init() { ufib_bintrace_setup(rows[V4_PFX]); }
void ufib_v6_pfx_bintrace_init() { ufib_bintrace_setup(rows[V6_PFX]); }
void ufib_v4_rnh_bintrace_init() { ufib_bintrace_setup(rows[V4_RNH]); }
void ufib_v6_rnh_bintrace_init() { ufib_bintrace_setup(rows[V6_RNH]); }
void ufib_vobj_bintrace_init() { ufib_bintrace_setup(rows[VOBJ]); }
void ufib_ecmp_bintrace_init() { ufib_bintrace_setup(rows[ECMP]); }

void ufib_bintrace_init() {
    (void)!bt_init_rec_order_queue(&rec_order_q, UFIB_BINTRACE_ORDER_ROWS);
    for (const ufib_bintrace_row &row : rows) row.init();
}

void ufib_bintrace_reset() {
    for (const ufib_bintrace_row &row : rows)
        if (row.desc->release != nullptr) bt_reset(row.desc);
}
