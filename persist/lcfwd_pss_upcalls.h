/* persist/lcfwd_pss_upcalls.h: what the store layer calls of the platform boundary, which stands above it:
 * declared here by name, defined in platform/. */
#pragma once

/* Ends the hardware's write batch and with it commits the store: how the store layer makes room for
 * itself, so that hardware and store never part. */
int ufib_platform_all_writes_ready();

/* The library flushes its own buffered records. */
void lcfwd_platform_pss_buf_commit();
