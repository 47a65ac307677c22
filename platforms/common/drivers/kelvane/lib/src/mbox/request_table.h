// The table of asynchronous requests and subscriptions, one for each sirane, with its lock.
//
// `mb` only selects the trace levels. A lock or unlock that fails gives its status. Nothing here blocks
// beyond the lock's limit, and no other lock but the log's is taken while it is held.
#ifndef MBOX_REQUEST_TABLE_H
#define MBOX_REQUEST_TABLE_H

#include <cstdint>

#include "core/trace_context.h"
#include "kelvane_handle.h"

// Makes the lock and frees all records.
int32_t init_asynch_req_array(request_table &requests);

// Frees all records and destroys the lock.
void delete_asynch_req_array(request_table &requests);

// Stores the record in the lowest free standard slot, or in the fixed slot of its type whatever is there.
// EINVAL for a record without callback or with no known type, EBUSY when all standard slots are taken.
int32_t insert_asynch_req(trace_context at, const mailbox_handler &mb, request_table &requests,
                          const asynch_req_t &record, uint32_t *id_out);

// Both refuse an id above the table with EINVAL and take any other, also of a free record.
int32_t remove_asynch_req(trace_context at, const mailbox_handler &mb, request_table &requests, uint32_t id);
int32_t get_asynch_req(trace_context at, const mailbox_handler &mb, request_table &requests, uint32_t id,
                       asynch_req_t *record_out);

// Whether a received header belongs to a live record.
int32_t is_asynch_req_id_valid(trace_context at, const mailbox_handler &mb, request_table &requests,
                               const mbox_data_header &header, bool *is_valid_out);

// The same test, and for a valid header the record's copy and, of a standard request, its removal, all in
// one step under the lock: a record can be claimed once only. A record of another type than `type` is no
// record of this message: GEN_ERR, with a log line, and it stays.
int32_t claim_asynch_req(trace_context at, const mailbox_handler &mb, request_table &requests,
                         const mbox_data_header &header, kelvane_asynch_type type, bool *is_valid_out,
                         asynch_req_t *record_out);

// One aging step, and the test that follows it, of a used standard record; others are left alone.
int32_t increase_aging_asynch_req(trace_context at, const mailbox_handler &mb, request_table &requests,
                                  uint32_t id);
int32_t is_out_of_date_asynch_req(trace_context at, const mailbox_handler &mb, request_table &requests,
                                  uint32_t id, bool *out_of_date_out);

constexpr bool is_aging_expired(uint32_t aging_time)
{
    return aging_time > ASYNCH_REQ_AGING_LIMIT;
}

// Holds the performance mailbox back while nobody has subscribed, with firmware from 5.22 on:
// DEVICE_NOT_READY after a sleep of 1 s. 0 for every other mailbox and older firmware.
int32_t check_if_cb_is_available(kelvane_handle handle, sirane_link &link, mbox_id mbox);

// The used records, from a copy made under the lock, which the caller does not hold; `mbox` is the mailbox
// that their lines name.
void print_asynch_req_array(trace_context at, uint32_t mbox, request_table &requests, uint32_t level);

#endif
