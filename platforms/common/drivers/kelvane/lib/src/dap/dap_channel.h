// The DAP channel: opaque messages between the application and the firmware, carried by a thread of its own
// that runs a state machine on events.
#ifndef DAP_DAP_CHANNEL_H
#define DAP_DAP_CHANNEL_H

#include <cstdint>

#include "kelvane.h"
#include "kelvane_mbox.h"
#include "kelvane_sync.h"

constexpr uint32_t DAP_BUFFER_BYTES = 1024;
constexpr uint32_t DAP_BUFFER_WORDS = DAP_BUFFER_BYTES / 4;
constexpr uint32_t DAP_CALL_EVENT = 4017; // a new request of the application; no state of the card

// The card's one exchange. The lock guards all fields after it.
struct dap_record {
    uint32_t dap_valid; // 1 when the record is ready
    uint32_t dap_state_reg_write;
    uint32_t dap_state_reg_read;
    uint32_t dap_mailbox_addr;
    kelvane_mutex dap_lock;
    uint32_t dap_pending; // 1 while a request waits for the thread
    uint32_t dap_lock_sec;
    uint32_t dap_lock_nsec;
    uint32_t dap_buffer[DAP_BUFFER_WORDS]; // the request, later the answer
    uint32_t dap_size;                     // of the request, bytes
    uint32_t dap_cmd;                      // the event being handled
    kelvane_dap_cb dap_callback;
    uint32_t dap_ref_id; // of the message in flight
};

extern dap_record the_dap_record;

// A state is the handler of the next event, which returns the state that follows.
struct dap_state {
    dap_state (*handle_event)(kelvane_handle handle, dap_record *record);
};

dap_state kelvane_dap_wait_for_call(kelvane_handle handle, dap_record *record);
dap_state kelvane_dap_wait_for_reset(kelvane_handle handle, dap_record *record);
dap_state kelvane_dap_wait_for_done(kelvane_handle handle, dap_record *record);

// Makes the record ready, before any thread or application can reach it. KELVANE_EOK or
// KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM.
int32_t dap_record_init(dap_record *record);

// Serves one event, after a give of the DAP semaphore: a pending request, else the firmware's state. An event
// is lost when it cannot be read, or when the lock cannot be had within a second.
void dap_serve_event(kelvane_handle handle, dap_record *record, dap_state *state);

// Makes semaphore and record, and with `start_thread` the thread, once for the process. Returns KELVANE_EOK
// or what failed.
int32_t initialize_dap(kelvane_handle handle, bool start_thread);

// Thread body; takes over its thread_argument.
void *kelvane_dap_th(void *argument);

// ---- moving a message, with dap_lock held

// KELVANE_EOK, or KELVANE_RET_CODE_EINVAL for more than the buffer holds.
int32_t kelvane_dap_mbox_handler_set_data(dap_record *record, const void *data, uint32_t size,
                                          kelvane_dap_cb callback);

// Writes header and data, and reads each word back. One that reads back differently ends the writing, but
// returns KELVANE_EOK: the exchange goes on, and the firmware judges.
int32_t kelvane_dap_mbox_handler_move_data_to_regs(kelvane_handle handle, dap_record *record);

// Reads the answer and calls the callback. An answer with an error word is only logged, and is KELVANE_EOK.
// KELVANE_RET_CODE_VERSION_MISMATCH for one that does not belong to the request or is too long.
int32_t kelvane_dap_mbox_handler_manage_done_state(kelvane_handle handle, dap_record *record);

#endif
