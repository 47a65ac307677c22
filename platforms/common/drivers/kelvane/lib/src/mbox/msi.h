// Interrupts: from the card's pending bits to the semaphore of the thread that each is for.
#ifndef MBOX_MSI_H
#define MBOX_MSI_H

#include <cstdint>

#include "kelvane.h"

// The mailbox that raised the sirane's interrupt. Returns KELVANE_EOK, KELVANE_RET_CODE_GEN_ERR for a mailbox
// that never interrupts (`mbox_out` is MBOX_COMMAND) or an unknown source (MBOX_NONE), or a failed read's
// status with `mbox_out` untouched.
int32_t kelvane_read_ir_mbox(kelvane_handle handle, uint32_t sirane_id, uint32_t *mbox_out);

// Clears the sirane's pending bit, and with it every other that is pending at this moment, since the
// register's own bits are written back to it as ones. A failed read clears the sirane's bit alone. Returns
// the write's status.
int32_t kelvane_ordune_msi_clear_interrupt(kelvane_handle handle, uint32_t sirane_id);

#endif
