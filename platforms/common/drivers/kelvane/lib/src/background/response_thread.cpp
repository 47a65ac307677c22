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
#include "mbox/waiting.h"

namespace {

constexpr const char *PASS = "kelvane_asyc_resp_common"; // the steps below log under its name
constexpr uint32_t SYNCHRONOUS_PAUSE_S = 2;
constexpr uint32_t PACE_NS = 500000;

struct service {
    trace_context at;
    const mailbox_handler &mb;
    answer_mailbox &mailbox;
    request_table &requests;
};

// The firmware sends these two unasked: their slots are fixed, whatever the header says.
uint32_t slot_of(const mbox_data_header &header)
{
    switch (header.cmd) {
    case CMD_NOTIFY_PLUGIN:
        return FIXED_REQ_ID_NOTIFY_PLUGIN;
    case CMD_APP_ZYNQ_RESTART_NOTIFY:
        return FIXED_REQ_ID_APP_ZYNQ_RESTART;
    default:
        return header.sy;
    }
}

// Closes the handshake with a refusal, whose own failure is ignored.
int32_t refuse(const service &s, uint32_t *state, int32_t rc)
{
    kelvane_close_resp_mbox_handshake(s.at, s.mb, false, state);
    return rc;
}

// Finds the record of a well-formed message, frees it if it is a request's, and runs the handler while the
// handshake is open. `delivered` stays false for a message that belongs to no live record.
int32_t deliver(const service &s, const mbox_data_header &header, bool *delivered)
{
    answer_handler handler{};
    int32_t rc = kelvane_get_cb_fn_data_table(header.cmd, &handler);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    bool valid = false;
    if (handler.run == nullptr) { // the record is not claimed, and goes on aging
        rc = is_asynch_req_id_valid(s.at, s.mb, s.requests, header, &valid);
        if (rc == KELVANE_EOK && valid) {
            TRACE_AT_AS(PASS, LEVEL_ERROR, s.at, "ERROR no handler for command %d ",
                        static_cast<int>(header.cmd));
            rc = KELVANE_RET_CODE_GEN_ERR;
        }
        return rc;
    }
    asynch_req_t record{};
    rc = claim_asynch_req(s.at, s.mb, s.requests, header, handler.type, &valid, &record);
    if (rc == KELVANE_EOK && valid) {
        *delivered = true;
        TRACE_AT_AS(PASS, s.mb.flow_level, s.at, "data header OK");
        rc = handler.run(s.at.handle, s.mb, header, record);
    }
    return rc;
}

// One message on offer, with the response mutex held. A synchronous answer is left alone. A well-formed
// message of no live record is accepted and dropped.
int32_t serve_message(const service &s, uint32_t *state, bool *synchronous)
{
    mbox_data_header header{};
    int32_t rc = read_mbox_header(s.at.handle, s.mb, &header, true);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    if (header.sy == MBOX_SYNC_WORD) {
        *synchronous = true;
        return KELVANE_EOK;
    }
    header.sy = slot_of(header);
    const bool good = kelvane_validate_header(s.at, header.ref_id, header);
    TRACE_AT_AS(PASS, s.mb.flow_level, s.at, "validate_header = %d ", static_cast<int>(good));
    bool delivered = false;
    if (good) {
        rc = deliver(s, header, &delivered);
    } else { // looked up only for the log
        bool ignored = false;
        rc = is_asynch_req_id_valid(s.at, s.mb, s.requests, header, &ignored);
    }
    if (rc != KELVANE_EOK) {
        return refuse(s, state, rc);
    }
    if (!delivered) {
        TRACE_AT_AS(PASS, LEVEL_ERROR, s.at, "ERROR data header KO -> aborting asynch notify");
    }
    return kelvane_close_resp_mbox_handshake(s.at, s.mb, good, state);
}

// Under the response mutex: looks, serves what is offered, and looks again into `state`.
int32_t look(const service &s, uint32_t polling_counter, uint32_t *state, bool *synchronous)
{
    int32_t rc = mbox_check_for_state(s.at, s.mb, MBOX_STATE_READY, polling_counter, state);
    if (rc == KELVANE_EOK && (*state & MBOX_STATE_READY) != 0) {
        TRACE_AT_AS(PASS, s.mb.flow_level, s.at, "FOUND waiting_state_mask %08x on reg %08x ",
                    static_cast<uint32_t>(MBOX_STATE_READY), s.mb.waiting_reg);
        TRACE_AT_AS(PASS, s.mb.flow_level, s.at, "polling counter  %d", static_cast<int>(polling_counter));
        rc = serve_message(s, state, synchronous);
    }
    if (rc != KELVANE_EOK) {
        return rc;
    }
    rc = read_mbox_state(s.at.handle, s.mb, state, CHECK_ALIVE);
    if (*state == PCI_ALL_ONES) {
        TRACE_AT_AS(PASS, LEVEL_ERROR, s.at,
                    "ERROR state read = %08x DEFAULT PCI ERROR VALUE, EXECUTION NOT STOPPED", *state);
    }
    if (rc == KELVANE_EOK && *state == MBOX_STATE_READY) {
        TRACE_AT_AS(
            PASS, s.mb.flow_level, s.at, "new request arrived on same mbx handler=%d sirane_id=%d mbox=%d   ",
            static_cast<int>(s.at.handle), static_cast<int>(s.mb.sirane_id), static_cast<int>(s.mb.mbox));
    }
    return rc;
}

} // namespace

