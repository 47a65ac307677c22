// The host files into which the firmware's logs are copied.
#ifndef FIRMWARE_LOG_LOG_FILE_H
#define FIRMWARE_LOG_LOG_FILE_H

#include <cstdint>
#include <cstdio>

#include "kelvane.h"
#include "platform/file_size_guard.h"

// Whoever opens one holds a file_size_guard until it is closed.
struct log_file {
    FILE *fp;
};

// Zeroes the record and opens `path` (below the host's root) empty. Returns KELVANE_EOK or
// KELVANE_RET_CODE_GEN_ERR.
int32_t kelvane_get_fp_arm_trace(kelvane_handle handle, log_file *file, const char *path);

// Flushes and closes the file and zeroes the record. Returns `rc`, or KELVANE_RET_CODE_GEN_ERR if that is
// KELVANE_EOK and not all of the text could be written.
int32_t close_log_file(kelvane_handle handle, log_file *file, int32_t rc);

// Writes formatted text, cut to 511 characters, to the stream. Returns KELVANE_EOK, or
// KELVANE_RET_CODE_EINVAL for a format of 512 characters or more, an address of no sirane, or no stream.
int32_t kelvane_ltrace_file_dump(kelvane_handle handle, kelvane_device_address device_address, FILE *stream,
                                 const char *format, ...) __attribute__((format(printf, 4, 5)));

#endif
