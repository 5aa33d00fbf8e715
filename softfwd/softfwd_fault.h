/* softfwd/softfwd_fault.h: failures on purpose, so that refusals and roll-back can be exercised. The plan is empty at
 * start and costs one test a call then. A refused call changes nothing, but that a refused rewrite of a prefix takes
 * the old entry away: the caller has no handle for it any more. One thread. */
#pragma once

#include "host/address/address.h"
#include "softfwd/softfwd_log.h"

#include <cstdint>

/* Each adds one item to the plan; false when the plan is full (SOFTFWD_FAULTS_MAX items). */
inline constexpr uint32_t SOFTFWD_FAULTS_MAX = 32;

/* Refuses 'count' calls of an operation, the first being the 'nth' from now (1: the next one). */
bool softfwd_fault_nth(softfwd_op op, uint32_t nth, uint32_t count = 1);
/* Refuses each call of the operation on that handle (an insert: when it is about to write under that handle). */
bool softfwd_fault_handle(softfwd_op op, uint32_t handle);
/* In async mode: lets the completion of a prefix fail, by address (network order; four bytes for IPv4) and length, or
 * by number (1: the next completion of either family). */
bool softfwd_fault_late_prefix(address_family family, const uint8_t *address, unsigned mask_len);
bool softfwd_fault_late_nth(uint32_t nth);

void softfwd_fault_clear();
