/* softfwd/softfwd_damage_private.h: the damage itself, to an entry or a record. For softfwd/ only. */
#pragma once

#include "softfwd/softfwd_damage.h"
#include "softfwd/softfwd_layout.h"

void softfwd_damage_prefix(softfwd_damage what, softfwd_prefix *entry);
void softfwd_damage_adj(softfwd_adj *record);
