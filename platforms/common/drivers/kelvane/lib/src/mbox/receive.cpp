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

uint32_t kelvane_validate_header(kelvane_handle handle, kelvane_device_address device_address,
                                 uint32_t ref_id, mbox_data_header header)
{
    if (header.cmd >= COMMAND_COUNT) {
        TRACE(LEVEL_ERROR, handle, device_address, " problem with command number ");
        return 0;
    }
    const mbox_data_row &row = mbox_data_table[header.cmd];
    if (row.command != header.cmd || header.version > row.version) {
        TRACE(LEVEL_ERROR, handle, device_address, " problem with version expected=0x%08x received=0x%08x",
              row.version, header.version);
        return 0;
    }
    if (header.size >= row.max_data_size) {
        TRACE(LEVEL_ERROR, handle, device_address, " problem with size expected=0x%08x received=0x%08x",
              row.max_data_size, header.size);
        return 0;
    }
    if (header.ref_id != ref_id) {
        TRACE(LEVEL_ERROR, handle, device_address, " problem with ref_id expected=0x%08x received=0x%08x ",
              ref_id, header.ref_id);
        return 0;
    }
    return 1;
}

int32_t manage_resp_mbox_new_state(kelvane_handle handle, kelvane_device_address device_address,
                                   const mailbox_handler *mb, uint32_t new_state, uint32_t validate_header)
{
    const mailbox_handler &m = mbox_fields(mb);
    TRACE(m.flow_level, handle, device_address, " mbox %d  new_state=%08x validate_header = %d",
          static_cast<int>(m.mbox), new_state, static_cast<int>(validate_header));
    switch (new_state) {
    case MBOX_STATE_IDLE:
        return write_mbox_state(handle, mb, MBOX_STATE_IDLE, CHECK_ALIVE);
    case MBOX_STATE_READY:
        return write_mbox_state(handle, mb, validate_header != 0 ? MBOX_STATE_READY : MBOX_STATE_REFUSED,
                                CHECK_ALIVE);
    default:
        TRACE(LEVEL_INFO, handle, device_address,
              "invalid state to manage new_state=%08x resp_reg_to_write=%08x  ", new_state,
              m.resp_reg_to_write);
        return KELVANE_RET_CODE_GEN_ERR;
    }
}

int32_t kelvane_close_resp_mbox_handshake(kelvane_handle handle, kelvane_device_address device_address,
                                          const mailbox_handler *mb, uint32_t validate_header,
                                          uint32_t *state)
{
    invalidate_mbox_data(handle, mb, MBOX_HEADER_WORDS);
    int32_t rc = manage_resp_mbox_new_state(handle, device_address, mb, *state, validate_header);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    rc = mbox_wait_for_state(handle, device_address, mb, MBOX_STATE_IDLE, MATCH_ANY_BIT, CHECK_ALIVE, state);
    if (rc == KELVANE_RET_CODE_ETIMEDOUT) {
        TRACE(LEVEL_ERROR, handle, device_address,
              "state on MBOX not available reg_address = %08x  read_state = %08x ",
              mbox_fields(mb).waiting_reg, validate_header);
    }
    if (rc != KELVANE_EOK) {
        return rc;
    }
    return manage_resp_mbox_new_state(handle, device_address, mb, *state, validate_header);
}

