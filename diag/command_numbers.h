/* diag/command_numbers.h: the numbers of operators' commands and of their attributes, for the dispatch and for the
 * client. The set numbers and the range are the command tree's; each history ends its block of three with its clear
 * (conf = clear - 2, hist = clear - 1). docs/commands.md lists them for people. Attributes travel as TLVs; numbers in
 * them are big-endian. */
#pragma once

#include <cstdint>

enum lcfwd_command : uint32_t {
    CMD_SHOW_V4_ROUTES = 0x10001,
    CMD_SHOW_V6_ROUTES = 0x10002,
    CMD_SHOW_V4_ADJACENCY = 0x10003,
    CMD_SHOW_V6_ADJACENCY = 0x10004,
    CMD_SHOW_ECMP = 0x10005,
    CMD_SHOW_VOBJ = 0x10006,
    CMD_SHOW_V4_PSS_ROUTES = 0x10007,
    CMD_SHOW_V6_PSS_ROUTES = 0x10008,
    CMD_SHOW_V4_SECURITY_MAC = 0x10009,
    CMD_SHOW_V4_SECURITY_SGT = 0x1000a,
    CMD_SHOW_FORWARDING_VLAN = 0x1000b,
    CMD_SHOW_OTV_OVERLAY = 0x1000c,
    CMD_SHOW_INTERNAL_COUNTS = 0x1000d,
    CMD_SHOW_MSG_CNTS = 0x1000e,
    CMD_SHOW_RESTART = 0x1000f,
    CMD_SHOW_TRACE = 0x10010,
    CMD_SHOW_TRACE_PROFILE = 0x10011,
    CMD_SHOW_FUNCSTATS = 0x10012,
    CMD_SHOW_MCAST_V4_ROUTES = 0x10013,
    CMD_SHOW_MCAST_V6_ROUTES = 0x10014,
    CMD_SHOW_MCAST_OTV_V4_ROUTES = 0x10015,
    CMD_SHOW_MCAST_OTV_V6_ROUTES = 0x10016,
    CMD_SHOW_MCAST_OIFLIST = 0x10017,
    CMD_SHOW_MCAST_INTERNAL_COUNTS = 0x10018,
    CMD_CLEAR_INTERNAL_COUNTS = 0x10020,
    CMD_CLEAR_CUMULATIVE_COUNTERS = 0x10021,
    CMD_CLEAR_MSG_CNTS = 0x10022,
    CMD_CLEAR_MCAST_INTERNAL_COUNTS = 0x10023,
    CMD_BYPASS_HARDWARE = 0x10028, /* the value: CMD_ATTR_VALUE, as of the switches that follow */
    CMD_DISABLE_TRACING = 0x10029,
    CMD_ENABLE_RC_DEBUGS = 0x1002a,
    CMD_UPDATE_FUNCSTATS = 0x1002b,
    CMD_DISABLE_FUNCSTATS_TRACE = 0x1002c,
    CMD_DISABLE_PSS = 0x1002d,
    CMD_CLEAR_MCAST_V4_ROUTES = 0x100a8,
    CMD_CLEAR_MCAST_V6_ROUTES = 0x100a9,
    CMD_SHOW_LABELS = 0x10100,
    CMD_SHOW_LABEL_SPACE = 0x10101,
    CMD_SHOW_TE = 0x10102,
    CMD_SHOW_LABEL_INTERNAL_COUNTS = 0x10103,
    CMD_SHOW_HISTORY_TIME = 0x10104,  /* all histories, merged by time */
    CMD_SET_HISTORY_ENABLE = 0x10105, /* CMD_ATTR_HISTORY says which, CMD_ATTR_VALUE 1 or 0 */
    CMD_SET_HISTORY_FILTER = 0x10106, /* and CMD_ATTR_HISTORY_KEY; value 1 adds, 0 takes away */
    CMD_SET_HISTORY_STICKY = 0x10107, /* the same */
    CMD_SHOW_INTERFACES = 0x10108,    /* interfaces as the model has them */
    CMD_SHOW_TABLES = 0x10109,        /* tables of a VDC */
    CMD_SHOW_PROCESS = 0x1010a,       /* queues, store, memory */
    CMD_CHECK_CONSISTENCY = 0x1010b,  /* model, records and engine of one route, or of all */
};

