// Fetching performance records, and the subscription to their batches.
#include "monitoring/performance.h"

#include "core/trace/trace.h"
#include "mbox/command.h"

namespace {

constexpr uint32_t LAST_PM_INTERVAL = 64;

// A command for one record, which is copied whatever the firmware's result. The firmware judges what kind of
// address it got, unless `checks` does.
template <typename record_type>
int32_t fetch(command *c, uint32_t id, kelvane_handle handle, kelvane_device_address device_address,
              record_type *record, const char *function, command_checks checks = CHECK_DEVICE)
{
    TRACE_AS(function, LEVEL_INFO, handle, device_address, "start ");
    const int32_t rc =
        command_run(c, {id, SHARED_PATH, checks, function, handle, device_address}, {handle, device_address});
    if (rc == KELVANE_EOK) {
        command_copy_record(*c, record, sizeof *record);
    }
    return rc;
}

int32_t finish(const command &c, kelvane_handle handle, kelvane_device_address device_address,
               const char *function)
{
    TRACE_AS(function, LEVEL_INFO, handle, device_address, "end ");
    return command_result(c);
}

} // namespace

int32_t kelvane_set_pm_parameters(kelvane_handle handle, kelvane_device_address device_address,
                                  uint32_t pm_interval)
{
    TRACE(LEVEL_INFO, handle, device_address, "start pm_interval=%d ", static_cast<int>(pm_interval));
    const operation op = {18, SHARED_PATH, CHECK_DEVICE, __func__, handle, device_address};
    int32_t rc = command_check(op);
    if (rc == KELVANE_EOK && pm_interval > LAST_PM_INTERVAL) {
        TRACE(LEVEL_ERROR, handle, device_address, "invalid pm_interval=%d", static_cast<int>(pm_interval));
        rc = KELVANE_RET_CODE_EINVAL;
    }
    command c;
    if (rc == KELVANE_EOK) {
        rc = command_run(&c, op, {handle, device_address, pm_interval});
    }
    return rc != KELVANE_EOK ? rc : finish(c, handle, device_address, __func__);
}

int32_t kelvane_get_xpm2_port_pm(kelvane_handle handle, kelvane_device_address device_address,
                                 kelvane_xpm2_port_pm *record)
{
    command c;
    const int32_t rc = fetch(&c, 19, handle, device_address, record, __func__);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    post_proc_xpm2_port_pm(record, *record);
    trace_kelvane_xpm2_port_pm(handle, device_address, *record);
    return finish(c, handle, device_address, __func__);
}

int32_t kelvane_get_sirane_port_pm(kelvane_handle handle, kelvane_device_address device_address,
                                   kelvane_sirane_port_pm *record)
{
    command c;
    const int32_t rc = fetch(&c, 20, handle, device_address, record, __func__);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    kelvane_post_proc_get_sirane_port_pm(handle, record, c.response_header);
    trace_kelvane_sirane_port_pm(handle, device_address, *record);
    return finish(c, handle, device_address, __func__);
}

int32_t kelvane_get_host_port_pm(kelvane_handle handle, kelvane_device_address device_address,
                                 host_pm *record)
{
    command c;
    const int32_t rc = fetch(&c, 21, handle, device_address, record, __func__);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    trace_host_pm(handle, device_address, *record);
    return finish(c, handle, device_address, __func__);
}

int32_t kelvane_get_generic_pm(kelvane_handle handle, kelvane_device_address device_address,
                               kelvane_generic_pm *record)
{
    command c;
    const int32_t rc = fetch(&c, 22, handle, device_address, record, __func__);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    trace_kelvane_generic_pm(handle, device_address, *record);
    return finish(c, handle, device_address, __func__);
}

int32_t kelvane_get_global_pm(kelvane_handle handle, kelvane_device_address device_address,
                              kelvane_global_pm *record)
{
    command c;
    const int32_t rc = fetch(&c, 23, handle, device_address, record, __func__);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    kelvane_post_proc_global_get_global_pm(handle, record, c.response_header);
    for (kelvane_xpm2_port_pm &module : record->xpm2_port) {
        post_proc_xpm2_port_pm(&module, module);
    }
    trace_kelvane_global_pm(handle, device_address, *record);
    return finish(c, handle, device_address, __func__);
}

int32_t kelvane_dbg_get_hostport_pcs_counters(kelvane_handle handle, kelvane_device_address device_address,
                                              kelvane_hostport_pcs_counters *record)
{
    static_assert(sizeof *record == 232);
    command c;
    const int32_t rc = fetch(&c, 61, handle, device_address, record, __func__, CHECK_HOST_PORT);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    trace_kelvane_hostport_pcs_counters(handle, device_address, record);
    return finish(c, handle, device_address, __func__);
}
