#include "mbox/receive.h"

#include "core/handle.h"
#include "core/mutex.h"
#include "core/pci.h"
#include "core/thread.h"
#include "core/trace/trace.h"
#include "mbox/catalogue.h"
#include "mbox/message.h"
#include "mbox/model.h"
#include "mbox/state.h"
#include "mbox/waiting.h"

bool kelvane_validate_header(trace_context at, uint32_t ref_id, const mbox_data_header &header)
{
    if (header.cmd >= COMMAND_COUNT) {
        TRACE_AT(LEVEL_ERROR, at, " problem with command number ");
        return false;
    }
    const mbox_data_row &row = mbox_data_table[header.cmd];
    if (row.command != header.cmd || header.version > row.version) {
        TRACE_AT(LEVEL_ERROR, at, " problem with version expected=0x%08x received=0x%08x", row.version,
                 header.version);
        return false;
    }
    if (header.size >= row.max_data_size) {
        TRACE_AT(LEVEL_ERROR, at, " problem with size expected=0x%08x received=0x%08x", row.max_data_size,
                 header.size);
        return false;
    }
    if (header.ref_id != ref_id) {
        TRACE_AT(LEVEL_ERROR, at, " problem with ref_id expected=0x%08x received=0x%08x ", ref_id,
                 header.ref_id);
        return false;
    }
    return true;
}

int32_t manage_resp_mbox_new_state(trace_context at, const mailbox_handler &mb, uint32_t new_state,
                                   bool validate_header)
{
    TRACE_AT(mb.flow_level, at, " mbox %d  new_state=%08x validate_header = %d", static_cast<int>(mb.mbox),
             new_state, static_cast<int>(validate_header));
    switch (new_state) {
    case MBOX_STATE_IDLE:
        return write_mbox_state(at.handle, mb, MBOX_STATE_IDLE, CHECK_ALIVE);
    case MBOX_STATE_READY:
        return write_mbox_state(at.handle, mb, validate_header ? MBOX_STATE_READY : MBOX_STATE_REFUSED,
                                CHECK_ALIVE);
    default:
        TRACE_AT(LEVEL_INFO, at, "invalid state to manage new_state=%08x resp_reg_to_write=%08x  ", new_state,
                 mb.resp_reg_to_write);
        return KELVANE_RET_CODE_GEN_ERR;
    }
}

int32_t kelvane_close_resp_mbox_handshake(trace_context at, const mailbox_handler &mb, bool validate_header,
                                          uint32_t *state)
{
    invalidate_mbox_data(at.handle, mb, MBOX_HEADER_WORDS);
    int32_t rc = manage_resp_mbox_new_state(at, mb, *state, validate_header);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    rc = mbox_wait_for_state(at, mb, MBOX_STATE_IDLE, MATCH_ANY_BIT, CHECK_ALIVE, state);
    if (rc == KELVANE_RET_CODE_ETIMEDOUT) {
        TRACE_AT(LEVEL_ERROR, at, "state on MBOX not available reg_address = %08x  read_state = %08x ",
                 mb.waiting_reg, validate_header ? 1u : 0u); // the verdict, where the text promises the state
    }
    if (rc != KELVANE_EOK) {
        return rc;
    }
    return manage_resp_mbox_new_state(at, mb, *state, validate_header);
}

int32_t mbox_leave_after_failure(kelvane_handle handle, const mailbox_handler &mb,
                                 kelvane_mutex *response_mutex, int32_t failure)
{
    const int32_t idle_rc = write_mbox_state(handle, mb, MBOX_STATE_IDLE, CHECK_ALIVE);
    const int32_t unlock_rc = kelvane_mutex_unlock(response_mutex);
    if (unlock_rc != KELVANE_EOK) {
        return unlock_rc;
    }
    return idle_rc != KELVANE_EOK ? idle_rc : failure;
}

