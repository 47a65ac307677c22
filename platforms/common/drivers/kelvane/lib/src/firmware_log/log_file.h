// The host files that the firmware's logs are copied into.
#ifndef FIRMWARE_LOG_LOG_FILE_H
#define FIRMWARE_LOG_LOG_FILE_H

#include <cstdint>
#include <cstdio>

#include "kelvane.h"

struct log_file {
    FILE *fp;
};

// Zeroes the record and opens `path` (below the host's root) empty. Returns 0 or 64170.
int32_t kelvane_get_fp_arm_trace(kelvane_handle handle, log_file *file, const char *path);

// Flushes and closes the file and zeroes the record. Returns `rc`, or 64170 where that is 0 and not all of
// the text could be written.
int32_t close_log_file(kelvane_handle handle, log_file *file, int32_t rc);

// Writes formatted text, of which 511 characters count, to the stream. Returns 0, or 22 for a format of 512
// characters and more, an address of no sirane, or no stream.
int32_t kelvane_ltrace_file_dump(kelvane_handle handle, kelvane_device_address device_address, FILE *stream,
                                 const char *format, ...) __attribute__((format(printf, 4, 5)));

#endif
