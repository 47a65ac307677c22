// The log's text file. The operator makes it; without one nothing is written.
#ifndef CORE_TRACE_FILE_H
#define CORE_TRACE_FILE_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "kelvane.h"
#include "kelvane_sync.h"

constexpr int32_t LOG_FILE_ROWS_MAX = 1000000;
constexpr size_t LOG_FILE_PATH_BYTES_MAX = 64;

extern char traceFile[LOG_FILE_PATH_BYTES_MAX];
extern std::atomic<FILE *> logFileFp; // null: file logging is off
extern int32_t logFileFp_rowcounter;  // lines since the last clearing; under log_file_mutex
extern kelvane_mutex log_file_mutex;

struct trace_file_line {
    const char *level_word;
    const char *after_function; // the colon, and what stands between it and the message
    uint32_t slot;
    kelvane_device_address device_address;
    const char *function;
    const char *message;
    size_t message_length;
    bool counted; // has a row number, and clears a full file
};

// Makes the mutex and opens the file if it exists. Returns KELVANE_EOK, KELVANE_RET_CODE_GEN_ERR for a file
// that cannot be appended to, or KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM.
int32_t trace_file_init(void);

// Writes the whole line at once; waits for the file's mutex, and writes without it if it cannot be had.
void trace_file_write(const trace_file_line &line);

#endif