namespace {

constexpr const char *RECEIVE = "manage_resp_receive"; // its steps log under its name

// One synchronous receive in progress.
struct receiver {
    trace_context at;
    const mailbox_handler &mb;
    mbox_data_header *header_out;
    mbox_data *data_out;
    uint32_t ref_id;
};

// Under the response mutex: takes the message that is offered, if it is for a synchronous caller. `delivered`
// tells whether it was good.
int32_t look_once(const receiver &r, uint32_t polls_done, uint64_t polls_left, bool *delivered)
{
    uint32_t state = 0;
    int32_t rc = mbox_check_for_state(r.at, r.mb, MBOX_STATE_READY, polls_done, &state);
    if (rc != KELVANE_EOK || (state & MBOX_STATE_READY) == 0) {
        return rc;
    }
    TRACE_AT_AS(RECEIVE, r.mb.flow_level, r.at,
                "FOUND %08x on waiting_state_mask %08x on reg %08x  polling_number%lu", state,
                static_cast<uint32_t>(MBOX_STATE_READY), r.mb.waiting_reg,
                static_cast<unsigned long>(polls_left));
    rc = read_mbox_header(r.at.handle, r.mb, r.header_out, true);
    if (rc != KELVANE_EOK || r.header_out->sy != MBOX_SYNC_WORD) { // another sy: the response thread's
        return rc;
    }
    const bool good = kelvane_validate_header(r.at, r.ref_id, *r.header_out);
    TRACE_AT_AS(RECEIVE, r.mb.flow_level, r.at, "validate_header = %d ", static_cast<int>(good));
    *delivered = good;
    rc = read_mbox_data(r.at.handle, r.mb, r.data_out, r.header_out->size);
    if (rc == KELVANE_EOK) {
        rc = kelvane_close_resp_mbox_handshake(r.at, r.mb, good, &state);
    }
    if (rc == KELVANE_EOK && !good) {
        rc = KELVANE_RET_CODE_VERSION_MISMATCH;
    }
    return rc;
}

bool is_low_prio_thread(kelvane_handle handle)
{
    const kelvane_handle_record *record = handle_record(handle);
    return record != nullptr && record->low_prio_tid.load(std::memory_order_relaxed) == kelvane_gettid();
}

} // namespace

int32_t manage_resp_receive(trace_context at, sirane_link &link, mbox_id mbox, mbox_data_header *header_out,
                            mbox_data *data_out, const mbox_data_header &request_header)
{
    const mailbox_handler &mb = mailbox_of(link.sirane_id, mbox);
    kelvane_mutex *response_mutex = &link.answers[mbox].response_mutex;
    const receiver r = {at, mb, header_out, data_out, request_header.ref_id};
    const uint64_t polling_number = mbox_polling_number(mb);
    TRACE_AT(mb.flow_level, at, "start mbox = %d ", static_cast<int>(mbox));

    announced_wait turn(&link.command_mutex, response_mutex);
    for (uint64_t left = polling_number;;) {
        bool delivered = false;
        int32_t rc = turn.lock();
        if (turn.refused()) { // the mutex is not this call's to release
            write_mbox_state(at.handle, mb, MBOX_STATE_IDLE, CHECK_ALIVE);
            return KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM;
        }
        if (rc == KELVANE_EOK) {
            rc = look_once(r, static_cast<uint32_t>(polling_number - left), left, &delivered);
        }
        if (rc != KELVANE_EOK || delivered || left == 1) { // the last look
            turn.end();
        }
        if (rc == KELVANE_EOK) {
            rc = kelvane_mutex_unlock(response_mutex); // between two polls, other readers get their turn
        }
        if (rc != KELVANE_EOK) {
            return mbox_leave_after_failure(at.handle, mb, response_mutex, rc);
        }
        kelvane_delay(0, mb.polling_nsec);
        left--;
        if (left == 0) { // outranks the delivery: an answer that came with this poll is lost
            TRACE_AT(LEVEL_ERROR, at, "TIMEOUT EXPIRED on reg %08x = polling_number=0 ", mb.waiting_reg);
            if (is_low_prio_thread(at.handle)) {
                TRACE_AT(LEVEL_ERROR, at, "TIMEOUT EXPIRED_ON_LOW_PRIO ");
            }
        }
        if (left == 0 || delivered) {
            TRACE_AT(mb.flow_level, at, "end mbox = %d ", static_cast<int>(mbox));
            return left == 0 ? static_cast<int32_t>(KELVANE_RET_CODE_ETIMEDOUT) : KELVANE_EOK;
        }
    }
}
