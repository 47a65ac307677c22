#include "core/trace/rings.h"

#include <cstdint>

trace_ring *kelvane_err_ltrace;
trace_ring *kelvane_info_ltrace;
trace_ring *kelvane_alarm_ltrace;
trace_ring *kelvane_pm_ltrace;
trace_ring *kelvane_debug_ltrace;
trace_ring *kelvane_lowpr_ltrace;
trace_ring *kelvane_reg_ltrace;
trace_ring *kelvane_zynq_ltrace;
trace_ring *kelvane_srn_ltrace;
trace_ring *kelvane_eprom_ltrace;

namespace {

constexpr uint32_t ENTRIES = 65536;
constexpr uint64_t STORE_BYTES = 0x2000000;

struct ring_row {
    trace_ring **ring;
    trace_ring **cleared_on_failure;
    const char *name;
    uint32_t entries;
    uint64_t store_bytes;
};

const ring_row rings[] = {
    {&kelvane_err_ltrace, &kelvane_err_ltrace, "KELVANE_ERR__", 8192, 0x400000},
    {&kelvane_info_ltrace, &kelvane_info_ltrace, "KELVANE_INFO_", ENTRIES, STORE_BYTES},
    {&kelvane_alarm_ltrace, &kelvane_alarm_ltrace, "KELVANE_ALARM", ENTRIES, STORE_BYTES},
    {&kelvane_pm_ltrace, &kelvane_pm_ltrace, "KELVANE_PM___", ENTRIES, STORE_BYTES},
    {&kelvane_debug_ltrace, &kelvane_debug_ltrace, "KELVANE_DEBUG", ENTRIES, STORE_BYTES},
    {&kelvane_lowpr_ltrace, &kelvane_lowpr_ltrace, "KELVANE_LOWPR", ENTRIES, STORE_BYTES},
    {&kelvane_reg_ltrace, &kelvane_reg_ltrace, "KELVANE_REG__", ENTRIES, STORE_BYTES},
    {&kelvane_zynq_ltrace, &kelvane_zynq_ltrace, "KELVANE_ZYNQ_", ENTRIES, STORE_BYTES},
    {&kelvane_srn_ltrace, &kelvane_srn_ltrace, "KELVANE_SRN__", ENTRIES, STORE_BYTES},
    // When this one fails, the siranes' ring, which was made, is lost to its writers; its own handle is null.
    {&kelvane_eprom_ltrace, &kelvane_srn_ltrace, "KELVANE_PROM_", ENTRIES, STORE_BYTES},
};

} // namespace

void trace_rings_create(void)
{
    for (const ring_row &row : rings) {
        *row.ring = trace_ring_create(row.name, row.entries, row.store_bytes);
        if (*row.ring == nullptr) {
            *row.cleared_on_failure = nullptr;
        }
    }
}
