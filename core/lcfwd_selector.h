/* core/lcfwd_selector.h: the sources that the pump waits for: the seven queues and the timer queue. */
#pragma once

#include "host/engine/engine.h"

extern fu_sel lcfwd_selector;
extern fu_cq lcfwd_q_cq_timer; /* nothing queues an entry: timers run from the selector's time-out */
