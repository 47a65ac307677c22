// The host's half of the handshake towards the firmware, and the mailboxes' reset at link-up.
#ifndef MBOX_SEND_H
#define MBOX_SEND_H

#include <cstdint>

#include "core/trace_context.h"
#include "kelvane.h"
#include "kelvane_mbox.h"

// Writes the message (`header.size` words at `data`) into the mailbox and hands it over. The caller holds the
// sirane's command mutex. Blocks for up to twice the mailbox's time-out. Returns KELVANE_EOK,
// KELVANE_RET_CODE_VERSION_MISMATCH when the firmware refused the message, KELVANE_RET_CODE_ETIMEDOUT, or the
// failure of an access or state: KELVANE_RET_CODE_DEVICE_UNAVAILABLE, KELVANE_RET_CODE_DEVICE_NOT_READY,
// KELVANE_RET_CODE_HW_PROBLEM. The host's state of the mailbox is idle again afterwards, if the card still
// answers.
int32_t manage_cmd_send(trace_context at, const mailbox_handler &mb, const mbox_data_header &header,
                        const uint32_t *data);

// Writes `value` into the host's state of the sirane's command, response, alarm and performance mailboxes,
// and MBOX_STATE_RESET into that of the DAP mailbox, whatever the value. Returns KELVANE_EOK or
// KELVANE_RET_CODE_DEVICE_UNAVAILABLE.
int32_t global_reset_mbox(kelvane_handle handle, uint32_t sirane_id, uint32_t value);

// For firmware 5.10 and later, which answers a reset: awaits idle on the four mailboxes, in the same order.
// Blocks for up to their time-outs. Returns KELVANE_EOK or the first wait's failure.
int32_t kelvane_wait_for_mbox_idle_startup(kelvane_handle handle, uint32_t sirane_id);

// For older firmware: resets again and again until all four show a valid state, whichever it is. Blocks
// for 1.5 s per attempt, for up to 100 of them. Returns KELVANE_EOK or KELVANE_RET_CODE_DEVICE_NOT_READY.
int32_t kelvane_check_for_mbox_idle_startup(kelvane_handle handle, uint32_t sirane_id);

#endif
