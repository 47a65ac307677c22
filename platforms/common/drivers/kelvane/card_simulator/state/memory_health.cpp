#include "card_simulator/state/memory_health.h"

#include "kelvane_bar.h"
#include "platform/wait.h"

namespace {

// Even without the operator a bit flips now and then, and is corrected.
constexpr uint64_t SCRUBS_PER_CORRECTED_ERROR = 7;
constexpr uint64_t SCRUBS_PER_CORRECTED_UPSET = 45;

} // namespace

void publish_memory_health(card_state &state, bar &bar)
{
    memory_errors &errors = state.memory;
    errors.changed = false;
    const uint64_t scrubs = (wait_monotonic() - state.started_ns) / SCRUB_PERIOD_NS;
    uint32_t table[DDR_INFO_WORDS] = {};
    table[DDR_UNCORRECTABLE_FLAG] = errors.uncorrected != 0 ? 1 : 0;
    table[DDR_CORRECTABLE_COUNTER] =
        errors.corrected + static_cast<uint32_t>(scrubs / SCRUBS_PER_CORRECTED_ERROR);
    table[DDR_UNCORRECTABLE_COUNTER] = errors.uncorrected;
    table[DDR_UPSET_STATE] = errors.logic_is_spoiled ? DDR_UPSET_UNCORRECTABLE : DDR_NO_UPSET;
    table[DDR_UPSET_COUNTER] =
        errors.corrected_upsets + static_cast<uint32_t>(scrubs / SCRUBS_PER_CORRECTED_UPSET);
    for (uint32_t i = 0; i < DDR_INFO_WORDS; i++) {
        bar_write(bar, DDR_INFO_TABLE + 4 * i, table[i]);
    }
}
