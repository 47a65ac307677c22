// Standing subscriptions: performance batches and alarm changes of a sirane. The record in the request table
// comes first and the command second, and no answer is awaited: the first message is the only proof that the
// firmware took the command. A failed send leaves the table as it is by then.
#include "core/device_address.h"
#include "core/handle.h"
#include "core/trace/trace.h"
#include "mbox/command.h"

namespace {

struct subscription {
    command_id command;
    mbox_id mbox;
    kelvane_asynch_type type;
    uint32_t fixed_slot;
    bool counts_batches; // so a new subscription starts a new sequence
};

constexpr subscription performance = {CMD_ENABLE_PM_NOTIFY, MBOX_PM, KELVANE_ASYNCH_TYPE_OP_PM,
                                      FIXED_REQ_ID_PM, true};
constexpr subscription alarm_changes = {CMD_ENABLE_ALARMS_NOTIFY, MBOX_ALARM, KELVANE_ASYNCH_TYPE_OP_ALARM,
                                        FIXED_REQ_ID_ALARM, false};

int32_t subscribe(const subscription &s, kelvane_handle handle, kelvane_device_address device_address,
                  uint32_t enable, asynch_callback callback, const char *function)
{
    TRACE_AS(function, LEVEL_INFO, handle, device_address, "start enable =%d ", static_cast<int>(enable));
    int32_t rc = check_address_and_handle(device_address, handle);
    // 1 subscribes. Any other value but 0 does, too, without the next two steps.
    if (rc == KELVANE_EOK && enable == 1 && callback.address == nullptr) {
        TRACE_AS(function, LEVEL_ERROR, handle, device_address, "invalid calling callback must no be null ");
        rc = KELVANE_RET_CODE_EINVAL;
    }
    if (rc == KELVANE_EOK && enable == 1 && s.counts_batches) {
        rc = kelvane_set_local_pm_incremental_id(handle, sirane_id_of_address(device_address), 0);
    }
    command c;
    if (rc == KELVANE_EOK) {
        rc = command_prepare(&c, s.command, {handle, device_address, enable});
    }
    if (rc == KELVANE_EOK) {
        rc = enable != 0 ? command_register(&c, handle, device_address, s.mbox, s.type, callback)
                         : command_unregister(handle, device_address, s.mbox, s.fixed_slot);
    }
    if (rc != KELVANE_EOK) {
        return rc;
    }
    rc = command_send(&c, handle, device_address, function);
    TRACE_AS(function, LEVEL_INFO, handle, device_address, "end ");
    return rc;
}

} // namespace

int32_t kelvane_enable_pm_notify(kelvane_handle handle, kelvane_device_address device_address,
                                 uint32_t enable, kelvane_pm_notify_cb callback)
{
    return subscribe(performance, handle, device_address, enable, {.performance = callback}, __func__);
}

int32_t kelvane_enable_alarms_notify(kelvane_handle handle, kelvane_device_address device_address,
                                     uint32_t enable, kelvane_alarms_notify_cb callback)
{
    return subscribe(alarm_changes, handle, device_address, enable, {.alarms = callback}, __func__);
}
