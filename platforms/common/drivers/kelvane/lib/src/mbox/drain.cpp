// The drain: clears a mailbox of what no thread is waiting for.
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

constexpr uint32_t ORPHAN_TRY_NSEC = 10; // too short to wait: the command mutex is had at once or not
constexpr uint32_t SETTLE_NSEC = 1000000;

struct drain {
    kelvane_handle handle;
    kelvane_device_address device_address;
    const mailbox_handler *mb;
    uint32_t sirane_id;
    kelvane_mutex *response_mutex;
};

// The header of the message that is offered; `offered` 0 when there is none.
int32_t peek(const drain &d, uint32_t *offered, mbox_data_header *header)
{
    *offered = 0;
    return with_lock(d.response_mutex, [&] {
        uint32_t state = 0;
        const int32_t rc = read_mbox_state(d.handle, d.mb, &state, CHECK_ALIVE);
        if (rc != KELVANE_EOK || state != MBOX_STATE_READY) {
            return rc;
        }
        *offered = 1;
        TRACE_AS("kelvane_deque_resp_receive", LEVEL_INFO, d.handle, d.device_address,
                 " found %08x state to manage on mbox %d ", state, static_cast<int>(d.mb->mbox));
        return read_mbox_header(d.handle, d.mb, header, 1);
    });
}

// Whether the offered message still is the one whose header was read: since then its owner may have taken
// it, and another message may stand there.
bool still_offered(const drain &d, const mbox_data_header &header, int32_t *rc)
{
    uint32_t state = 0;
    *rc = read_mbox_state(d.handle, d.mb, &state, CHECK_ALIVE);
    if (*rc != KELVANE_EOK || state != MBOX_STATE_READY) {
        return false;
    }
    mbox_data_header now{};
    *rc = with_lock(d.response_mutex, [&] { return read_mbox_header(d.handle, d.mb, &now, 0); });
    return *rc == KELVANE_EOK && now.sy == MBOX_SYNC_WORD && now.ref_id == header.ref_id;
}

// A synchronous answer is an orphan only if no command of the sirane runs that could own it. Throws it
// away; `look_again` becomes 0 when the drain must end here, whatever the status.
int32_t drop_orphan(const drain &d, const mbox_data_header &header, uint32_t *look_again)
{
    kelvane_mutex *command_mutex = mbox_command_mutex(d.handle, d.sirane_id);
    if (command_mutex == nullptr) {
        return KELVANE_RET_CODE_GEN_ERR;
    }
    int32_t rc = kelvane_mutex_timed_lock(command_mutex, 0, ORPHAN_TRY_NSEC);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    if (!still_offered(d, header, &rc)) {
        TRACE_AS("kelvane_deque_resp_receive", LEVEL_ERROR, d.handle, d.device_address,
                 " BUG of arm mbox reg val changed during the read of the header ");
        *look_again = 0;
        return rc | kelvane_mutex_unlock(command_mutex);
    }
    mbox_data_header dropped{};
    mbox_data resp_scratch{};
    rc = manage_resp_receive(d.handle, d.device_address, d.mb->mbox, &dropped, &resp_scratch, header);
    kelvane_mutex_unlock(command_mutex);
    return rc;
}

int32_t wake_response_thread(const drain &d)
{
    constexpr const char *name = "kelvane_deque_resp_receive";
    kelvane_semaphore *semaphore = mbox_sem_of(d.handle, d.sirane_id, d.mb->mbox);
    if (semaphore == nullptr) {
        TRACE_AS(name, LEVEL_ERROR, d.handle, d.device_address,
                 "problem with retrieve sem: sirane_id %d mbox %d", static_cast<int>(d.sirane_id),
                 static_cast<int>(d.mb->mbox));
        return KELVANE_RET_CODE_GEN_ERR;
    }
    int32_t rc = kelvane_sem_give(semaphore);
    TRACE_AS(name, d.mb->flow_level, d.handle, d.device_address, "unloking sem mbox = %d ",
             static_cast<int>(d.mb->mbox));
    if (rc != KELVANE_EOK) {
        return rc;
    }
    kelvane_delay(0, SETTLE_NSEC);
    rc = kelvane_mutex_timed_lock(d.response_mutex, 1, 0);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    TRACE_AS(name, LEVEL_LOWPR, d.handle, d.device_address, "mutex taken and leaved ");
    return kelvane_mutex_unlock(d.response_mutex);
}

} // namespace

int32_t kelvane_deque_resp_receive(kelvane_handle handle, kelvane_device_address device_address,
                                   uint32_t mbox)
{
    const uint32_t sirane_id = sirane_id_of_address(device_address);
    const drain d = {handle, device_address, get_mbox_handler(sirane_id, mbox), sirane_id,
                     mbox_response_mutex(handle, sirane_id, mbox)};
    if (d.mb == nullptr || d.response_mutex == nullptr) {
        return KELVANE_RET_CODE_GEN_ERR;
    }
    for (;;) {
        int32_t rc = check_if_cb_is_available(handle, sirane_id, mbox);
        uint32_t offered = 0;
        mbox_data_header header{};
        if (rc == KELVANE_EOK) {
            rc = peek(d, &offered, &header);
        }
        if (rc != KELVANE_EOK || offered == 0) {
            return rc;
        }
        uint32_t look_again = 1;
        rc = header.sy == MBOX_SYNC_WORD ? drop_orphan(d, header, &look_again) : wake_response_thread(d);
        if (rc != KELVANE_EOK || look_again == 0) {
            return rc;
        }
        kelvane_delay(0, SETTLE_NSEC);
        uint32_t state = 0;
        rc = read_mbox_state(handle, d.mb, &state, CHECK_ALIVE);
        if (rc != KELVANE_EOK || state != MBOX_STATE_READY) {
            return rc;
        }
    }
}