int32_t kelvane_asyc_resp_common(kelvane_handle handle, sirane_link &link, mbox_id mbox)
{
    const service s = {{handle, KELVANE_ADDRESS_SIRANE(link.sirane_id)},
                       mailbox_of(link.sirane_id, mbox),
                       link.answers[mbox],
                       link.requests};
    TRACE_AT(s.mb.flow_level, s.at, "start handler=%d sirane_id=%d mbox=%d   ", static_cast<int>(handle),
             static_cast<int>(link.sirane_id), static_cast<int>(mbox));
    int32_t rc = check_if_cb_is_available(handle, link, mbox);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    kelvane_mutex *response_mutex = &s.mailbox.response_mutex;
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
            return mbox_leave_after_failure(handle, s.mb, response_mutex, rc);
        }
        if (synchronous) { // its caller is polling for it
            kelvane_delay(SYNCHRONOUS_PAUSE_S, 0);
        }
        kelvane_delay(0, PACE_NS);
    }
    return KELVANE_EOK;
}

void *kelvane_asyc_resp_th(void *argument)
{
    const thread_argument start = take_thread_argument(argument);
    const trace_context at = {start.handle, KELVANE_ADDRESS_SIRANE(start.sirane_id)};
    sirane_link *link = find_link(start.handle, start.sirane_id);
    if (link == nullptr || start.mbox >= MBOX_THREAD_COUNT) {
        TRACE_AT(LEVEL_ERROR, at, "problem with mbox handler sirane_id %d mbox %d",
                 static_cast<int>(start.sirane_id), static_cast<int>(start.mbox));
        return nullptr;
    }
    const auto mbox = static_cast<mbox_id>(start.mbox);
    const uint32_t level = mailbox_of(link->sirane_id, mbox).flow_level;
    answer_mailbox &mailbox = link->answers[mbox];
    TRACE_AT(LEVEL_INFO, at, "starting thread sirane_id = %d mbox = %d tid=%d",
             static_cast<int>(start.sirane_id), static_cast<int>(start.mbox), kelvane_gettid());
    mailbox.mbox_tid.store(kelvane_gettid(), std::memory_order_relaxed);
    kelvane_sem_take(&mailbox.semaphore); // the token that it was created with; later ones are real
    for (;;) {
        TRACE_AT(level, at, "waiting sem mbox = %d ", static_cast<int>(start.mbox));
        if (kelvane_sem_take(&mailbox.semaphore) != KELVANE_EOK) {
            continue;
        }
        TRACE_AT(level, at, "unloked sem mbox = %d ", static_cast<int>(start.mbox));
        kelvane_asyc_resp_common(start.handle, *link, mbox);
    }
}
