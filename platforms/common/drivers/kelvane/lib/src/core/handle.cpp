#include "core/handle.h"

#include <new>

#include "core/trace/trace.h"

kelvane_handle_record local_handles_array[HANDLE_COUNT];

void zero_handle_record(void)
{
    new (&local_handles_array[0]) kelvane_handle_record{};
    free_handle_record();
}

void free_handle_record(void)
{
    kelvane_handle_record &record = local_handles_array[0];
    record.signature.store(HANDLE_SIGNATURE_FREE, std::memory_order_relaxed);
    record.dev.store(HANDLE_DEV_FREE, std::memory_order_relaxed);
    record.pci_mapped.store(0, std::memory_order_relaxed);
}

static bool is_in_use(kelvane_handle handle)
{
    const kelvane_handle_record *record = handle_record(handle);
    return record != nullptr && record->dev.load(std::memory_order_relaxed) != HANDLE_DEV_FREE &&
           record->signature.load(std::memory_order_relaxed) == HANDLE_SIGNATURE_USED;
}

int32_t check_kelvane_handler_input(kelvane_handle handle)
{
    if (!is_in_use(handle)) {
        TRACE(LEVEL_ERROR, handle, NO_ADDRESS, "invalid handler %d", static_cast<int>(handle));
        return KELVANE_RET_CODE_EINVAL;
    }
    return KELVANE_EOK;
}

uint32_t kelvane_slot_of_handler(kelvane_handle handle)
{
    return is_in_use(handle) ? local_handles_array[handle].init_device.slot_id.load(std::memory_order_relaxed)
                             : NO_HANDLE;
}

int32_t kelvane_handler_exists(uint32_t slot_id)
{
    const bool exists =
        is_in_use(0) && local_handles_array[0].init_device.slot_id.load(std::memory_order_relaxed) == slot_id;
    return exists ? 0 : -1;
}

int32_t kelvane_get_local_pm_incremental_id(kelvane_handle handle, uint32_t sirane_id, uint64_t *value)
{
    const int32_t rc = check_kelvane_handler_input(handle);
    if (rc != KELVANE_EOK || sirane_id >= SIRANE_COUNT) {
        return KELVANE_RET_CODE_EINVAL;
    }
    *value = find_link(handle, sirane_id)->local_pm_incremental_id.load(std::memory_order_relaxed);
    return KELVANE_EOK;
}

int32_t kelvane_set_local_pm_incremental_id(kelvane_handle handle, uint32_t sirane_id, uint64_t value)
{
    const int32_t rc = check_kelvane_handler_input(handle);
    if (rc != KELVANE_EOK || sirane_id >= SIRANE_COUNT) {
        return KELVANE_RET_CODE_EINVAL;
    }
    find_link(handle, sirane_id)->local_pm_incremental_id.store(value, std::memory_order_relaxed);
    return KELVANE_EOK;
}

void kelvane_set_generic_cb(kelvane_generic_cb callback)
{
    local_handles_array[0].generic_cb.store(callback, std::memory_order_relaxed);
}

int32_t kelvane_get_last_seu_pl_uncorrectable(kelvane_handle handle, uint32_t *value)
{
    const int32_t rc = check_kelvane_handler_input(handle);
    if (rc == KELVANE_EOK) {
        *value = local_handles_array[handle].last_seu_pl_uncorrectable.load(std::memory_order_relaxed);
    }
    return rc;
}

int32_t kelvane_set_last_seu_pl_uncorrectable(kelvane_handle handle, uint32_t value)
{
    const int32_t rc = check_kelvane_handler_input(handle);
    if (rc == KELVANE_EOK) {
        local_handles_array[handle].last_seu_pl_uncorrectable.store(value, std::memory_order_relaxed);
    }
    return rc;
}

int32_t kelvane_get_stored_version(kelvane_handle handle, uint32_t *major, uint32_t *minor)
{
    const int32_t rc = check_kelvane_handler_input(handle);
    if (rc == KELVANE_EOK) {
        *major = local_handles_array[handle].stored_ordune_ver_maj.load(std::memory_order_relaxed);
        *minor = local_handles_array[handle].stored_ordune_ver_min.load(std::memory_order_relaxed);
    }
    return rc;
}

uint32_t kelvane_get_client_type(kelvane_handle handle)
{
    const kelvane_handle_record *record = handle_record(handle);
    return record == nullptr ? 0 : record->init_device.client_type.load(std::memory_order_relaxed);
}

uint32_t kelvane_get_low_prio_active(kelvane_handle handle)
{
    const kelvane_handle_record *record = handle_record(handle);
    return record == nullptr ? 0 : record->low_prio_active.load(std::memory_order_relaxed);
}

void kelvane_set_low_prio_active(kelvane_handle handle, uint32_t value)
{
    kelvane_handle_record *record = handle_record(handle);
    if (record != nullptr) {
        record->low_prio_active.store(value, std::memory_order_relaxed);
    }
}

uint64_t kelvane_get_low_prio_thread(kelvane_handle handle)
{
    return is_in_use(handle) ? static_cast<uint64_t>(local_handles_array[handle].low_prio_thread)
                             : NO_THREAD_ID;
}

kelvane_mutex *kelvane_get_command_mutex(kelvane_handle handle, uint32_t index)
{
    kelvane_handle_record *record = handle_record(handle);
    return record == nullptr || index > 3 ? nullptr : &record->sirane[0].command_mutex;
}
