// The host's half of the handshake towards the firmware, and the reset of the mailboxes at link-up.
#ifndef MBOX_SEND_H
#define MBOX_SEND_H

#include <cstdint>

#include "core/trace_context.h"
#include "kelvane.h"
#include "kelvane_mbox.h"

// Writes the message (`header.size` words at `data`) into the mailbox and hands it over. The caller holds
// the sirane's command mutex. Blocks for up to two of the mailbox's time-outs. Returns 0, 110, 64170,
// 64171, 64174, 64175, or 64173 when the firmware refused the message; the mailbox's state on the host's
// side is idle again after any of them that the card still answers.
int32_t manage_cmd_send(trace_context at, const mailbox_handler &mb, const mbox_data_header &header,
                        const uint32_t *data);

// Writes `value` into the host's state of mailboxes 3, 0, 2, 1 of the sirane, and a reset into that of
// the DAP mailbox, whatever the value. Returns 0, 64170 or 64174.
int32_t global_reset_mbox(kelvane_handle handle, uint32_t sirane_id, uint32_t value);

// For firmware from 5.10 on, which answers a reset: awaits idle on the four mailboxes. Blocks for up to
// their time-outs.
int32_t kelvane_wait_for_mbox_idle_startup(kelvane_handle handle, uint32_t sirane_id);

// For older firmware: resets again and again until all four show any state. Blocks for 1.5 s an attempt,
// up to 100 of them. Returns 0, 64170 or 64175.
int32_t kelvane_check_for_mbox_idle_startup(kelvane_handle handle, uint32_t sirane_id);

#endif
