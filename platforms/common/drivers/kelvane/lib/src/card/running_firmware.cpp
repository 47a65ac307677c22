#include "card/running_firmware.h"

#include "card/info_tables.h"
#include "core/handle.h"
#include "core/trace/levels.h"

int32_t get_running_firmware(kelvane_handle handle, firmware_version *running, uint32_t log_level)
{
    return kelvane_get_internal_software_running(handle, KELVANE_ADDRESS_BOARD, &running->major,
                                                 &running->minor, log_level);
}

int32_t is_current_ver_later_or_equal(kelvane_handle handle, firmware_version asked, bool *out)
{
    firmware_version running;
    const int32_t rc = get_running_firmware(handle, &running, LEVEL_DEBUG);
    if (rc == KELVANE_EOK) {
        *out = running >= asked || asked == firmware_version{};
    }
    return rc;
}

void kelvane_store_firmware_version(kelvane_handle handle)
{
    kelvane_handle_record *record = handle_record(handle);
    if (record == nullptr) {
        return;
    }
    firmware_version running; // still 0.0 after a failed inquiry
    get_running_firmware(handle, &running, LEVEL_DEBUG);
    record->stored_ordune_ver_maj.store(running.major, std::memory_order_relaxed);
    record->stored_ordune_ver_min.store(running.minor, std::memory_order_relaxed);
}
