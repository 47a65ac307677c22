// The interval of the performance records, and fetching them singly.
#include "monitoring/performance.h"

#include "core/trace/trace.h"
#include "mbox/command.h"

namespace {

constexpr uint32_t LAST_PM_INTERVAL = 64;

} // namespace

int32_t kelvane_set_pm_parameters(kelvane_handle handle, kelvane_device_address device_address,
                                  uint32_t pm_interval)
{
    TRACE(LEVEL_INFO, handle, device_address, "start pm_interval=%d ", static_cast<int>(pm_interval));
    const operation op = {CMD_SET_PM_PARAMETERS, CHECK_DEVICE, __func__, handle, device_address};
    int32_t rc = command_check(op);
    if (rc == KELVANE_EOK && pm_interval > LAST_PM_INTERVAL) {
        TRACE(LEVEL_ERROR, handle, device_address, "invalid pm_interval=%d", static_cast<int>(pm_interval));
        rc = KELVANE_RET_CODE_EINVAL;
    }
    command c;
    if (rc == KELVANE_EOK) {
        rc = command_run(&c, op, {handle, device_address, pm_interval});
    }
    if (rc != KELVANE_EOK) {
        return rc;
    }
    TRACE(LEVEL_INFO, handle, device_address, "end ");
    return command_result(c);
}

int32_t kelvane_get_xpm2_port_pm(kelvane_handle handle, kelvane_device_address device_address,
                                 kelvane_xpm2_port_pm *record)
{
    return command_fetch({CMD_GET_XPM2_PORT_PM, CHECK_DEVICE, __func__, handle, device_address}, record,
                         [&](const mbox_data_header &) {
                             post_proc_xpm2_port_pm(record, *record);
                             trace_kelvane_xpm2_port_pm(handle, device_address, *record);
                         });
}

int32_t kelvane_get_sirane_port_pm(kelvane_handle handle, kelvane_device_address device_address,
                                   kelvane_sirane_port_pm *record)
{
    return command_fetch({CMD_GET_SIRANE_PORT_PM, CHECK_DEVICE, __func__, handle, device_address}, record,
                         [&](const mbox_data_header &header) {
                             kelvane_post_proc_get_sirane_port_pm(handle, record, header);
                             trace_kelvane_sirane_port_pm(handle, device_address, *record);
                         });
}

int32_t kelvane_get_host_port_pm(kelvane_handle handle, kelvane_device_address device_address,
                                 host_pm *record)
{
    return command_fetch({CMD_GET_HOST_PORT_PM, CHECK_DEVICE, __func__, handle, device_address}, record,
                         [&](const mbox_data_header &) { trace_host_pm(handle, device_address, *record); });
}

int32_t kelvane_get_generic_pm(kelvane_handle handle, kelvane_device_address device_address,
                               kelvane_generic_pm *record)
{
    return command_fetch(
        {CMD_GET_GENERIC_PM, CHECK_DEVICE, __func__, handle, device_address}, record,
        [&](const mbox_data_header &) { trace_kelvane_generic_pm(handle, device_address, *record); });
}

int32_t kelvane_get_global_pm(kelvane_handle handle, kelvane_device_address device_address,
                              kelvane_global_pm *record)
{
    return command_fetch({CMD_GET_GLOBAL_PM, CHECK_DEVICE, __func__, handle, device_address}, record,
                         [&](const mbox_data_header &header) {
                             kelvane_post_proc_global_get_global_pm(handle, record, header);
                             for (kelvane_xpm2_port_pm &module : record->xpm2_port) {
                                 post_proc_xpm2_port_pm(&module, module);
                             }
                             trace_kelvane_global_pm(handle, device_address, *record);
                         });
}

int32_t kelvane_dbg_get_hostport_pcs_counters(kelvane_handle handle, kelvane_device_address device_address,
                                              kelvane_hostport_pcs_counters *record)
{
    static_assert(sizeof *record == 232);
    return command_fetch(
        {CMD_DBG_GET_HOSTPORT_PCS_COUNTERS, CHECK_HOST_PORT, __func__, handle, device_address}, record,
        [&](const mbox_data_header &) {
            trace_kelvane_hostport_pcs_counters(handle, device_address, record);
        });
}
