// The state registers of a mailbox: reading, judging, writing and awaiting a state.
#ifndef MBOX_STATE_H
#define MBOX_STATE_H

#include <cstdint>

#include "core/trace_context.h"
#include "kelvane.h"
#include "kelvane_mbox.h"

// 0 for a value that is a state, 64175 for 0, 64171 for any other.
int32_t is_mbox_reg_valid(kelvane_handle handle, const mailbox_handler &mb, uint32_t reg,
                          const uint32_t *state);

// Reads the firmware's state. With `check_alive` 1 a value that is no state fails as above.
int32_t read_mbox_state(kelvane_handle handle, const mailbox_handler &mb, uint32_t *state_out,
                        uint32_t check_alive);

int32_t write_mbox_state(kelvane_handle handle, const mailbox_handler &mb, uint32_t value,
                         uint32_t check_alive);

// Writes idle, whatever `new_state` says.
int32_t manage_cmd_mbox_new_state(kelvane_handle handle, const mailbox_handler &mb, uint32_t new_state);

// Looks once. The status tells whether the register is alive; only `state_out` tells whether the state
// is one of `waiting_state_mask`. From the fifth attempt on (`incr_counter` above 3) it is not traced in
// detail.
int32_t mbox_check_for_state(trace_context at, const mailbox_handler &mb, uint32_t waiting_state_mask,
                             uint32_t incr_counter, uint32_t *state_out);

// How an awaited state is compared.
enum state_match : uint32_t {
    MATCH_ANY_BIT = 0, // shares a bit with the mask
    MATCH_EXACT = 1,   // equals it
};

// Polls until the state matches: 0, a failed read's status, or 110 after the mailbox's time-out, which
// writes idle. Blocks for up to that time-out.
int32_t mbox_wait_for_state(trace_context at, const mailbox_handler &mb, uint32_t waiting_state_mask,
                            state_match exact, uint32_t check_alive, uint32_t *state_out);

#endif
