/* host/trace/bl.h: the compact binary trace. A log (one for each VDC) has a ring of records for each level;
 * the rings lie in a file "/dev/shm/lctrace_bl_<vdc>_<log>" that other processes may read at any time and
 * that outlives the process: a new process goes on where the old one stopped.
 *
 * A record holds an event number and typed arguments, no text: the reader makes the text with the format row
 * of the event. Writing costs a clock reading and a copy of some tens of bytes; no allocation, no system
 * call. One writing thread. See bl_reader.h for reading. */
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <type_traits>

inline constexpr uint32_t BL_VDC_MAX = 8;        /* VDC ids 0 to 7 can have a log */
inline constexpr uint32_t BL_LOG_MAX = 4;        /* log ids 0 to 3 */
inline constexpr uint32_t BL_LEVELS_MAX = 4;     /* levels 0 to 3 */
inline constexpr uint32_t BL_RECORD_BYTES = 192; /* fixed size of a record in the ring */
inline constexpr uint32_t BL_ARGS_BYTES = 160;   /* of them for arguments, each with 2 bytes of head */
inline constexpr uint32_t BL_FORMATS_MAX = 4096;

/* A level row. The high half of word 0 is the number of records of its ring, the low half the level; word 1
 * is kept in the file for readers; the other words are zero. A row whose word 0 is 0 makes no ring. */
struct bl_level {
    uint32_t word[5];
};

/* A format row; its index is the event number. Placeholders, each taking the next argument: $s$ text, $i32$
 * and $i64$ decimal, $i32x$ and $i64x$ hexadecimal, $float$, $ipv4$, $ipv4&mask$, $ipv6$, $ipv6&mask$. */
struct bl_format {
    const char *text;
};

enum bl_arg_type : uint8_t {
    BL_ARG_U32 = 3,
    BL_ARG_U64 = 4,
    BL_ARG_FLOAT = 5,
    BL_ARG_TEXT = 6,
    BL_ARG_ADDRESS = 8,
};

/* An address with its mask length. IPv4 uses the first four bytes. Network order. */
struct bl_address {
    uint8_t family; /* 4 or 6 */
    uint8_t mask;   /* bits */
    uint8_t bytes[16];
};
[[nodiscard]] bl_address bl_ipv4(uint32_t host_order, uint8_t mask = 32);
[[nodiscard]] bl_address bl_ipv6(const void *bytes16, uint8_t mask = 128);

/* One argument on its way into a record; pointers are borrowed for the call. */
struct bl_arg {
    bl_arg_type type;
    union {
        uint64_t number;
        double real;
        const char *text; /* null is logged as "(null)" */
        const bl_address *address;
    };
};
inline bl_arg bl_arg_of(const char *text) {
    bl_arg arg{BL_ARG_TEXT, {}};
    arg.text = text;
    return arg;
}
inline bl_arg bl_arg_of(const bl_address &address) {
    bl_arg arg{BL_ARG_ADDRESS, {}};
    arg.address = &address;
    return arg;
}
inline bl_arg bl_arg_of(double real) {
    bl_arg arg{BL_ARG_FLOAT, {}};
    arg.real = real;
    return arg;
}
/* Numbers and enumerations: 64-bit types keep 64 bits, all others 32 (negative ones keep their bits). */
template <class number>
requires std::integral<number> || std::is_enum_v<number>
inline bl_arg bl_arg_of(number value) {
    bl_arg arg{sizeof(number) == 8 ? BL_ARG_U64 : BL_ARG_U32, {}};
    if constexpr (sizeof(number) == 8)
        arg.number = static_cast<uint64_t>(value);
    else
        arg.number = static_cast<uint32_t>(value);
    return arg;
}

/* Registers the formats of a log id for all VDCs and writes them beside the rings ("lctrace_formats_<log>").
 * The rows are copied. 0, EINVAL (log id or count out of range), or an errno of writing the file. */
[[nodiscard]] int bl_reg_trace_formats(uint32_t log_id, const bl_format *rows, uint32_t count);

/* Opens the log of a VDC. A file of the same shape goes on, any other is replaced. 'instance' is noted in the
 * file. 0 also when the file cannot be had and the rings lie in private memory (bl_counters says so). EINVAL:
 * an id, a level or a size out of range. EEXIST: already open. ENOMEM. */
[[nodiscard]] int bl_open(uint32_t vdc_id, uint32_t log_id, uint32_t instance, const bl_level *levels,
                          uint32_t count);

/* Closes a log; the file stays for readers. ENOENT if it is not open. */
int bl_close(uint32_t vdc_id, uint32_t log_id);

/* Writes one record; see bl_log(). Arguments that find no room are cut or left out, and the record says so.
 */
void bl_log_args(uint32_t vdc_id, uint32_t log_id, uint32_t level, uint32_t event, const bl_arg *args,
                 uint32_t count);

/* bl_log(vdc, log, level, 0, 1, event, arguments...): one record of event 'event'. Without an open log, or at
 * a level without a ring, the record is dropped and counted. The fourth and fifth argument select nothing
 * here. */
template <class... types>
inline void bl_log(uint32_t vdc_id, uint32_t log_id, uint32_t level, uint32_t /*area*/, uint32_t /*flags*/,
                   uint32_t event, const types &...values) {
    if constexpr (sizeof...(values) == 0) {
        bl_log_args(vdc_id, log_id, level, event, nullptr, 0);
    } else {
        const bl_arg args[] = {bl_arg_of(values)...};
        bl_log_args(vdc_id, log_id, level, event, args, sizeof...(values));
    }
}

struct bl_counters {
    uint64_t records;      /* written */
    uint64_t dropped;      /* no open log or no such level */
    uint32_t cut;          /* records whose arguments did not fit */
    uint32_t private_logs; /* logs without a file, now open */
};
[[nodiscard]] const bl_counters *bl_counters_get();
