// The log: every line goes into a text file, if that exists, and into one ring of its level.
//
// Log, mutex and handle know each other. Lines are written under a library mutex, and a mutex that fails
// writes a line: a line that the file's own mutex causes goes to the ring alone (file.cpp), which breaks
// the circle at run time. The slot of a handle is asked for by the caller of TRACE and never by the log
// itself; what stands below the handles, the mutex included, says TRACE_NO_CARD.
#ifndef CORE_TRACE_TRACE_H
#define CORE_TRACE_TRACE_H

#include <cstddef>
#include <cstdint>

#include "core/trace/levels.h"
#include "kelvane.h"

constexpr kelvane_handle NO_HANDLE = 0xFFFFFFFF;          // prints as slot -1
constexpr kelvane_device_address NO_ADDRESS = 0xFFFFFFFF; // prints as 255 three times

constexpr size_t TRACE_MESSAGE_BYTES_MAX = 512; // in a ring; longer messages are whole in the file only

// Opens the file, makes the rings, turns all levels on and writes a line of stars at each. Returns
// KELVANE_EOK, KELVANE_RET_CODE_GEN_ERR for a file that cannot be appended to, or
// KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM.
int32_t initTrace(void);

// Writes one line, whatever the mask says. A level that is not exactly one of the seven bits writes
// nothing. May block on the log's mutex.
void kelvane_trace(uint32_t level, uint32_t slot, kelvane_device_address device_address, const char *function,
                   const char *format, ...) __attribute__((format(printf, 5, 6)));

// What a line prints as its slot; in core/handle.cpp. Silent, since every line asks for it.
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

// The same for a line that belongs to no card.
#define TRACE_NO_CARD(function, level, ...)                                                                  \
    do {                                                                                                     \
        if (trace_is_on(level)) {                                                                            \
            kelvane_trace(level, NO_HANDLE, NO_ADDRESS, function, __VA_ARGS__);                              \
        }                                                                                                    \
    } while (false)

#endif
