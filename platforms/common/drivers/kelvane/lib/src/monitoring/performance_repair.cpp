// Performance records of older firmware, brought to the current layout.
#include <cstddef>
#include <cstring>

#include "core/trace/trace.h"
#include "monitoring/performance.h"

static_assert(sizeof(kelvane_xpm2_port_pm) == 24);
static_assert(sizeof(kelvane_sirane_port_pm) == 128);
static_assert(offsetof(kelvane_sirane_port_pm, corrected_bits_count_pm_int) == 64);
static_assert(offsetof(kelvane_sirane_port_pm, sopmd_cur) == 84);
static_assert(offsetof(kelvane_sirane_port_pm, pdl_max) == 120);
static_assert(sizeof(kelvane_global_pm) == 440);
static_assert(offsetof(kelvane_global_pm, sirane_port) == 128);
static_assert(offsetof(kelvane_global_pm, xpm2_port) == 384);
static_assert(offsetof(kelvane_global_pm, generic) == 432);

namespace {

// The whole record in version 0, whose network ports end earlier.
constexpr size_t OLD_BYTES = 360;
constexpr size_t OLD_PORT_BYTES = 88;
constexpr size_t OLD_PORT[2] = {128, 216};
constexpr size_t OLD_MODULES = 304;
constexpr size_t OLD_GENERIC = 352;

constexpr size_t FIRST_NEW_FIELD = offsetof(kelvane_sirane_port_pm, sopmd_cur);
constexpr size_t NEW_FIELDS_END = offsetof(kelvane_sirane_port_pm, pdl_max) + 4;

int32_t low_half(int32_t word)
{
    return static_cast<int16_t>(word & 0xFFFF);
}

void trace_repair(kelvane_handle handle, uint32_t version, const char *function)
{
    TRACE_AS(function, LEVEL_DEBUG, handle, NO_ADDRESS,
             "box_data_header_var_out->version = %d  need to manage post proc ", static_cast<int>(version));
}

} // namespace

int32_t kelvane_post_proc_get_sirane_port_pm(kelvane_handle handle, kelvane_sirane_port_pm *record,
                                             const mbox_data_header &response_header)
{
    if (response_header.version == 0) {
        trace_repair(handle, response_header.version, __func__);
        memset(reinterpret_cast<char *>(record) + FIRST_NEW_FIELD, 0xFF, NEW_FIELDS_END - FIRST_NEW_FIELD);
    }
    return KELVANE_EOK;
}

int32_t kelvane_post_proc_global_get_global_pm(kelvane_handle handle, kelvane_global_pm *record,
                                               const mbox_data_header &response_header)
{
    if (response_header.version != 0) {
        return KELVANE_EOK;
    }
    trace_repair(handle, response_header.version, __func__);
    char old[OLD_BYTES];
    memcpy(old, record, sizeof old); // the host ports stay where they are
    for (int port = 0; port < 2; port++) {
        memcpy(&record->sirane_port[port], old + OLD_PORT[port], OLD_PORT_BYTES);
    }
    for (kelvane_sirane_port_pm &port : record->sirane_port) {
        kelvane_post_proc_get_sirane_port_pm(handle, &port, response_header);
        port.reserved = 0;
    }
    memcpy(record->xpm2_port, old + OLD_MODULES, sizeof record->xpm2_port);
    memcpy(&record->generic, old + OLD_GENERIC, sizeof record->generic);
    return KELVANE_EOK;
}

int32_t post_proc_xpm2_port_pm(kelvane_xpm2_port_pm *record_out, kelvane_xpm2_port_pm record)
{
    *record_out = record;
    record_out->optical_output_power = low_half(record.optical_output_power);
    record_out->optical_input_power = low_half(record.optical_input_power);
    record_out->optical_signal_power = low_half(record.optical_signal_power);
    return KELVANE_EOK;
}