/* The clear of each history; CMD_HISTORY_CONF() and CMD_HISTORY_SHOW() are the other two of its block. */
enum lcfwd_command_history : uint32_t {
    CMD_HISTORY_V6_PFX = 0x10037,
    CMD_HISTORY_LABEL = 0x1003f,
    CMD_HISTORY_V6_ADJ = 0x10047,
    CMD_HISTORY_ECMP = 0x1004f,
    CMD_HISTORY_MPLS_ECMP = 0x10057,
    CMD_HISTORY_OTV_ADJ = 0x1005f,
    CMD_HISTORY_OTV_VLAN = 0x10067,
    CMD_HISTORY_MCAST_V4_ROUTE = 0x1006a,
    CMD_HISTORY_MCAST_V6_ROUTE = 0x10072,
    CMD_HISTORY_MCAST_OTV_V4_ROUTE = 0x1007a,
    CMD_HISTORY_MCAST_OTV_V6_ROUTE = 0x10082,
    CMD_HISTORY_MCAST_OIFLIST = 0x1008a,
    CMD_HISTORY_MCAST_OIF = 0x10092,
    CMD_HISTORY_MCAST_OTV_OIFLIST = 0x1009a,
    CMD_HISTORY_MCAST_OTV_OIF = 0x100a2,
    CMD_HISTORY_V4_RNH = 0x100b1,
    CMD_HISTORY_V6_RNH = 0x100b9,
    CMD_HISTORY_VOBJ = 0x100c1,
    CMD_HISTORY_MPLS_ADJ = 0x100d6,
    CMD_HISTORY_TE = 0x100da,
    CMD_HISTORY_V4_PFX = 0x100e8,
    CMD_HISTORY_V4_ADJ = 0x100f1,
};
constexpr uint32_t CMD_HISTORY_CONF(uint32_t clear) { return clear - 2; }
constexpr uint32_t CMD_HISTORY_SHOW(uint32_t clear) { return clear - 1; }

/* Attributes. An unknown one is skipped; one of a wrong length ends the command with "bad attribute". */
enum lcfwd_command_attribute : uint16_t {
    CMD_ATTR_ALL_VRFS = 1,     /* empty */
    CMD_ATTR_VRF = 2,          /* name, 1 to 64 bytes, no NUL */
    CMD_ATTR_TABLE = 3,        /* u32 */
    CMD_ATTR_PREFIX = 4,       /* 4 or 16 bytes */
    CMD_ATTR_MASK_LENGTH = 5,  /* u8 */
    CMD_ATTR_LONGER = 6,       /* empty: the prefix and all inside it */
    CMD_ATTR_LONGEST = 7,      /* empty: longest match of the prefix */
    CMD_ATTR_IF_INDEX = 8,     /* u32 */
    CMD_ATTR_NEXT_HOP = 9,     /* 4 or 16 bytes; together with an interface: one adjacency */
    CMD_ATTR_CLASS = 10,       /* u8: a mode of the show (1, 2, 8 to 14) */
    CMD_ATTR_LIMIT = 11,       /* u32; 0: none */
    CMD_ATTR_DETAIL = 12,      /* empty */
    CMD_ATTR_RNH = 13,         /* empty: recursive next hops instead of routes */
    CMD_ATTR_LABEL_SPACE = 14, /* u32 */
    CMD_ATTR_LABEL = 15,       /* u32 */
    CMD_ATTR_VLAN = 16,        /* u16 */
    CMD_ATTR_OVERLAY = 17,     /* u32 */
    CMD_ATTR_GROUP = 18,       /* 5 or 17 bytes: address, mask length */
    CMD_ATTR_SOURCE = 19,      /* the same */
    CMD_ATTR_HANDLE = 20,      /* u32: of a group or an OIF list */
    CMD_ATTR_VOBJ = 21,        /* u64 */
    CMD_ATTR_VALUE = 22,       /* u32 */
    CMD_ATTR_HISTORY_KEY = 23, /* 1 to 64 bytes, laid out as the keys of that history */
    CMD_ATTR_STATISTICS = 24,  /* empty */
    CMD_ATTR_HISTORY = 25,     /* u32: a number of lcfwd_command_history */
};
