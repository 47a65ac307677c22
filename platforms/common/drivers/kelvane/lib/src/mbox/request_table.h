// The table of asynchronous requests and subscriptions, one for each sirane, each with its lock.
//
// `array` and `lock` are always the pair of one sirane; `mb` only selects the trace levels. A lock or
// unlock that fails gives its status. Nothing here blocks beyond the lock's limit, and no other lock but
// the log's is taken while it is held.
#ifndef MBOX_REQUEST_TABLE_H
#define MBOX_REQUEST_TABLE_H

#include <cstdint>

#include "kelvane.h"
#include "kelvane_mbox.h"
#include "kelvane_sync.h"

// Makes the lock and frees all records.
int32_t init_asynch_req_array(kelvane_handle handle, asynch_req_t *array, kelvane_mutex *lock);

// Frees all records and destroys the lock.
void delete_asynch_req_array(kelvane_handle handle, const mailbox_handler *mb, asynch_req_t *array,
                             kelvane_mutex *lock);

// Stores the record in the lowest free standard slot, or in the fixed slot of its type whatever is there.
// 22 for a record without callback or with no known type, 16 when all standard slots are taken.
int32_t insert_asynch_req(kelvane_handle handle, kelvane_device_address device_address,
                          const mailbox_handler *mb, asynch_req_t *array, kelvane_mutex *lock,
                          uint32_t *id_out, asynch_req_t record);

// Both refuse an id above the table with 22 and take any other, also of a free record.
int32_t remove_asynch_req(kelvane_handle handle, kelvane_device_address device_address,
                          const mailbox_handler *mb, asynch_req_t *array, kelvane_mutex *lock,
                          uint32_t asynch_req_id);
int32_t get_asynch_req(kelvane_handle handle, kelvane_device_address device_address,
                       const mailbox_handler *mb, asynch_req_t *array, kelvane_mutex *lock,
                       uint32_t asynch_req_id, asynch_req_t *record_out);

// Whether a received header belongs to a live record: 1 or 0 in `is_valid_out`.
int32_t is_asynch_req_id_valid(kelvane_handle handle, kelvane_device_address device_address,
                               const mailbox_handler *mb, asynch_req_t *array, kelvane_mutex *lock,
                               uint32_t *is_valid_out, mbox_data_header header);

// The same test, and for a valid header the record's copy and, of a standard request, its removal, all in
// one step under the lock: a record can be claimed once only.
int32_t claim_asynch_req(kelvane_handle handle, kelvane_device_address device_address,
                         const mailbox_handler *mb, asynch_req_t *array, kelvane_mutex *lock,
                         uint32_t *is_valid_out, mbox_data_header header, asynch_req_t *record_out);

// One aging step, and the test that follows it, of a used standard record; others are left alone.
int32_t increase_aging_asynch_req(kelvane_handle handle, kelvane_device_address device_address,
                                  const mailbox_handler *mb, asynch_req_t *array, kelvane_mutex *lock,
                                  uint32_t asynch_req_id);
int32_t is_out_of_date_asynch_req(kelvane_handle handle, kelvane_device_address device_address,
                                  const mailbox_handler *mb, asynch_req_t *array, kelvane_mutex *lock,
                                  uint32_t asynch_req_id, uint32_t *out_of_date_out);

constexpr bool is_aging_expired(uint32_t aging_time)
{
    return aging_time > ASYNCH_REQ_AGING_LIMIT;
}

// Holds the performance mailbox back while nobody has subscribed, with firmware from 5.22 on: 64175 after
// a sleep of 1 s. 0 for every other mailbox and older firmware.
int32_t check_if_cb_is_available(kelvane_handle handle, uint32_t sirane_id, uint32_t mbox);

// `level` 0 stands for the mailbox's flow level.
void print_asynch_req_t(kelvane_handle handle, kelvane_device_address device_address,
                        const mailbox_handler *mb, const asynch_req_t &record, uint32_t level);
// The used records. The caller holds the array's lock, or `array` is a copy.
void print_asynch_req_array(kelvane_handle handle, kelvane_device_address device_address,
                            const mailbox_handler *mb, const asynch_req_t *array, uint32_t level);

// The same from a copy made under the lock, which the caller does not hold.
void print_asynch_req_array_copy(kelvane_handle handle, kelvane_device_address device_address,
                                 const mailbox_handler *mb, const asynch_req_t *array, kelvane_mutex *lock,
                                 uint32_t level);

#endif
