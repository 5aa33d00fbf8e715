/* host/containers/containers.h: the folder's process state as a whole. */
#pragma once

/* Releases all slabs, forgets all prefix tries and all fault knobs. Pointers into them are dead; structures of the
 * caller that hold them must be zeroed by their owner. */
void containers_reset();
