// The card's persistent logs, copied from the EPROM's slices in the BAR into host files in the order in which
// they were written: as text for each sirane, as rows of words for the controller.
#ifndef FIRMWARE_LOG_EPROM_TRACE_H
#define FIRMWARE_LOG_EPROM_TRACE_H

#include <cstdint>
#include <cstdio>

#include "kelvane.h"

enum eprom_mode : uint32_t {
    EPROM_OF_SIRANE = 0,
    EPROM_OF_CONTROLLER = 1,
};

enum eprom_output : int32_t {
    EPROM_AS_TEXT = 0,
    EPROM_AS_WORDS = 1,
};

// Whether the controller's log can be read, and its size, 0 when it is empty. Returns KELVANE_EOK,
// KELVANE_RET_CODE_DEVICE_UNAVAILABLE when the EPROM is not ready, or the status of the read. The output is 0
// after a failure.
int32_t kelvane_check_eprom_consistency(kelvane_handle handle, uint32_t *log_size);

// Copies the blocks of a log whose number, counted in steps of 4, lies between the requests, both included; 0
// and 0 means all. Returns KELVANE_EOK; KELVANE_RET_CODE_EINVAL for a request beyond the log or an address of
// no sirane; KELVANE_RET_CODE_GEN_ERR for a file that cannot be opened or written, or impossible indexes; the
// status of a failing read. The file is always closed and keeps what was written.
int32_t kelvane_ps_print_sel_trace_sirane_eprom(kelvane_handle handle, kelvane_device_address device_address,
                                                uint32_t first_line_req, uint32_t last_line_req,
                                                uint32_t mode);

// The words from `reg_start` up to `reg_end`, BAR offsets: as four characters each, or as numbers with a
// newline after `size` bytes. Returns KELVANE_EOK, KELVANE_RET_CODE_EINVAL for another output or a size that
// is not a multiple of 4, or the status of a failing read.
int32_t dumpBlockSize(kelvane_handle handle, kelvane_device_address device_address, uint32_t reg_start,
                      uint32_t reg_end, int32_t size, FILE *stream, int32_t type);

// Which voltage regulators failed, a paragraph for each sirane. Stops at the first failing read or write and
// returns its status.
int32_t kelvane_dump_voltage_regulator_alarm(kelvane_handle handle, kelvane_device_address device_address,
                                             FILE *stream);

#endif
