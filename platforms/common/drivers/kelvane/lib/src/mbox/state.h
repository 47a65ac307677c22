// The state registers of a mailbox: reading, checking, writing and awaiting a state.
#ifndef MBOX_STATE_H
#define MBOX_STATE_H

#include <cstdint>

#include "core/trace_context.h"
#include "kelvane.h"
#include "kelvane_mbox.h"

// KELVANE_EOK for a value that is a state, KELVANE_RET_CODE_DEVICE_NOT_READY for 0,
// KELVANE_RET_CODE_HW_PROBLEM for any other; `reg` is for the log.
int32_t is_mbox_reg_valid(kelvane_handle handle, const mailbox_handler &mb, uint32_t reg,
                          const uint32_t *state);

// Reads the firmware's state. With CHECK_ALIVE a value that is no state fails as above.
int32_t read_mbox_state(kelvane_handle handle, const mailbox_handler &mb, uint32_t *state_out,
                        uint32_t check_alive);

int32_t write_mbox_state(kelvane_handle handle, const mailbox_handler &mb, uint32_t value,
                         uint32_t check_alive);

// Writes idle, whatever `new_state` is.
int32_t manage_cmd_mbox_new_state(kelvane_handle handle, const mailbox_handler &mb, uint32_t new_state);

// Looks once. The status tells whether the register could be read and holds a state; only `state_out` tells
// whether that is one of `waiting_state_mask`. `incr_counter` is the number of earlier attempts: above 3, the
// look is no longer traced in detail.
int32_t mbox_check_for_state(trace_context at, const mailbox_handler &mb, uint32_t waiting_state_mask,
                             uint32_t incr_counter, uint32_t *state_out);

// How an awaited state is compared with the mask.
enum state_match : uint32_t {
    MATCH_ANY_BIT = 0, // it shares a bit
    MATCH_EXACT = 1,   // it is equal
};

// Polls until the state matches, for up to the mailbox's time-out. Returns KELVANE_EOK, a failed read's
// status, or KELVANE_RET_CODE_ETIMEDOUT, having written idle.
int32_t mbox_wait_for_state(trace_context at, const mailbox_handler &mb, uint32_t waiting_state_mask,
                            state_match exact, uint32_t check_alive, uint32_t *state_out);

#endif
