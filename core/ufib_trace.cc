#include "core/ufib_trace.h"

/* Rows without a text belong to events that nothing writes. */
const bl_format ufib_trace_formats[UFIB_TR_COUNT] = {
    {""},
    {"rcvd mts msg $s$"}, /* 1 */
    {""},
    {"$s$"},                                                   /* 3 */
    {"Total fib processing time for $i32$ routes $float$ ms"}, /* 4 */
    {""},
    {"sent route response to UFDM"}, /* 6 */
    {""},
    {""},
    {"LC_UPGRADE: drop message"}, /* 9 */
    {"SGRP update skipped"},      /* 10 */
    {"sent SGRP response"},       /* 11 */
    {""},
    {""},
    {""},
    {""},
    {""},
    {"report ufib state $s$ mfib state $s$ flags $i32x$ to (M/U)FDM"}, /* 17 */
    {"UFDM up, epoch $i32$"},                                          /* 18 */
    {"MFDM up"},                                                       /* 19 */
    {"UFDM download commence in state $s$"},                           /* 20 */
    {"UFDM download end in state $s$"},                                /* 21 */
    {"MFDM download commence in state $s$"},                           /* 22 */
    {"MFDM download end in state $s$"},                                /* 23 */
    {"started table delete-pending timer"},                            /* 24 */
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {"installed v4 prefix $ipv4&mask$ in hardware @$i32x$"}, /* 31 */
    {"installed v6 prefix $ipv6&mask$ in hardware @$i32x$"}, /* 32 */
    {""},
    {""},
    {"installed table $i32x$ in hardware @$i32x$"}, /* 35 */
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {"stale prefix - prefix epoch $i32$ current epoch $i32$"}, /* 49 */
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {"PBR adjacency request, operation $i32$ code $i32$ handle $i32x$"}, /* 106 */
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {"ipsg v4 add, table $i32x$"},                             /* 117 */
    {"ipsg v6 add, table $i32x$"},                             /* 118 */
    {"ipsg v4 delete, table $i32x$"},                          /* 119 */
    {"ipsg v6 delete, table $i32x$"},                          /* 120 */
    {"sgrp v4 add, table $i32x$"},                             /* 121 */
    {"sgrp v6 add, table $i32x$"},                             /* 122 */
    {"sgrp v4 delete, table $i32x$"},                          /* 123 */
    {"sgrp v6 delete, table $i32x$"},                          /* 124 */
    {"sgrp table $i32x$"},                                     /* 125 */
    {"sgrp batch moves from table $i32x$"},                    /* 126 */
    {"sgrp v4 table delete, table $i32x$"},                    /* 127 */
    {"sgrp v6 table delete, table $i32x$"},                    /* 128 */
    {"sgrp batch, count $i32$ table $i32x$ old table $i32x$"}, /* 129 */
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {"client $i32$, table $i32x$, rcount $i32$, flags $i32x$, xid $i32x$ epoch $i32$"}, /* 140 */
    {"walked $i32$ objects in $s$ s"},                                                  /* 141 */
    {"ufib not ACTIVE, state is $s$"},                                                  /* 142 */
    {"delete stale routes, epoch $i32$ table $i32x$ afi $i32$"},                        /* 143 */
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {"WCCP adjacency request, code $i32$ handle $i32x$"}, /* 167 */
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {"routes processed: $i32$"},                                  /* 195 */
    {"Bulk route update processing begin: $i32$"},                /* 196 */
    {"Bulk route update processing end: $i32$"},                  /* 197 */
    {"v4_bulk_route_update        $i64$ usecs over $i32$ calls"}, /* 198 */
    {"hw_pss_flush                $i64$ usecs over $i32$ calls"}, /* 199 */
    {"v4_route_add                $i64$ usecs over $i32$ calls"}, /* 200 */
    {"trace_v4_route              $i64$ usecs over $i32$ calls"}, /* 201 */
    {"v4_route_errors             $i64$ usecs over $i32$ calls"}, /* 202 */
    {"get_create_v4_prefix        $i64$ usecs over $i32$ calls"}, /* 203 */
    {"v4prefix_get_create_next    $i64$ usecs over $i32$ calls"}, /* 204 */
    {"v4ecmp_route_to_key         $i64$ usecs over $i32$ calls"}, /* 205 */
    {"get_create_v4_ecmp          $i64$ usecs over $i32$ calls"}, /* 206 */
    {"get_create_v4_adj           $i64$ usecs over $i32$ calls"}, /* 207 */
    {"get_create_vobj             $i64$ usecs over $i32$ calls"}, /* 208 */
    {"v4_rnh_update               $i64$ usecs over $i32$ calls"}, /* 209 */
    {"v4_route_delete             $i64$ usecs over $i32$ calls"}, /* 210 */
    {"pss_insert_prefix           $i64$ usecs over $i32$ calls"}, /* 211 */
    {"pss_insert_adj              $i64$ usecs over $i32$ calls"}, /* 212 */
    {"pss_insert_ecmp             $i64$ usecs over $i32$ calls"}, /* 213 */
    {"hw_insert_table             $i64$ usecs over $i32$ calls"}, /* 214 */
    {"hw_insert_adj               $i64$ usecs over $i32$ calls"}, /* 215 */
    {"hw_insert_prefix            $i64$ usecs over $i32$ calls"}, /* 216 */
    {"hw_insert_ecmp              $i64$ usecs over $i32$ calls"}, /* 217 */
    {"hw_insert_vobj              $i64$ usecs over $i32$ calls"}, /* 218 */
    {"hw_delete_prefix            $i64$ usecs over $i32$ calls"}, /* 219 */
    {""},
    {""},
    {""},
    {""},
    {"ipsg created, if_index $i32x$ flags $i32x$"}, /* 224 */
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {""},
    {"Cookie Trace: $s$"}, /* 259 */
    {""},
    {""},
};

/* High half of the first word: how many records a level keeps; low half: the level. */
const bl_level ufib_trace_levels[UFIB_TRACE_LEVELS] = {
    {{0, 0, 0, 0, 0}},
    {{0x13880001, 0x6d, 0, 0, 0}},
    {{0x13880002, 0x6d, 0, 0, 0}},
};
