#include "core/trace/levels.h"

#include "core/mutex.h"
#include "core/trace/rings.h"

std::atomic<uint32_t> trace_level_mask{ALL_LEVELS};
kelvane_mutex trace_level_mutex;

namespace {

const trace_level levels[] = {
    {LEVEL_ERROR, "ERROR", "ERR  ", &kelvane_err_ltrace},
    {LEVEL_INFO, "INFO ", "INFO ", &kelvane_info_ltrace},
    {LEVEL_ALARM, "ALARM", "ALARM", &kelvane_alarm_ltrace},
    {LEVEL_PM, "PM   ", "PM   ", &kelvane_pm_ltrace},
    {LEVEL_DEBUG, "DEBUG", "DEBUG", &kelvane_debug_ltrace},
    {LEVEL_REG, "REG  ", "UNKNW", &kelvane_reg_ltrace},
    {LEVEL_LOWPR, "LOWPR", "UNKNW", &kelvane_lowpr_ltrace},
};

void change_mask(uint32_t keep, uint32_t add)
{
    const mutex_guard lock(&trace_level_mutex);
    trace_level_mask.store((trace_level_mask.load(std::memory_order_relaxed) & keep) | add,
                           std::memory_order_relaxed);
}

} // namespace

const trace_level *find_level(uint32_t bit)
{
    for (const trace_level &level : levels) {
        if (level.bit == bit) {
            return &level;
        }
    }
    return nullptr;
}

int32_t trace_levels_init(void)
{
    return kelvane_mutex_init(&trace_level_mutex);
}

uint32_t trace_level_mask_get(void)
{
    return trace_level_mask.load(std::memory_order_relaxed);
}

int32_t trace_level_mask_set(uint32_t mask)
{
    change_mask(0, mask);
    return KELVANE_EOK;
}

void trace_level_mask_add(uint32_t bits)
{
    change_mask(~0u, bits);
}

void trace_level_mask_clear(uint32_t bits)
{
    change_mask(~bits, 0);
}
