/* ufib/ufib_adj_holder.h: clients of adjacencies that come and go by notices: AM and the tunnel manager. Each has a
 * holder bit, and one reference as long as the bit is set. One thread. */
#pragma once

#include "ufib/ufib_adj.h"

/* Creates or rewrites an adjacency for 'holder', which takes its reference the first time. Null: declined by the
 * platform (no error), or an error of ufib_get_create_adj(); a new holder then has nothing. A rewrite that failed
 * for an old holder shows in ufib_errno alone. */
ufib_adj *ufib_adj_holder_join(ufib_vdc *vdc, const ufib_family &family, const ufib_adj_key &key,
                               const ufib_platform_rewrite &rewrite, uint32_t adj_flags, uint8_t holder,
                               bool check_required);

/* For a holder's rewrite that hardware refused: the model takes the state, and hardware is asked again
 * (ufib/ufib_retry.h). */
void ufib_adj_holder_insist(ufib_adj *adj, const ufib_platform_rewrite &rewrite, uint32_t adj_flags);

/* The holder leaves: an adjacency that nobody else needs is destroyed; another turns, under its handle, into glean
 * (where that can be) or with 'set_drop' into drop. True when it was destroyed. */
bool ufib_adj_holder_leave(ufib_adj *adj, uint8_t holder, bool set_drop);
