// Messages from the firmware: validating them, closing the handshake, the synchronous caller's receive, and
// the drain of what nobody takes.
#ifndef MBOX_RECEIVE_H
#define MBOX_RECEIVE_H

#include <cstdint>

#include "core/trace_context.h"
#include "kelvane.h"
#include "kelvane_handle.h"

// Whether the command, version and size of a header agree with the catalogue and its reference is `ref_id`;
// if not, a log line says what is wrong. The size is compared in words against the catalogue's bytes, which
// bounds it loosely and never refuses a correct message.
bool kelvane_validate_header(trace_context at, uint32_t ref_id, const mbox_data_header &header);

// The host's answer to the firmware's state: idle to idle; to ready, ready if the header is good and refused
// if not. Returns the write's status, or KELVANE_RET_CODE_GEN_ERR for any other state, which writes nothing.
int32_t manage_resp_mbox_new_state(trace_context at, const mailbox_handler &mb, uint32_t new_state,
                                   bool validate_header);

// Wipes the header, answers, awaits the firmware's idle and shows the host's. `state` is the last state read,
// and is updated. Blocks for up to the mailbox's time-out. Returns KELVANE_EOK or what failed.
int32_t kelvane_close_resp_mbox_handshake(trace_context at, const mailbox_handler &mb, bool validate_header,
                                          uint32_t *state);

// Leaves the mailbox idle and its mutex free after a failure, and returns what failed. A failure to do so
// takes precedence over `failure`: a receiver whose lock of the mutex timed out returns the failed unlock's
// KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM.
int32_t mbox_leave_after_failure(kelvane_handle handle, const mailbox_handler &mb,
                                 kelvane_mutex *response_mutex, int32_t failure);

// Polls for the answer to `request_header`, under the response mutex for one poll or one message at a time,
// and leaves asynchronous messages alone. The caller holds the sirane's command mutex. Blocks for up to the
// mailbox's time-out. Returns KELVANE_EOK when an answer was delivered, whatever its error word;
// KELVANE_RET_CODE_VERSION_MISMATCH for one that does not belong to the request; KELVANE_RET_CODE_ETIMEDOUT;
// or what failed. After a failure, too, `header_out` and `data_out` may hold words of an answer. An answer
// that arrives with the very last poll is taken and counts as late.
int32_t manage_resp_receive(trace_context at, sirane_link &link, mbox_id mbox, mbox_data_header *header_out,
                            mbox_data *data_out, const mbox_data_header &request_header);

// The drain of one of the sirane's three answer mailboxes, until nothing is offered there: an orphaned answer
// is thrown away; for any other message the mailbox's thread is woken. Blocks for the locks' limits at worst,
// and for 1 s on a performance mailbox without a subscription. Returns KELVANE_EOK,
// KELVANE_RET_CODE_ETIMEDOUT for an answer that comes while a command of that sirane runs, or what failed.
int32_t kelvane_deque_resp_receive(kelvane_handle handle, sirane_link &link, mbox_id mbox);

#endif
