// The handle record's table, the checks of a handle, and small accessors.
#ifndef CORE_HANDLE_H
#define CORE_HANDLE_H

#include <pthread.h>

#include <cstdint>

#include "kelvane_handle.h"

constexpr uint64_t NO_THREAD_ID = 0xDDEEAA00; // in place of the id of a thread that is not there

// The record of a handle, null for a handle that names none. Whether it is in use is not looked at.
inline kelvane_handle_record *handle_record(kelvane_handle handle)
{
    return handle < HANDLE_COUNT ? &local_handles_array[handle] : nullptr;
}

// What belongs to a sirane of the handle, null where there is no such thing.
inline sirane_link *find_link(kelvane_handle handle, uint32_t sirane_id)
{
    kelvane_handle_record *record = handle_record(handle);
    return record != nullptr && sirane_id < SIRANE_COUNT ? &record->sirane[sirane_id] : nullptr;
}

// Returns the table to the state before the first use of the library.
void zero_handle_record(void);

// Marks the record as free; everything made for it stays.
void free_handle_record(void);

// 0, or 22 with a log line. The slot of a handle that this check refuses (kelvane_slot_of_handler, declared
// with the log) is all ones.
int32_t check_kelvane_handler_input(kelvane_handle handle);

// 0 when a device exists in that slot, else -1.
int32_t kelvane_handler_exists(uint32_t slot_id);

int32_t kelvane_get_local_pm_incremental_id(kelvane_handle handle, uint32_t sirane_id, uint64_t *value);
int32_t kelvane_set_local_pm_incremental_id(kelvane_handle handle, uint32_t sirane_id, uint64_t value);
void kelvane_set_generic_cb(kelvane_generic_cb callback);
int32_t kelvane_get_last_seu_pl_uncorrectable(kelvane_handle handle, uint32_t *value);
int32_t kelvane_set_last_seu_pl_uncorrectable(kelvane_handle handle, uint32_t value);
int32_t kelvane_get_stored_version(kelvane_handle handle, uint32_t *major, uint32_t *minor);

// The kind of the application's host ports, which decides how their words read.
constexpr uint32_t CLIENT_TYPE_OTN = 0; // any other: Ethernet
uint32_t kelvane_get_client_type(kelvane_handle handle);

// Plain reads and a write; 0 and nothing for a handle that names no record.
inline int32_t kelvane_get_pci_mapped(kelvane_handle handle)
{
    const kelvane_handle_record *record = handle_record(handle);
    return record == nullptr ? 0 : record->pci_mapped.load(std::memory_order_acquire);
}
uint32_t kelvane_get_low_prio_active(kelvane_handle handle);
void kelvane_set_low_prio_active(kelvane_handle handle, uint32_t value);

// NO_THREAD_ID when the record is not in use.
uint64_t kelvane_get_low_prio_thread(kelvane_handle handle);

// The first command mutex for any index up to 3, null above: the index chooses nothing, so nothing that
// must lock a certain sirane uses this.
kelvane_mutex *kelvane_get_command_mutex(kelvane_handle handle, uint32_t index);

#endif
