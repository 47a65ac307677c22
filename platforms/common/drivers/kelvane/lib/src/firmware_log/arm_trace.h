// The firmware's log, copied from its ring in the BAR into a host file: coded rows, which are decoded here,
// or rows of text.
//
// One dump at a time: there is one open file for the process. Operations return KELVANE_EOK;
// KELVANE_RET_CODE_GEN_ERR when the file cannot be opened or written, the ring cannot be read, or another
// dump is in progress; KELVANE_RET_CODE_HW_PROBLEM for indexes that no ring has; or the failure of reading
// the firmware's version.
#ifndef FIRMWARE_LOG_ARM_TRACE_H
#define FIRMWARE_LOG_ARM_TRACE_H

#include <cstdint>

#include "kelvane.h"

constexpr uint32_t PS_MAX_REC = 0x1FC00;     // bound on the indexes of coded rows; the ring itself has 32512
constexpr uint32_t MAX_FIRST_LAST = 0xFFF00; // bound on the offsets of text rows, and the end of their ring
constexpr uint32_t TEXT_ROWS = 10920;

int32_t kelvane_ps_print_trace_coded(kelvane_handle handle);
int32_t kelvane_ps_print_trace_string(kelvane_handle handle);

// Copy one row into the open file. After a failed read dumpRow returns KELVANE_RET_CODE_GEN_ERR,
// dumpRowString the status of the read.
int32_t dumpRow(uint32_t row_index, kelvane_handle handle);
int32_t dumpRowString(uint32_t byte_offset, kelvane_handle handle);

// Rows by their number in the order of the ring, from 0, both ends included; 0 and 0 means all. Also returns
// KELVANE_RET_CODE_EINVAL for numbers that no row has. Coded rows only give a line in the log.
int32_t kelvane_ps_print_sel_trace_ordune(kelvane_handle handle, uint32_t first_line_req,
                                          uint32_t last_line_req);
int32_t kelvane_ps_print_sel_trace_ordune_string(kelvane_handle handle, uint32_t first_line_req,
                                                 uint32_t last_line_req);
int32_t kelvane_ps_print_sel_trace_ordune_coded(kelvane_handle handle);

#endif
