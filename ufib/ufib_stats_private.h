/* ufib/ufib_stats_private.h: between the reading and the polling of statistics. For ufib_stats*.cc only. */
#pragma once

struct ufib_stats_row;

/* An object was read: one more row for the poll that is being worked; without one, nothing. */
void ufib_stats_report(const ufib_stats_row &row);
