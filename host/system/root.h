/* host/system/root.h: where the system's absolute paths lie. Every file of the process is named by an absolute
 * path of the system ("/var/sysmgr/...", "/dev/shm/..."); all of them are taken below one root directory, so that a
 * user without privileges, or a test, runs a whole system in a folder of its own. One thread. */
#pragma once

#include <cstddef>

/* Sets the root directory (copied); null, "" or "/" is the machine's own root. */
void host_root_set(const char *directory);
const char *host_root_get(); /* without a trailing slash; "" for the machine's own root */

/* Writes root + 'path' to 'out' (NUL-terminated). 0, or ENAMETOOLONG with 'out' empty. */
[[nodiscard]] int host_path(const char *path, char *out, size_t out_size);

/* Makes all missing directories of 'directory' (an absolute path of the system, taken below the root), each
 * private to the user (0700). 0 or an errno. */
[[nodiscard]] int host_make_directories(const char *directory);
