#include "dap/dap_channel.h"

#include <cstdlib>

#include "core/handle.h"
#include "core/mutex.h"
#include "core/pci.h"
#include "core/semaphore.h"
#include "core/thread.h"
#include "core/trace/trace.h"
#include "mbox/model.h"
#include "mbox/state.h"

dap_record the_dap_record;

namespace {

constexpr kelvane_device_address DAP_ADDRESS = KELVANE_ADDRESS_BOARD;
constexpr uint32_t DAP_LOCK_SECONDS = 1;

const mailbox_handler &dap_mailbox(void)
{
    return mailbox_of(0, MBOX_DAP);
}

int32_t show(kelvane_handle handle, uint32_t state)
{
    return write_mbox_state(handle, dap_mailbox(), state, CHECK_ALIVE);
}

void trace_start(kelvane_handle handle, const dap_record *record, const char *function)
{
    TRACE_AS(function, dap_mailbox().header_level, handle, DAP_ADDRESS, "start cmd =%d ",
             static_cast<int>(record->dap_cmd));
}

dap_state trace_end(kelvane_handle handle, dap_state next, const char *function)
{
    TRACE_AS(function, dap_mailbox().header_level, handle, DAP_ADDRESS, "end  ");
    return next;
}

void trace_unexpected(kelvane_handle handle, const dap_record *record, const char *function)
{
    TRACE_AS(function, LEVEL_INFO, handle, DAP_ADDRESS,
             "invalid command %d received - state does not change ", static_cast<int>(record->dap_cmd));
}

} // namespace

dap_state kelvane_dap_wait_for_call(kelvane_handle handle, dap_record *record)
{
    dap_state next = {kelvane_dap_wait_for_call};
    trace_start(handle, record, __func__);
    switch (record->dap_cmd) {
    case MBOX_STATE_IDLE:
        break;
    case DAP_CALL_EVENT:
        if (show(handle, MBOX_STATE_RESET) == KELVANE_EOK) {
            next = {kelvane_dap_wait_for_reset};
        }
        break;
    default:
        trace_unexpected(handle, record, __func__);
        break;
    }
    return trace_end(handle, next, __func__);
}

dap_state kelvane_dap_wait_for_reset(kelvane_handle handle, dap_record *record)
{
    dap_state next = {kelvane_dap_wait_for_reset};
    trace_start(handle, record, __func__);
    switch (record->dap_cmd) {
    case MBOX_STATE_RESET: {
        // The message is offered even after a failed move: the firmware's next state decides then.
        const int32_t move_rc = kelvane_dap_mbox_handler_move_data_to_regs(handle, record);
        const int32_t show_rc = show(handle, MBOX_STATE_READY);
        TRACE(dap_mailbox().flow_level, handle, DAP_ADDRESS, "message sent to ARM");
        if (move_rc == KELVANE_EOK && show_rc == KELVANE_EOK) {
            next = {kelvane_dap_wait_for_done};
        }
        break;
    }
    case MBOX_STATE_IDLE:
    case MBOX_STATE_DONE: // the firmware has not followed yet, or shows a stale answer
        show(handle, MBOX_STATE_RESET);
        break;
    case DAP_CALL_EVENT: // a newer request
        show(handle, MBOX_STATE_IDLE);
        show(handle, MBOX_STATE_RESET);
        break;
    default:
        trace_unexpected(handle, record, __func__);
        break;
    }
    return trace_end(handle, next, __func__);
}

dap_state kelvane_dap_wait_for_done(kelvane_handle handle, dap_record *record)
{
    dap_state next = {kelvane_dap_wait_for_done};
    trace_start(handle, record, __func__);
    switch (record->dap_cmd) {
    case MBOX_STATE_DONE: {
        const int32_t done_rc = kelvane_dap_mbox_handler_manage_done_state(handle, record);
        const int32_t show_rc = show(handle, MBOX_STATE_IDLE);
        TRACE(dap_mailbox().flow_level, handle, DAP_ADDRESS, "message get from ARM");
        if (done_rc == KELVANE_EOK && show_rc == KELVANE_EOK) {
            next = {kelvane_dap_wait_for_call};
        }
        break;
    }
    case MBOX_STATE_HOLD:
        show(handle, MBOX_STATE_HOLD);
        break;
    case MBOX_STATE_IDLE:
    case DAP_CALL_EVENT: // the request is given up, and its callback never runs
        show(handle, MBOX_STATE_RESET);
        next = {kelvane_dap_wait_for_reset};
        break;
    default:
        trace_unexpected(handle, record, __func__);
        break;
    }
    return trace_end(handle, next, __func__);
}

int32_t dap_record_init(dap_record *record)
{
    const mailbox_handler &mb = dap_mailbox();
    record->dap_valid = 0;
    record->dap_state_reg_write = mb.resp_reg_to_write;
    record->dap_state_reg_read = mb.waiting_reg;
    record->dap_mailbox_addr = mb.mailbox_addr;
    const int32_t rc = kelvane_mutex_init(&record->dap_lock);
    record->dap_pending = 0;
    record->dap_lock_sec = DAP_LOCK_SECONDS;
    record->dap_lock_nsec = 0;
    for (uint32_t &word : record->dap_buffer) {
        word = 0;
    }
    record->dap_size = 0;
    record->dap_callback = nullptr;
    record->dap_cmd = 0;
    record->dap_ref_id = 0;
    record->dap_valid = rc == KELVANE_EOK ? 1 : 0;
    return rc;
}

