// The log: every trace goes into a text file, when that exists, and into one ring of its level.
#ifndef CORE_TRACE_TRACE_H
#define CORE_TRACE_TRACE_H

#include <atomic>
#include <cstdint>
#include <cstdio>

#include "kelvane.h"
#include "kelvane_sync.h"

constexpr uint32_t LEVEL_ERROR = KELVANE_TRACE_ERROR;
constexpr uint32_t LEVEL_INFO = KELVANE_TRACE_INFO;
constexpr uint32_t LEVEL_ALARM = KELVANE_TRACE_ALARM;
constexpr uint32_t LEVEL_PM = KELVANE_TRACE_PM;
constexpr uint32_t LEVEL_DEBUG = KELVANE_TRACE_DEBUG;
constexpr uint32_t LEVEL_REG = KELVANE_TRACE_REG;
constexpr uint32_t LEVEL_LOWPR = KELVANE_TRACE_LOWPR;

constexpr kelvane_handle NO_HANDLE = 0xFFFFFFFF;          // prints as slot -1
constexpr kelvane_device_address NO_ADDRESS = 0xFFFFFFFF; // prints as 255 three times

constexpr int32_t LOG_FILE_MAX_ROWS = 1000000;
constexpr size_t TRACE_MESSAGE_BYTES = 512;

extern std::atomic<uint32_t> trace_level_mask;
extern char traceFile[64];
extern std::atomic<FILE *> logFileFp; // none: file logging is off
extern int32_t logFileFp_rowcounter;  // lines since the last clearing; under log_file_mutex
extern kelvane_mutex log_file_mutex;

int32_t initTrace(void);

inline bool trace_is_on(uint32_t level)
{
    return (trace_level_mask.load(std::memory_order_relaxed) & level) != 0;
}

// Writes one line, whatever the mask says. A level that is not exactly one of the seven bits writes
// nothing. May block on the log's mutex.
void kelvane_trace(uint32_t level, uint32_t slot, kelvane_device_address device_address, const char *function,
                   const char *format, ...) __attribute__((format(printf, 5, 6)));

// Writes a line into the file only, its values laid out by the ring's format tag. The row is not
// counted. The caller makes the ring's entry itself.
void kelvane_trace_tagged(uint32_t level, uint64_t tag, uint32_t slot, kelvane_device_address device_address,
                          const char *function, ...);

// What a line prints as its slot; in core/handle.cpp. Silent, since every line asks it.
uint32_t kelvane_slot_of_handler(kelvane_handle handle);

// One load and one test when the level is off: nothing is evaluated or formatted then.
#define TRACE(level, handle, device_address, ...)                                                            \
    TRACE_AS(__func__, level, handle, device_address, __VA_ARGS__)

// The same under the name of the operation on whose behalf the line is written.
#define TRACE_AS(function, level, handle, device_address, ...)                                               \
    do {                                                                                                     \
        if (trace_is_on(level)) {                                                                            \
            kelvane_trace(level, kelvane_slot_of_handler(handle), device_address, function, __VA_ARGS__);    \
        }                                                                                                    \
    } while (false)

#endif
