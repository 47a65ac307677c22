// The mailboxes as the library sees them: one read-only record each, looked up by sirane and mailbox id.
#ifndef MBOX_MODEL_H
#define MBOX_MODEL_H

#include <cstdint>

#include "core/device_address.h"
#include "core/trace_context.h"
#include "kelvane.h"
#include "kelvane_handle.h"
#include "kelvane_mbox.h"

// Fill the tables, once, before any thread exists.
void init_global_mbox_register(void);
void init_mbox_handlers(void);

extern mbox_registers global_mbox_register[SIRANE_COUNT][MBOX_COUNT]; // rows 4 and 5 stay 0
extern mailbox_handler mbox_handlers[SIRANE_COUNT][MBOX_COUNT];

// The record; null, with a log line, for a pair that does not exist.
const mailbox_handler *get_mbox_handler(uint32_t sirane_id, uint32_t mbox);

// The record of a mailbox that exists.
inline const mailbox_handler &mailbox_of(uint32_t sirane_id, mbox_id mbox)
{
    return mbox_handlers[sirane_id][mbox];
}

// How many polls a wait on this mailbox makes.
uint64_t mbox_polling_number(const mailbox_handler &mb);

constexpr mbox_id ANSWER_MAILBOXES[] = {MBOX_RESPONSE, MBOX_PM, MBOX_ALARM}; // those with a thread

// The semaphore of a mailbox: for MBOX_DAP the card's only one, null where there is none.
kelvane_semaphore *mbox_sem_of(kelvane_handle handle, uint32_t sirane_id, uint32_t mbox);

void trace_mbox_header(trace_context at, uint32_t mbox, const mbox_data_header &header, uint32_t level);

#endif
