// The aging of requests that nobody answers.
#ifndef BACKGROUND_AGING_H
#define BACKGROUND_AGING_H

#include <cstdint>

#include "kelvane.h"
#include "kelvane_mbox.h"
#include "kelvane_sync.h"

// One pass over the standard requests of `array`: each grows older by a step, and one beyond the limit is
// reported to its callback with 110 and freed. The report is taken from the table of the sirane that
// `device_address` names, which must be that of `array`; an address that names none skips the report.
// Returns the status of the last slot.
int32_t kelvane_manage_asynch_req_aging(kelvane_handle handle, kelvane_device_address device_address,
                                        const mailbox_handler *mb, asynch_req_t *array, kelvane_mutex *lock);

#endif
