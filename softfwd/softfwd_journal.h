/* softfwd/softfwd_journal.h: the writing side of the write log. For softfwd/ only. */
#pragma once

#include "softfwd/softfwd_log.h"

/* Appends an operation and counts its effect; writes also count towards the bracket. */
void softfwd_note(softfwd_op op, softfwd_effect effect, uint32_t handle, uint8_t difference = 0);
/* An adopted entry, with what differs from the model. */
void softfwd_note_reattach(softfwd_op op, uint32_t handle, uint8_t difference);

/* Copies entries 'from' to 'newest' out of a ring that may be written meanwhile. */
[[nodiscard]] size_t softfwd_log_copy(const softfwd_log_entry *log, uint32_t newest, uint32_t from,
                                      softfwd_log_entry *out, size_t max);
