// Looking up and checking a handle, and small accessors of its record.
#ifndef CORE_HANDLE_H
#define CORE_HANDLE_H

#include <pthread.h>

#include <cstdint>

#include "kelvane_handle.h"

constexpr uint64_t NO_THREAD_ID = 0xDDEEAA00; // stands for a thread that does not exist

// The record of a handle, whether in use or not; null for a handle that has none.
inline kelvane_handle_record *handle_record(kelvane_handle handle)
{
    return handle < HANDLE_COUNT ? &local_handles_array[handle] : nullptr;
}

// The link of one of the handle's siranes; null when there is no such handle or sirane.
inline sirane_link *find_link(kelvane_handle handle, uint32_t sirane_id)
{
    kelvane_handle_record *record = handle_record(handle);
    return record != nullptr && sirane_id < SIRANE_COUNT ? &record->sirane[sirane_id] : nullptr;
}

// Puts the record back into its state before the first use of the library.
void zero_handle_record(void);

// Marks the record as free; its locks, semaphores and threads stay.
void free_handle_record(void);

// KELVANE_EOK, or KELVANE_RET_CODE_EINVAL with a log line for a handle that is not in use.
// kelvane_slot_of_handler, declared with the log, gives all ones for such a handle.
int32_t check_kelvane_handler_input(kelvane_handle handle);

// 0 when a device exists in that slot, else -1.
int32_t kelvane_handler_exists(uint32_t slot_id);

// Those with a status return KELVANE_EOK, or KELVANE_RET_CODE_EINVAL for a handle that is not in use or a
// sirane that the card does not have; outputs are written on success only.
int32_t kelvane_get_local_pm_incremental_id(kelvane_handle handle, uint32_t sirane_id, uint64_t *value);
int32_t kelvane_set_local_pm_incremental_id(kelvane_handle handle, uint32_t sirane_id, uint64_t value);
void kelvane_set_generic_cb(kelvane_generic_cb callback);
int32_t kelvane_get_last_seu_pl_uncorrectable(kelvane_handle handle, uint32_t *value);
int32_t kelvane_set_last_seu_pl_uncorrectable(kelvane_handle handle, uint32_t value);
int32_t kelvane_get_stored_version(kelvane_handle handle, uint32_t *major, uint32_t *minor);

// The kind of the application's host ports, which decides how their words are read.
constexpr uint32_t CLIENT_TYPE_OTN = 0; // any other: Ethernet
uint32_t kelvane_get_client_type(kelvane_handle handle);

// Plain accesses: without a record a read gives 0, and the write does nothing.
inline int32_t kelvane_get_pci_mapped(kelvane_handle handle)
{
    const kelvane_handle_record *record = handle_record(handle);
    return record == nullptr ? 0 : record->pci_mapped.load(std::memory_order_acquire);
}
uint32_t kelvane_get_low_prio_active(kelvane_handle handle);
void kelvane_set_low_prio_active(kelvane_handle handle, uint32_t value);

// NO_THREAD_ID for a handle that is not in use.
uint64_t kelvane_get_low_prio_thread(kelvane_handle handle);

// The command mutex of sirane 0 for any index up to 3, null above. The index selects nothing, so this is not
// the way to lock a particular sirane.
kelvane_mutex *kelvane_get_command_mutex(kelvane_handle handle, uint32_t index);

#endif
