// The thread for what has to happen without an event: every 2 seconds it drains the mailboxes, ages the
// requests, asks for the firmware's echo and looks for upsets.
#ifndef BACKGROUND_LOW_PRIORITY_THREAD_H
#define BACKGROUND_LOW_PRIORITY_THREAD_H

#include <cstdint>

#include "kelvane.h"
#include "kelvane_mbox.h"

// What the thread carries from one pass to the next.
struct low_priority_state {
    kelvane_handle handle;
    kelvane_device_address device_address; // all ones until the first pass with the mapping up, then that of
                                           // the last sirane, even while the mapping is down
    int32_t label;                         // in the line of the pass: -1 the first time, 3 later
    uint32_t passes;
};

low_priority_state low_priority_start(kelvane_handle handle);

// One pass; does nothing while the thread is not active. With firmware 5.22 and later and no performance
// subscription it takes a second per sirane.
void low_priority_pass(low_priority_state *state);

// Thread body; takes over its thread_argument.
void *kelvane_low_prio_th(void *argument);

#endif
