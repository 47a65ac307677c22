// The watch over the firmware: turning it on and off, and asking what it found.
#include "device/keep_alive_switch.h"

#include "core/handle.h"
#include "kelvane_trace_defs.h"
#include "mbox/command.h"

int32_t kelvane_enable_keep_alive_notify(kelvane_handle handle, uint32_t enable,
                                         kelvane_keep_alive_cb keep_alive_cb)
{
    constexpr kelvane_device_address address = KELVANE_ADDRESS_SIRANE(0);
    TRACE(LEVEL_INFO, handle, address, "start  enable %d keep_alive_callback %p ", static_cast<int>(enable),
          reinterpret_cast<void *>(keep_alive_cb));
    int32_t rc = check_kelvane_handler_input(handle);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    kelvane_handle_record &record = *handle_record(handle);
    if (enable == 0) { // at once, also when the card does not answer
        record.keep_alive_enabled.store(0, std::memory_order_relaxed);
        record.keep_alive_cb.store(nullptr, std::memory_order_relaxed);
    }
    command c;
    rc = command_run(&c, {CMD_ENABLE_KEEP_ALIVE_NOTIFY, CHECK_HANDLE, __func__, handle, address},
                     {handle, enable});
    if (rc != KELVANE_EOK) {
        return rc;
    }
    rc = command_result(c);
    if (enable == 1 && (rc == KELVANE_EOK || rc == ORDUNE_MBOX_BUSY)) { // busy: the firmware watches already
        if (keep_alive_cb != nullptr) {
            record.keep_alive_cb.store(keep_alive_cb, std::memory_order_relaxed);
        }
        record.keep_alive_enabled.store(1, std::memory_order_relaxed);
        return KELVANE_EOK;
    }
    TRACE(LEVEL_INFO, handle, address, " end \n");
    return rc;
}

const char *keep_alive_status_name(uint32_t keep_alive_status)
{
    switch (keep_alive_status) {
    case KELVANE_ALIVE:
        return " KELVANE_ALIVE     ";
    case KELVANE_NOT_ALIVE:
        return " KELVANE_NOT_ALIVE ";
    default:
        return " KELVANE_UNDEF     ";
    }
}

int32_t kelvane_get_keep_alive_status(kelvane_handle handle, uint32_t *enable, uint32_t *keep_alive_status)
{
    const kelvane_handle_record *record = handle_record(handle);
    *enable = record == nullptr ? 0 : record->keep_alive_enabled.load(std::memory_order_relaxed);
    *keep_alive_status = record == nullptr ? 0 : record->keep_alive_status.load(std::memory_order_relaxed);
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, " end enable = %d   keep_alive = %s  \n",
          static_cast<int>(*enable), keep_alive_status_name(*keep_alive_status));
    return KELVANE_EOK;
}
