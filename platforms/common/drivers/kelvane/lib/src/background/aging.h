// The aging of requests that nobody answers.
#ifndef BACKGROUND_AGING_H
#define BACKGROUND_AGING_H

#include <cstdint>

#include "core/trace_context.h"
#include "kelvane_handle.h"

// One pass over the standard requests of a table: each ages by one step, and any beyond the limit is reported
// to its callback with KELVANE_RET_CODE_ETIMEDOUT and freed. The record to report comes from the table of the
// sirane in `at.address`; an address without a sirane prevents the report. Returns the status of the last
// slot.
int32_t kelvane_manage_asynch_req_aging(trace_context at, const mailbox_handler &mb, request_table &requests);

#endif