void dap_serve_event(kelvane_handle handle, dap_record *record, dap_state *state)
{
    const mailbox_handler &mb = dap_mailbox();
    const mutex_guard lock(&record->dap_lock, record->dap_lock_sec, record->dap_lock_nsec);
    if (lock.status() != KELVANE_EOK) {
        kelvane_mutex_unlock(&record->dap_lock); // another thread's: refused, which shows in the log
        return;
    }
    uint32_t event = DAP_CALL_EVENT;
    if (record->dap_pending == 1) {
        record->dap_pending = 0;
    } else if (read_mbox_state(handle, mb, &event, CHECK_ALIVE) != KELVANE_EOK) {
        return;
    }
    TRACE_AS("kelvane_dap_th", mb.flow_level, handle, DAP_ADDRESS, "dap_cmd = %d ", static_cast<int>(event));
    record->dap_cmd = event;
    *state = state->handle_event(handle, record);
}

void *kelvane_dap_th(void *argument)
{
    const thread_argument start = take_thread_argument(argument);
    kelvane_handle_record *handle_fields = handle_record(start.handle);
    if (handle_fields == nullptr) {
        return nullptr;
    }
    TRACE(LEVEL_INFO, start.handle, DAP_ADDRESS, "starting thread sirane_id = %d mbox = %d tid=%d",
          static_cast<int>(start.sirane_id), static_cast<int>(start.mbox), kelvane_gettid());
    handle_fields->dap_tid.store(kelvane_gettid(), std::memory_order_relaxed);
    dap_state state = {kelvane_dap_wait_for_call};
    kelvane_sem_take(&handle_fields->dap_semaphore); // the token it was born with
    for (;;) {
        const uint32_t level = dap_mailbox().flow_level;
        TRACE(level, start.handle, DAP_ADDRESS, "waiting sem mbox = %d ", static_cast<int>(MBOX_DAP));
        if (kelvane_sem_take(&handle_fields->dap_semaphore) != KELVANE_EOK) {
            kelvane_mutex_unlock(&the_dap_record.dap_lock); // not held: refused, which shows in the log
            continue;
        }
        TRACE(level, start.handle, DAP_ADDRESS, "unloked sem mbox = %d ", static_cast<int>(MBOX_DAP));
        dap_serve_event(start.handle, &the_dap_record, &state);
    }
}

int32_t initialize_dap(kelvane_handle handle, bool start_thread)
{
    kelvane_handle_record *record = handle_record(handle);
    if (record == nullptr) {
        return KELVANE_RET_CODE_GEN_ERR;
    }
    if (record->dap_started) {
        return KELVANE_EOK;
    }
    int32_t rc = kelvane_sem_init(&record->dap_semaphore);
    if (rc != KELVANE_EOK) {
        TRACE(LEVEL_ERROR, handle, DAP_ADDRESS, "problem with kelvane_sem_init sem dap ");
        return rc;
    }
    rc = dap_record_init(&the_dap_record);
    if (rc == KELVANE_EOK && start_thread) {
        TRACE(LEVEL_DEBUG, handle, DAP_ADDRESS, "start dap th  mbox = %d // dummy val ",
              static_cast<int>(MBOX_DAP));
        thread_argument *argument = make_thread_argument(handle, 0xFFFFFFFF, MBOX_DAP);
        rc = argument == nullptr ? static_cast<int32_t>(KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM)
                                 : kelvane_thread_create(&record->dap_thread, kelvane_dap_th, argument);
        if (rc != KELVANE_EOK) {
            free(argument);
            TRACE(LEVEL_ERROR, handle, DAP_ADDRESS, "problem with kelvane_thread_create dap th ");
        }
    }
    if (rc == KELVANE_EOK) {
        record->dap_started = true;
    }
    return rc;
}

int32_t kelvane_dap_command(kelvane_handle handle, const void *data, const uint32_t *size,
                            kelvane_dap_cb callback)
{
    dap_record &record = the_dap_record;
    const mailbox_handler &mb = dap_mailbox();
    if (record.dap_valid != 1 || handle_record(handle) == nullptr) {
        return KELVANE_RET_CODE_GEN_ERR;
    }
    TRACE(mb.header_level, handle, DAP_ADDRESS, "start ");
    const mutex_guard lock(&record.dap_lock, record.dap_lock_sec, record.dap_lock_nsec);
    if (lock.status() != KELVANE_EOK) {
        return lock.status();
    }
    int32_t rc = kelvane_dap_mbox_handler_set_data(&record, data, *size, callback);
    if (rc == KELVANE_EOK) {
        record.dap_pending = 1;
        rc = kelvane_sem_give(mbox_sem_of(handle, 0, MBOX_DAP));
        TRACE(mb.flow_level, handle, DAP_ADDRESS, "unloking sem mbox = %d ", static_cast<int>(MBOX_DAP));
    }
    return rc;
}
