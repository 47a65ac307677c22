// The rings that keep the latest lines in memory: one for each level, and three that no level writes to.
#ifndef CORE_TRACE_RINGS_H
#define CORE_TRACE_RINGS_H

#include "kelvane.h"
#include "platform/trace/trace_ring.h"

// Null until they are made, and for those that could not be: trace_ring_write takes nothing then.
extern trace_ring *kelvane_err_ltrace;
extern trace_ring *kelvane_info_ltrace;
extern trace_ring *kelvane_alarm_ltrace;
extern trace_ring *kelvane_pm_ltrace;
extern trace_ring *kelvane_debug_ltrace;
extern trace_ring *kelvane_lowpr_ltrace;
extern trace_ring *kelvane_reg_ltrace;
// Three more, to which this library does not write, are in kelvane.h.

void trace_rings_create(void);

#endif
