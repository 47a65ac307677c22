// The aging of requests that nobody answers.
#ifndef BACKGROUND_AGING_H
#define BACKGROUND_AGING_H

#include <cstdint>

#include "core/trace_context.h"
#include "kelvane_handle.h"

// One pass over the standard requests of a table: each grows older by a step, and one beyond the limit is
// reported to its callback with ETIMEDOUT and freed. The report is taken from the table of the sirane that
// the address names, which must be this one; an address that names none skips the report. Returns the status
// of the last slot.
int32_t kelvane_manage_asynch_req_aging(trace_context at, const mailbox_handler &mb, request_table &requests);

#endif
