// Interrupts: from the card's pending bits to the semaphore of the thread that they are for.
#ifndef MBOX_MSI_H
#define MBOX_MSI_H

#include <cstdint>

#include "kelvane.h"

// The mailbox that raised the sirane's interrupt. 64170 for one that never interrupts (3 in `mbox_out`)
// or is unknown (6), or a failed read's status with `mbox_out` untouched.
int32_t kelvane_read_ir_mbox(kelvane_handle handle, uint32_t sirane_id, uint32_t *mbox_out);

// Clears the sirane's pending bit, and with it every bit that was pending at the read: callers have read
// the status before and serve all of it. Returns the write's status.
int32_t kelvane_ordune_msi_clear_interrupt(kelvane_handle handle, uint32_t sirane_id);

#endif
