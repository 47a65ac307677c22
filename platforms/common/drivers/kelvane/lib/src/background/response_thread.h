// The threads that take what the firmware posts: one for every response, performance and alarm mailbox.
#ifndef BACKGROUND_RESPONSE_THREAD_H
#define BACKGROUND_RESPONSE_THREAD_H

#include <cstdint>

#include "kelvane_handle.h"

// Thread body; takes over its thread_argument. Returns only when its mailbox does not exist.
void *kelvane_asyc_resp_th(void *argument);

// One service pass: takes messages until none is offered. Leaves a synchronous answer to its caller, and
// looks again after 2 seconds, with no lock held. Returns KELVANE_EOK or what ended the pass.
int32_t kelvane_asyc_resp_common(kelvane_handle handle, sirane_link &link, mbox_id mbox);

#endif
