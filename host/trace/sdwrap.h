/* host/trace/sdwrap.h: the debug and history service: named debug elements that can be switched, histories of
 * texts for each service (uuid) and instance, and the debug print. One thread. */
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

struct mts_msg;
struct pss2_datum;

/* A debug element: the number by which statements name it, and its name for operators. */
struct sdwrap_dbg_elem {
    uint32_t subtype;
    const char *name; /* borrowed for the life of the process */
};

inline constexpr uint32_t SDWRAP_ELEMS_MAX = 64;
inline constexpr uint32_t SDWRAP_INSTANCES_MAX = 16; /* histories, over all uuids */

/* Opcodes of the service. Payload of both: u32 subtype, u32 on (0 or not 0), big-endian. */
inline constexpr uint32_t SDWRAP_OPC_DEBUG_SWITCH = 1360;   /* debug printing of an element */
inline constexpr uint32_t SDWRAP_OPC_HISTORY_SWITCH = 1361; /* whether a subtype goes to the main history */

/* Looks at a message first. 1: not for this service. 0: consumed (also a malformed one, which is counted). */
[[nodiscard]] int sdwrap_process_msg(uint32_t queue, mts_msg *message);

/* Registers the elements. 'store_key' (borrowed) names the service's record in the system's debug store; null
 * without one. Switches are not kept over restarts: the key is noted for whoever keeps them. 0; EINVAL for
 * more than SDWRAP_ELEMS_MAX; the fault of sdwrap_faults. */
[[nodiscard]] int sdwrap_dbg_init(uint32_t queue, const char *name, const char *title, uint32_t count,
                                  const sdwrap_dbg_elem *elements, const pss2_datum *store_key = nullptr);

/* The syslog facility of the process; set before sdwrap_sys_init_helper(), which gives EINVAL without. */
struct sdwrap_facility {
    const char *name;
};
extern const sdwrap_facility *sdwrap_sys_facility;
[[nodiscard]] int sdwrap_sys_init_helper(uint32_t queue, const char *name, const char *title, uint32_t size,
                                         const pss2_datum *store_key = nullptr);

/* The keys that the two calls were given; null for none. */
[[nodiscard]] const pss2_datum *sdwrap_dbg_store_key();
[[nodiscard]] const pss2_datum *sdwrap_sys_store_key();

/* Histories: the main one (sdwrap_hist_event), one of a uuid, or one of a uuid and instance. 0, EINVAL,
 * ENOMEM or ENOSPC (table full). A second call for the same one does nothing. */
[[nodiscard]] int sdwrap_hist_init(uint32_t bytes);
[[nodiscard]] int sdwrap_hist_init_for_uuid(uint32_t uuid, uint32_t bytes);
[[nodiscard]] int sdwrap_hist_init_for_uuid_inst(uint32_t uuid, uint32_t instance, uint32_t bytes);

/* Which subtypes of a family go to the main history. All are off at first. */
[[nodiscard]] bool sdwrap_hist_event_subtype_check(uint32_t family, uint32_t subtype);
void sdwrap_hist_set_event_subtype(uint32_t family, uint32_t subtype, bool on);

/* Stores a text of at most 'length' bytes; it ends at the first NUL, so a length that counts more than the
 * text is harmless. Without a history of that name the event is counted as dropped. */
void sdwrap_hist_event(uint32_t family, uint32_t length, const char *text);
void sdwrap_his_log_event_for_uuid_inst(uint32_t uuid, uint32_t family, uint32_t instance, uint32_t flags,
                                        uint32_t length, const char *text);

/* Debug printing of an element: asked by statements, switched by operators. */
[[nodiscard]] bool sdwrap_chk_int(uint32_t subtype);
int sdwrap_dbg_set(uint32_t subtype, bool on);               /* 0, or ENOENT when no element has the number */
[[nodiscard]] const char *sdwrap_dbg_name(uint32_t subtype); /* "" when unknown */

/* Prints a debug line: to the sink, which is standard error until another is set, and to a history of its
 * own. */
void buginf(const char *format, ...) __attribute__((format(printf, 1, 2)));
void sdwrap_set_buginf_sink(void (*sink)(void *ctx, const char *text), void *ctx); /* null: standard error */

/* The uuid and instance under which the main history and the debug lines can be read (history.h). */
inline constexpr uint32_t SDWRAP_MAIN_UUID = 0, SDWRAP_MAIN_INSTANCE = 0;
inline constexpr uint32_t SDWRAP_DEBUG_UUID = 0, SDWRAP_DEBUG_INSTANCE = 1;

struct sdwrap_counters {
    uint64_t events;       /* stored, over all histories */
    uint64_t dropped;      /* no history of that name */
    uint32_t messages;     /* consumed */
    uint32_t bad_messages; /* of them malformed, or naming no element */
    uint32_t debug_lines;
};
[[nodiscard]] const sdwrap_counters *sdwrap_counters_get();

/* Status that the next calls give instead of working; 0 = work. For tests of the start-up. */
struct sdwrap_fault_plan {
    int dbg_init;
    int sys_init;
    int hist_init;
    bool capture_init;
};
extern sdwrap_fault_plan sdwrap_faults;
