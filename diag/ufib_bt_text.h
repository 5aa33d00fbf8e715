/* diag/ufib_bt_text.h: words of histories. The texts lie in a ring of four buffers: four can stand in one line. One
 * thread. */
#pragma once

#include <cstdint>

[[nodiscard]] const char *
ufib_bt_v4_op_str(uint32_t operation);                          /* "Create", "Update", "Destroy", "Unknown" */
[[nodiscard]] const char *ufib_bt_v4_object_str(uint32_t type); /* of an object type; or "Unknown" */
[[nodiscard]] const char *ufib_bt_time_str(uint32_t seconds);   /* "Mon Nov 23 01:02:03 2026", local time */
