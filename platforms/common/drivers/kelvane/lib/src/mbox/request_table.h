// The table of asynchronous requests and subscriptions, one for each sirane, with its lock.
//
// `mb` only selects the trace levels. All but delete and print return KELVANE_EOK, what their comment says,
// or the failure of the lock or the unlock. Nothing here blocks beyond the lock's limit, and while it is
// held, no other lock is taken but the log's.
#ifndef MBOX_REQUEST_TABLE_H
#define MBOX_REQUEST_TABLE_H

#include <cstdint>

#include "core/trace_context.h"
#include "kelvane_handle.h"

// Makes the lock and frees all records.
int32_t init_asynch_req_array(request_table &requests);

// Frees all records and destroys the lock.
void delete_asynch_req_array(request_table &requests);

// Stores the record in the lowest free standard slot, or in the fixed slot of its type, whatever that holds.
// KELVANE_RET_CODE_EINVAL for a record with no callback or no known type, KELVANE_RET_CODE_EBUSY when all
// standard slots are taken; `id_out` is then ASYNCH_REQ_ID_NONE.
int32_t insert_asynch_req(trace_context at, const mailbox_handler &mb, request_table &requests,
                          const asynch_req_t &record, uint32_t *id_out);

// Both take any id of the table, a free record's too; KELVANE_RET_CODE_EINVAL for an id beyond it.
int32_t remove_asynch_req(trace_context at, const mailbox_handler &mb, request_table &requests, uint32_t id);
int32_t get_asynch_req(trace_context at, const mailbox_handler &mb, request_table &requests, uint32_t id,
                       asynch_req_t *record_out);

// Whether a received header belongs to a live record. An id beyond the table belongs to none, and is no
// failure.
int32_t is_asynch_req_id_valid(trace_context at, const mailbox_handler &mb, request_table &requests,
                               const mbox_data_header &header, bool *is_valid_out);

// The same test; for a valid header it also copies the record and, if that is a standard request, removes it,
// all in one step under the lock, so that a record can be claimed only once. A record of a type other than
// `type`, or a request of another command, does not belong to the message: KELVANE_RET_CODE_GEN_ERR with a
// log line, and the record stays.
int32_t claim_asynch_req(trace_context at, const mailbox_handler &mb, request_table &requests,
                         const mbox_data_header &header, kelvane_asynch_type type, bool *is_valid_out,
                         asynch_req_t *record_out);

// One aging step, and the test that follows it. Both concern used standard records, and leave others alone;
// KELVANE_RET_CODE_EINVAL for an id beyond the table.
int32_t increase_aging_asynch_req(trace_context at, const mailbox_handler &mb, request_table &requests,
                                  uint32_t id);
int32_t is_out_of_date_asynch_req(trace_context at, const mailbox_handler &mb, request_table &requests,
                                  uint32_t id, bool *out_of_date_out);

constexpr bool is_aging_expired(uint32_t aging_time) // seconds
{
    return aging_time > ASYNCH_REQ_AGING_LIMIT_S;
}

// Holds the performance mailbox back while nobody has subscribed, with firmware 5.22 and later:
// KELVANE_RET_CODE_DEVICE_NOT_READY after a sleep of 1 s. KELVANE_EOK for every other mailbox and for older
// firmware.
int32_t check_if_cb_is_available(kelvane_handle handle, sirane_link &link, mbox_id mbox);

// Logs the records that have a type. Takes no lock, so that a debugger can call it while it has the lock's
// holder stopped. `mbox` is the mailbox that their lines name.
void print_asynch_req_array(trace_context at, uint32_t mbox, const request_table &requests, uint32_t level);

#endif
