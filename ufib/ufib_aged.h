/* ufib/ufib_aged.h: which routes no packet has used of late, for a sender that downloads selectively. One thread; one
 * answer is built at a time, in a buffer of its own. */
#pragma once

#include "ufib/ufib_control_wire.h"

struct mts_msg;
struct ufib_vdc;

/* Walks the table's routes and answers 'sender' with those that the library calls aged: as many messages as it takes,
 * the last one marked. An unknown table, or one of another family, is answered at once with flags 3.
 * 0, or -1 when an answer could not be sent: the walk ends there. */
int ufib_get_aged_routes(ufib_vdc *vdc, const ufib_aged_msg &request, const mts_msg *sender);
