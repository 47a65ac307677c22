// The drain: clears a mailbox of messages that no thread is waiting for.
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

constexpr uint32_t ORPHAN_TRY_NS = 10; // too short to wait: the command mutex is free now, or it is not
constexpr uint32_t SETTLE_NS = 1000000;
constexpr uint32_t WOKEN_LIMIT_S = 1; // for a woken thread to let go of its mailbox

constexpr const char *DRAIN = "kelvane_deque_resp_receive"; // its steps log under its name

struct drain {
    trace_context at;
    const mailbox_handler &mb;
    sirane_link &link;
    answer_mailbox &mailbox;
};

// The header of the message on offer; `offered` tells whether there is one.
int32_t peek(const drain &d, bool *offered, mbox_data_header *header)
{
    *offered = false;
    return with_lock(&d.mailbox.response_mutex, [&] {
        uint32_t state = 0;
        const int32_t rc = read_mbox_state(d.at.handle, d.mb, &state, CHECK_ALIVE);
        if (rc != KELVANE_EOK || state != MBOX_STATE_READY) {
            return rc;
        }
        *offered = true;
        TRACE_AT_AS(DRAIN, LEVEL_INFO, d.at, " found %08x state to manage on mbox %d ", state,
                    static_cast<int>(d.mb.mbox));
        return read_mbox_header(d.at.handle, d.mb, header, true);
    });
}

// Whether the message on offer is still the one whose header was read: since then its owner may have taken
// it, and another may have taken its place.
bool still_offered(const drain &d, const mbox_data_header &header, int32_t *rc)
{
    uint32_t state = 0;
    *rc = read_mbox_state(d.at.handle, d.mb, &state, CHECK_ALIVE);
    if (*rc != KELVANE_EOK || state != MBOX_STATE_READY) {
        return false;
    }
    mbox_data_header now{};
    *rc = with_lock(&d.mailbox.response_mutex,
                    [&] { return read_mbox_header(d.at.handle, d.mb, &now, false); });
    return *rc == KELVANE_EOK && now.sy == MBOX_SYNC_WORD && now.ref_id == header.ref_id;
}

// A synchronous answer is an orphan only if no command of the sirane is running that could own it. Throws it
// away; `look_again` becomes false when the drain must end here, whatever the status.
int32_t drop_orphan(const drain &d, const mbox_data_header &header, bool *look_again)
{
    int32_t rc = kelvane_mutex_timed_lock(&d.link.command_mutex, 0, ORPHAN_TRY_NS);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    if (!still_offered(d, header, &rc)) {
        TRACE_AT_AS(DRAIN, LEVEL_ERROR, d.at,
                    " BUG of arm mbox reg val changed during the read of the header ");
        *look_again = false;
        return rc | kelvane_mutex_unlock(&d.link.command_mutex); // both codes in one
    }
    mbox_data_header dropped{};
    mbox_data resp_scratch{};
    rc = manage_resp_receive(d.at, d.link, static_cast<mbox_id>(d.mb.mbox), &dropped, &resp_scratch, header);
    kelvane_mutex_unlock(&d.link.command_mutex);
    return rc;
}

int32_t wake_response_thread(const drain &d)
{
    int32_t rc = kelvane_sem_give(&d.mailbox.semaphore);
    TRACE_AT_AS(DRAIN, d.mb.flow_level, d.at, "unloking sem mbox = %d ", static_cast<int>(d.mb.mbox));
    if (rc != KELVANE_EOK) {
        return rc;
    }
    kelvane_delay(0, SETTLE_NS);
    rc = kelvane_mutex_timed_lock(&d.mailbox.response_mutex, WOKEN_LIMIT_S, 0);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    TRACE_AT_AS(DRAIN, LEVEL_LOWPR, d.at, "mutex taken and leaved ");
    return kelvane_mutex_unlock(&d.mailbox.response_mutex);
}

} // namespace

int32_t kelvane_deque_resp_receive(kelvane_handle handle, sirane_link &link, mbox_id mbox)
{
    const drain d = {{handle, KELVANE_ADDRESS_SIRANE(link.sirane_id)},
                     mailbox_of(link.sirane_id, mbox),
                     link,
                     link.answers[mbox]};
    for (;;) {
        // In every round: once the subscription to performance ends, nobody takes its messages any more, and
        // this loop would not end.
        int32_t rc = check_if_cb_is_available(handle, link, mbox);
        bool offered = false;
        mbox_data_header header{};
        if (rc == KELVANE_EOK) {
            rc = peek(d, &offered, &header);
        }
        if (rc != KELVANE_EOK || !offered) {
            return rc;
        }
        bool look_again = true;
        rc = header.sy == MBOX_SYNC_WORD ? drop_orphan(d, header, &look_again) : wake_response_thread(d);
        if (rc != KELVANE_EOK || !look_again) {
            return rc;
        }
        kelvane_delay(0, SETTLE_NS);
        uint32_t state = 0;
        rc = read_mbox_state(handle, d.mb, &state, CHECK_ALIVE);
        if (rc != KELVANE_EOK || state != MBOX_STATE_READY) {
            return rc;
        }
    }
}
