/* ufib/ufib_rpf.h: reverse-path checks: which interfaces drop packets whose source is not reached through them. Modes
 * are kept by interface and family, in its record, in the store and in the engine. One thread. */
#pragma once

#include "core/wire.h"
#include "ufib/ufib_family.h"

#include <cstdint>

struct ufib_idb;
struct ufib_vdc;

/* Works a notice. 0, or -1: an operation that is none, or records beyond the end (the complete ones are worked), or
 * a record that was refused; each counts E_RPF_API. */
int ufib_rpf_notification(ufib_vdc *vdc, wire_cursor payload);

/* Sets the mode of one family on an interface, whose record is made and held for it; 0 ends the check and the hold.
 * 0, or -1: no record (E_IDB_*), an unknown mode, or the engine refused; nothing has changed then. */
[[nodiscard]] int ufib_rpf_update_idb(ufib_vdc *vdc, const ufib_family &family, uint32_t if_index,
                                      uint8_t mode);

/* Both modes as the store remembers them: holds follow, neither engine nor store is written. */
void ufib_rpf_restore(ufib_idb *idb, uint8_t v4_mode, uint8_t v6_mode);
