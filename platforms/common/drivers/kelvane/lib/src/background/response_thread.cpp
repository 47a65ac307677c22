#include "background/response_thread.h"

#include "background/handlers.h"
#include "core/handle.h"
#include "core/mutex.h"
#include "core/pci.h"
#include "core/semaphore.h"
#include "core/thread.h"
#include "core/trace/trace.h"
#include "mbox/message.h"
#include "mbox/model.h"
#include "mbox/receive.h"
#include "mbox/request_table.h"
#include "mbox/state.h"

namespace {

constexpr const char *PASS = "kelvane_asyc_resp_common"; // the steps below log under its name
constexpr uint32_t SYNCHRONOUS_PAUSE_SEC = 2;
constexpr uint32_t PACE_NSEC = 500000;

struct service {
    kelvane_handle handle;
    kelvane_device_address device_address;
    const mailbox_handler *mb;
    uint32_t sirane_id;
    kelvane_mutex *response_mutex;
    asynch_req_t *requests;
    kelvane_mutex *requests_lock;
};

// The firmware starts these two by itself: their slots are fixed, whatever the header says.
uint32_t slot_of(const mbox_data_header &header)
{
    switch (header.cmd) {
    case 37:
        return FIXED_REQ_ID_NOTIFY_PLUGIN;
    case 41:
        return FIXED_REQ_ID_APP_ZYNQ_RESTART;
    default:
        return header.sy;
    }
}

int32_t refuse(const service &s, uint32_t *state, int32_t rc)
{
    kelvane_close_resp_mbox_handshake(s.handle, s.device_address, s.mb, 0, state);
    return rc;
}

// Finds the record of a well-formed message, frees it if it is a request's, and runs its handler with the
// handshake open. `delivered` stays 0 for a message that belongs to no live record.
int32_t deliver(const service &s, const mbox_data_header &header, uint32_t *delivered)
{
    mbox_answer_handler handler = nullptr;
    int32_t rc = kelvane_get_cb_fn_data_table(header.cmd, &handler);
    asynch_req_t record{};
    uint32_t valid = 0;
    if (rc == KELVANE_EOK && handler == nullptr) { // looked for first, so that the record stays to age
        rc = is_asynch_req_id_valid(s.handle, s.device_address, s.mb, s.requests, s.requests_lock, &valid,
                                    header);
        if (rc == KELVANE_EOK && valid == 1) {
            TRACE_AS(PASS, LEVEL_ERROR, s.handle, s.device_address, "ERROR no handler for command %d ",
                     static_cast<int>(header.cmd));
            rc = KELVANE_RET_CODE_GEN_ERR;
        }
        return rc;
    }
    if (rc == KELVANE_EOK) {
        rc = claim_asynch_req(s.handle, s.device_address, s.mb, s.requests, s.requests_lock, &valid, header,
                              &record);
    }
    if (rc == KELVANE_EOK && valid == 1) {
        *delivered = 1;
        TRACE_AS(PASS, s.mb->flow_level, s.handle, s.device_address, "data header OK");
        rc = handler(s.handle, s.mb, header, record);
    }
    return rc;
}

// One message that is offered, with the response mutex held. A synchronous answer is left alone.
int32_t serve_message(const service &s, uint32_t *state, bool *synchronous)
{
    mbox_data_header header{};
    int32_t rc = read_mbox_header(s.handle, s.mb, &header, 1);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    if (header.sy == MBOX_SYNC_WORD) {
        *synchronous = true;
        return KELVANE_EOK;
    }
    header.sy = slot_of(header);
    const uint32_t good = kelvane_validate_header(s.handle, s.device_address, header.ref_id, header);
    TRACE_AS(PASS, s.mb->flow_level, s.handle, s.device_address, "validate_header = %d ",
             static_cast<int>(good));
    uint32_t delivered = 0;
    if (good == 1) {
        rc = deliver(s, header, &delivered);
    } else { // judged all the same, for the log
        uint32_t ignored = 0;
        rc = is_asynch_req_id_valid(s.handle, s.device_address, s.mb, s.requests, s.requests_lock, &ignored,
                                    header);
    }
    if (rc != KELVANE_EOK) {
        return refuse(s, state, rc);
    }
    if (delivered == 0) {
        TRACE_AS(PASS, LEVEL_ERROR, s.handle, s.device_address,
                 "ERROR data header KO -> aborting asynch notify");
    }
    return kelvane_close_resp_mbox_handshake(s.handle, s.device_address, s.mb, good, state);
}

// Under the response mutex: looks, serves what is offered, and looks again into `state`.
int32_t look(const service &s, uint32_t polling_counter, uint32_t *state, bool *synchronous)
{
    int32_t rc =
        mbox_check_for_state(s.handle, s.device_address, s.mb, MBOX_STATE_READY, polling_counter, state);
    if (rc == KELVANE_EOK && (*state & MBOX_STATE_READY) != 0) {
        TRACE_AS(PASS, s.mb->flow_level, s.handle, s.device_address,
                 "FOUND waiting_state_mask %08x on reg %08x ", static_cast<uint32_t>(MBOX_STATE_READY),
                 s.mb->waiting_reg);
        TRACE_AS(PASS, s.mb->flow_level, s.handle, s.device_address, "polling counter  %d",
                 static_cast<int>(polling_counter));
        rc = serve_message(s, state, synchronous);
    }
    if (rc != KELVANE_EOK) {
        return rc;
    }
    rc = read_mbox_state(s.handle, s.mb, state, CHECK_ALIVE);
    if (*state == PCI_ALL_ONES) {
        TRACE_AS(PASS, LEVEL_ERROR, s.handle, s.device_address,
                 "ERROR state read = %08x DEFAULT PCI ERROR VALUE, EXECUTION NOT STOPPED", *state);
    }
    if (rc == KELVANE_EOK && *state == MBOX_STATE_READY) {
        TRACE_AS(PASS, s.mb->flow_level, s.handle, s.device_address,
                 "new request arrived on same mbx handler=%d sirane_id=%d mbox=%d   ",
                 static_cast<int>(s.handle), static_cast<int>(s.sirane_id), static_cast<int>(s.mb->mbox));
    }
    return rc;
}

// Leaves the mailbox idle and its mutex free; their failures come before the one that led here.
int32_t abort_pass(const service &s, int32_t failure)
{
    const int32_t idle_rc = write_mbox_state(s.handle, s.mb, MBOX_STATE_IDLE, CHECK_ALIVE);
    const int32_t unlock_rc = kelvane_mutex_unlock(s.response_mutex);
    if (unlock_rc != KELVANE_EOK) {
        return unlock_rc;
    }
    return idle_rc != KELVANE_EOK ? idle_rc : failure;
}

} // namespace

