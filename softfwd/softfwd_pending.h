/* softfwd/softfwd_pending.h: prefix writes that complete after the insert call returned, and the write brackets. For
 * softfwd/ only. A pending prefix is listed in the model's cookie; readers see nothing of it until it completes. */
#pragma once

#include "host/address/address.h"

#include <cstdint>

/* Lists the prefix in the cookie and keeps the write back. False: the cookie is full, write at once. */
[[nodiscard]] bool softfwd_pending_add(address_family family, void *pfx, uint32_t handle, uint64_t word);

/* The word that waits to be written for a handle, or null. */
[[nodiscard]] uint64_t *softfwd_pending_word(uint32_t handle);

/* Forgets a write that waits; a new entry is given up. False: none waits. */
bool softfwd_pending_drop(const void *pfx, uint32_t handle);
void softfwd_pending_drop_table(uint32_t table_handle);

[[nodiscard]] uint32_t softfwd_pending_new_count(); /* entries that are not in a trie yet */
void softfwd_pending_reset();

/* Slots. */
[[nodiscard]] int softfwd_one_write_ready();
[[nodiscard]] int softfwd_all_writes_ready();
