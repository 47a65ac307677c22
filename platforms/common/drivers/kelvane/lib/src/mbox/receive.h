// Messages from the firmware: validating, closing the handshake, the synchronous caller's receive, and
// the drain of what nobody takes.
#ifndef MBOX_RECEIVE_H
#define MBOX_RECEIVE_H

#include <cstdint>

#include "core/trace_context.h"
#include "kelvane.h"
#include "kelvane_handle.h"

// True for a header whose command, version and size the catalogue knows and whose reference is `ref_id`;
// else false, with a log line that says what is wrong. The size is compared in words against the
// catalogue's bytes, which bounds it loosely and never refuses a correct message.
bool kelvane_validate_header(trace_context at, uint32_t ref_id, const mbox_data_header &header);

// The host's answer to the firmware's state: 2 for 2; for 4 a 4 when the header is good, else 16.
// Returns 64170 for any other state and writes nothing.
int32_t manage_resp_mbox_new_state(trace_context at, const mailbox_handler &mb, uint32_t new_state,
                                   bool validate_header);

// Wipes the header, answers, awaits the firmware's idle and shows the host's. `state` is the last state
// read and is updated. Blocks for up to the mailbox's time-out; 0 or what failed.
int32_t kelvane_close_resp_mbox_handshake(trace_context at, const mailbox_handler &mb, bool validate_header,
                                          uint32_t *state);

// Leaves the mailbox idle and its mutex free after a failure. The failures of doing so outrank that one, also
// the failure to release a mutex that could not be had.
int32_t mbox_leave_after_failure(kelvane_handle handle, const mailbox_handler &mb,
                                 kelvane_mutex *response_mutex, int32_t failure);

// Polls for the answer to `request_header`, under the response mutex for one poll or one message at a
// time, and leaves messages of others alone. The caller holds the sirane's command mutex. Blocks for up
// to the mailbox's time-out. Returns 0 when an answer was delivered, whatever its error word; 64173 when
// it does not belong to the request; 110; or what failed. `header_out` and `data_out` may hold an
// answer's words after a failure, too. An answer that comes with the very last poll counts as late.
int32_t manage_resp_receive(trace_context at, sirane_link &link, mbox_id mbox, mbox_data_header *header_out,
                            mbox_data *data_out, const mbox_data_header &request_header);

// Looks at one of the sirane's three answer mailboxes until nothing is offered there: an orphaned answer
// is thrown away, another message's thread is woken. Blocks for the locks' limits at worst; 1 s for the
// performance mailbox without a subscription. Returns 0, 110 while a command of that sirane runs, or
// what failed.
int32_t kelvane_deque_resp_receive(kelvane_handle handle, sirane_link &link, mbox_id mbox);

#endif