namespace {

// One synchronous receive under way.
struct receiver {
    kelvane_handle handle;
    kelvane_device_address device_address;
    const mailbox_handler *mb;
    kelvane_mutex *response_mutex;
    mbox_data_header *header_out;
    mbox_data *data_out;
    uint32_t ref_id;
};

// Under the response mutex: takes the message if it is offered and for a synchronous caller. `verdict`
// becomes 1 when it was delivered.
int32_t look_once(const receiver &r, uint32_t polls_done, uint64_t polls_left, uint32_t *verdict)
{
    constexpr const char *name = "manage_resp_receive";
    uint32_t state = 0;
    int32_t rc = mbox_check_for_state(r.handle, r.device_address, r.mb, MBOX_STATE_READY, polls_done, &state);
    if (rc != KELVANE_EOK || (state & MBOX_STATE_READY) == 0) {
        return rc;
    }
    TRACE_AS(name, r.mb->flow_level, r.handle, r.device_address,
             "FOUND %08x on waiting_state_mask %08x on reg %08x  polling_number%lu", state,
             static_cast<uint32_t>(MBOX_STATE_READY), r.mb->waiting_reg,
             static_cast<unsigned long>(polls_left));
    rc = read_mbox_header(r.handle, r.mb, r.header_out, 1);
    if (rc != KELVANE_EOK || r.header_out->sy != MBOX_SYNC_WORD) { // another sy: the response thread's
        return rc;
    }
    const uint32_t good = kelvane_validate_header(r.handle, r.device_address, r.ref_id, *r.header_out);
    TRACE_AS(name, r.mb->flow_level, r.handle, r.device_address, "validate_header = %d ",
             static_cast<int>(good));
    *verdict = good;
    rc = read_mbox_data(r.handle, r.mb, r.data_out, r.header_out->size);
    if (rc == KELVANE_EOK) {
        rc = kelvane_close_resp_mbox_handshake(r.handle, r.device_address, r.mb, good, &state);
    }
    if (rc == KELVANE_EOK && good == 0) {
        rc = KELVANE_RET_CODE_VERSION_MISMATCH;
    }
    return rc;
}

// Leaves the mailbox idle and the mutex free. The failures of doing so outrank the one that led here,
// also that of releasing a mutex which could not be had.
int32_t leave_after_failure(const receiver &r, int32_t failure)
{
    const int32_t idle_rc = write_mbox_state(r.handle, r.mb, MBOX_STATE_IDLE, CHECK_ALIVE);
    const int32_t unlock_rc = kelvane_mutex_unlock(r.response_mutex);
    if (unlock_rc != KELVANE_EOK) {
        return unlock_rc;
    }
    return idle_rc != KELVANE_EOK ? idle_rc : failure;
}

bool is_low_prio_thread(kelvane_handle handle)
{
    const kelvane_handle_record *record = handle_record(handle);
    return record != nullptr && record->low_prio_tid.load(std::memory_order_relaxed) == kelvane_gettid();
}

} // namespace

int32_t manage_resp_receive(kelvane_handle handle, kelvane_device_address device_address, uint32_t mbox,
                            mbox_data_header *header_out, mbox_data *data_out,
                            mbox_data_header request_header)
{
    const uint32_t sirane_id = sirane_id_of_address(device_address);
    const mailbox_handler *mb = get_mbox_handler(sirane_id, mbox);
    kelvane_mutex *response_mutex = mbox_response_mutex(handle, sirane_id, mbox);
    if (mb == nullptr || response_mutex == nullptr) {
        return KELVANE_RET_CODE_GEN_ERR;
    }
    const receiver r = {handle,   device_address,       mb, response_mutex, header_out,
                        data_out, request_header.ref_id};
    const uint64_t polling_number = mbox_polling_number(mb);
    TRACE(mb->flow_level, handle, device_address, "start mbox = %d ", static_cast<int>(mbox));

    for (uint64_t left = polling_number;;) {
        uint32_t verdict = 0;
        int32_t rc = kelvane_mutex_timed_lock(response_mutex, LOCK_LIMIT_SECONDS, 0);
        if (rc != KELVANE_EOK && mbox_mutex_served_here == response_mutex) {
            // A callback of this mailbox called: what its thread held before stays held.
            write_mbox_state(handle, mb, MBOX_STATE_IDLE, CHECK_ALIVE);
            return rc;
        }
        if (rc == KELVANE_EOK) {
            rc = look_once(r, static_cast<uint32_t>(polling_number - left), left, &verdict);
        }
        if (rc != KELVANE_EOK) {
            return leave_after_failure(r, rc);
        }
        rc = kelvane_mutex_unlock(response_mutex); // the other readers' turn, between two polls
        if (rc != KELVANE_EOK) {
            return leave_after_failure(r, rc);
        }
        kelvane_delay(0, mb->polling_nsec);
        left--;
        if (left == 0) { // tested before the delivery
            TRACE(LEVEL_ERROR, handle, device_address, "TIMEOUT EXPIRED on reg %08x = polling_number=0 ",
                  mb->waiting_reg);
            if (is_low_prio_thread(handle)) {
                TRACE(LEVEL_ERROR, handle, device_address, "TIMEOUT EXPIRED_ON_LOW_PRIO ");
            }
            TRACE(mb->flow_level, handle, device_address, "end mbox = %d ", static_cast<int>(mbox));
            return KELVANE_RET_CODE_ETIMEDOUT;
        }
        if (verdict == 1) {
            TRACE(mb->flow_level, handle, device_address, "end mbox = %d ", static_cast<int>(mbox));
            return KELVANE_EOK;
        }
    }
}
