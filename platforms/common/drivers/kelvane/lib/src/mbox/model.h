// The mailboxes as the library reads them: one read-only record for each, looked up by sirane and id.
#ifndef MBOX_MODEL_H
#define MBOX_MODEL_H

#include <cstdint>

#include "core/device_address.h"
#include "kelvane.h"
#include "kelvane_mbox.h"
#include "kelvane_sync.h"

// Fills the tables; called once, before any thread exists.
void init_global_mbox_register(void);
void init_mbox_handlers(void);

extern mbox_registers global_mbox_register[SIRANE_COUNT][MBOX_COUNT]; // rows 4 and 5 stay 0
extern mailbox_handler mbox_handlers[SIRANE_COUNT][MBOX_COUNT];

// The record, or null with a log line for a pair that does not exist.
const mailbox_handler *get_mbox_handler(uint32_t sirane_id, uint32_t mbox);

// 1 below the end of the table, else 0 with a log line. One-sided: null passes.
uint32_t is_mbox_h_valid(const mailbox_handler *mb);

// The record itself, or a record of harmless defaults for null and for a pointer past the table.
const mailbox_handler &mbox_fields(const mailbox_handler *mb);

// How many polls a wait on this mailbox makes.
uint64_t mbox_polling_number(const mailbox_handler *mb);

// The semaphore of a pair: the card's one for MBOX_DAP, null where there is none.
kelvane_semaphore *mbox_sem_of(kelvane_handle handle, uint32_t sirane_id, uint32_t mbox);

// The locks of a sirane, null for what does not exist.
kelvane_mutex *mbox_command_mutex(kelvane_handle handle, uint32_t sirane_id);
kelvane_mutex *mbox_response_mutex(kelvane_handle handle, uint32_t sirane_id, uint32_t mbox);

// The response mutex whose message this thread serves, with the mutex held, or null. A callback of the
// application runs meanwhile and may come back into the library.
extern thread_local const kelvane_mutex *mbox_mutex_served_here;

void trace_mbox_header(kelvane_handle handle, kelvane_device_address device_address, uint32_t mbox,
                       const mbox_data_header &header, uint32_t level);

#endif
