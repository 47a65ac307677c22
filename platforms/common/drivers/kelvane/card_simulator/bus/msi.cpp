#include "card_simulator/bus/msi.h"

#include <algorithm>
#include <bit>

#include "kelvane_bar.h"

namespace {

constexpr uint32_t SIRANE_BITS = (1u << SIRANE_COUNT) - 1;

// The source register of a pending sirane stays as it is until the host has cleared the bit.
uint32_t present(msi &msi, bar &bar, uint32_t sirane_id)
{
    const uint32_t bit = 1u << sirane_id;
    if (!bar.plain && msi.presented[sirane_id] && (bar_read(bar, MSI_STATUS_REG) & bit) == 0) {
        msi.presented[sirane_id] = false;
    }
    if (msi.presented[sirane_id] || msi.waiting[sirane_id].empty()) {
        return 0;
    }
    bar_write(bar, msi_source_reg(sirane_id), msi.waiting[sirane_id].front());
    msi.waiting[sirane_id].pop_front();
    msi.presented[sirane_id] = true;
    bar_set_bits(bar, MSI_STATUS_REG, bit);
    return (msi.enabled & bit) != 0 ? 1 : 0;
}

} // namespace

uint32_t msi_post(msi &msi, bar &bar, uint32_t sirane_id, uint32_t source)
{
    std::deque<uint32_t> &waiting = msi.waiting[sirane_id];
    if (std::ranges::find(waiting, source) == waiting.end()) {
        waiting.push_back(source);
    }
    return present(msi, bar, sirane_id);
}

uint32_t msi_host_cleared(msi &msi, bar &bar)
{
    uint32_t events = 0;
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        events += present(msi, bar, sirane_id);
    }
    return events;
}

uint32_t msi_host_enabled(msi &msi, bar &bar)
{
    const uint32_t global = bar_read(bar, GLOBAL_IRQ_ENABLE_REG) & GLOBAL_IRQ_ENABLE_MASK;
    const uint32_t enabled =
        global == GLOBAL_IRQ_ENABLE_MASK ? bar_read(bar, MSI_ENABLE_REG) & SIRANE_BITS : 0;
    const uint32_t newly = enabled & ~msi.enabled & bar_read(bar, MSI_STATUS_REG);
    msi.enabled = enabled;
    return static_cast<uint32_t>(std::popcount(newly));
}

uint32_t msi_settle(msi &msi, bar &bar, uint32_t over)
{
    uint32_t events = 0;
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        const uint32_t bit = 1u << sirane_id;
        const bool set = (bar_read(bar, MSI_STATUS_REG) & bit) != 0;
        if ((over & bit) != 0) {
            msi.presented[sirane_id] = false;
        }
        if (msi.presented[sirane_id] && !set) {
            bar_set_bits(bar, MSI_STATUS_REG, bit);
            events += (msi.enabled & bit) != 0 ? 1 : 0;
        } else if (!msi.presented[sirane_id] && set) {
            bar_clear_bits(bar, MSI_STATUS_REG, bit);
        }
        events += present(msi, bar, sirane_id);
    }
    return events;
}

void msi_reset(msi &msi, bar &bar)
{
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        msi.waiting[sirane_id].clear();
        msi.presented[sirane_id] = false;
    }
    bar_clear_bits(bar, MSI_STATUS_REG, SIRANE_BITS);
}