int32_t kelvane_asyc_resp_common(kelvane_handle handle, uint32_t sirane_id, uint32_t mbox)
{
    kelvane_handle_record *record = handle_record(handle);
    const mailbox_handler *mb = get_mbox_handler(sirane_id, mbox);
    kelvane_mutex *response_mutex = mbox_response_mutex(handle, sirane_id, mbox);
    if (record == nullptr || mb == nullptr || response_mutex == nullptr) {
        return KELVANE_RET_CODE_GEN_ERR;
    }
    const service s = {handle,
                       KELVANE_ADDRESS_SIRANE(sirane_id),
                       mb,
                       sirane_id,
                       response_mutex,
                       record->asynch_req_array[sirane_id],
                       &record->asynch_req_lock[sirane_id]};
    TRACE(mb->flow_level, handle, s.device_address, "start handler=%d sirane_id=%d mbox=%d   ",
          static_cast<int>(handle), static_cast<int>(sirane_id), static_cast<int>(mbox));
    int32_t rc = check_if_cb_is_available(handle, sirane_id, mbox);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    uint32_t state = MBOX_STATE_READY;
    for (uint32_t polling_counter = 0; state == MBOX_STATE_READY; polling_counter++) {
        rc = kelvane_mutex_timed_lock(response_mutex, LOCK_LIMIT_SECONDS, 0);
        if (rc != KELVANE_EOK) {
            return rc;
        }
        bool synchronous = false;
        mbox_mutex_served_here = response_mutex;
        rc = look(s, polling_counter, &state, &synchronous);
        mbox_mutex_served_here = nullptr;
        if (rc == KELVANE_EOK) {
            rc = kelvane_mutex_unlock(response_mutex);
        }
        if (rc != KELVANE_EOK) {
            return abort_pass(s, rc);
        }
        if (synchronous) { // its caller polls for it
            kelvane_delay(SYNCHRONOUS_PAUSE_SEC, 0);
        }
        kelvane_delay(0, PACE_NSEC);
    }
    return KELVANE_EOK;
}

void *kelvane_asyc_resp_th(void *argument)
{
    const thread_argument start = take_thread_argument(argument);
    const kelvane_device_address address = KELVANE_ADDRESS_SIRANE(start.sirane_id);
    const mailbox_handler *mb = get_mbox_handler(start.sirane_id, start.mbox);
    kelvane_semaphore *semaphore = mbox_sem_of(start.handle, start.sirane_id, start.mbox);
    kelvane_handle_record *record = handle_record(start.handle);
    if (mb == nullptr || semaphore == nullptr || record == nullptr) {
        TRACE(LEVEL_ERROR, start.handle, address, "problem with mbox handler sirane_id %d mbox %d",
              static_cast<int>(start.sirane_id), static_cast<int>(start.mbox));
        return nullptr;
    }
    TRACE(LEVEL_INFO, start.handle, address, "starting thread sirane_id = %d mbox = %d tid=%d",
          static_cast<int>(start.sirane_id), static_cast<int>(start.mbox), kelvane_gettid());
    record->mbox_tid[start.sirane_id][start.mbox].store(kelvane_gettid(), std::memory_order_relaxed);
    kelvane_sem_take(semaphore); // the token that it was made with; later ones are real
    for (;;) {
        TRACE(mb->flow_level, start.handle, address, "waiting sem mbox = %d ", static_cast<int>(start.mbox));
        if (kelvane_sem_take(semaphore) != KELVANE_EOK) {
            continue;
        }
        TRACE(mb->flow_level, start.handle, address, "unloked sem mbox = %d ", static_cast<int>(start.mbox));
        kelvane_asyc_resp_common(start.handle, start.sirane_id, start.mbox);
    }
}
