// The levels of the log: their bits, their mask, and how the file and the rings know them.
#ifndef CORE_TRACE_LEVELS_H
#define CORE_TRACE_LEVELS_H

#include <atomic>
#include <cstdint>

#include "kelvane.h"
#include "kelvane_sync.h"
#include "platform/trace/trace_ring.h"

constexpr uint32_t LEVEL_ERROR = KELVANE_TRACE_ERROR;
constexpr uint32_t LEVEL_INFO = KELVANE_TRACE_INFO;
constexpr uint32_t LEVEL_ALARM = KELVANE_TRACE_ALARM;
constexpr uint32_t LEVEL_PM = KELVANE_TRACE_PM;
constexpr uint32_t LEVEL_DEBUG = KELVANE_TRACE_DEBUG;
constexpr uint32_t LEVEL_REG = KELVANE_TRACE_REG;
constexpr uint32_t LEVEL_LOWPR = KELVANE_TRACE_LOWPR;
constexpr uint32_t ALL_LEVELS = 127;

extern std::atomic<uint32_t> trace_level_mask;
extern kelvane_mutex trace_level_mutex; // under which the mask changes

inline bool trace_is_on(uint32_t level)
{
    return (trace_level_mask.load(std::memory_order_relaxed) & level) != 0;
}

struct trace_level {
    uint32_t bit;
    const char *word;
    const char *tagged_word; // of kelvane_trace_tagged
    trace_ring **ring;
};

// Null for anything but exactly one of the seven bits.
const trace_level *find_level(uint32_t bit);

// Makes the mutex. KELVANE_EOK or KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM.
int32_t trace_levels_init(void);

#endif
