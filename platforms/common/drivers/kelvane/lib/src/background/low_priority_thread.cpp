#include "background/low_priority_thread.h"

#include "background/aging.h"
#include "background/keep_alive.h"
#include "core/handle.h"
#include "core/mutex.h"
#include "core/thread.h"
#include "core/trace/trace.h"
#include "mbox/model.h"
#include "mbox/receive.h"

namespace {

constexpr uint32_t START_DELAY_S = 4;
constexpr uint32_t PERIOD_S = 2;

} // namespace

low_priority_state low_priority_start(kelvane_handle handle)
{
    return {handle, NO_ADDRESS, -1, 0};
}

void low_priority_pass(low_priority_state *state)
{
    const kelvane_handle handle = state->handle;
    if (kelvane_get_low_prio_active(handle) != 1) {
        return;
    }
    kelvane_handle_record &record = *handle_record(handle);
    const mailbox_handler &echo = mailbox_of(0, MBOX_KEEP_ALIVE);
    TRACE_AS("kelvane_low_prio_th", echo.header_level, handle, state->device_address,
             "sirane %d keep alive counter = %d ", state->label, static_cast<int>(state->passes));
    for (sirane_link &link : record.sirane) {
        if (kelvane_get_pci_mapped(handle) != 0) {
            state->device_address = KELVANE_ADDRESS_SIRANE(link.sirane_id);
            for (const mbox_id mbox : ANSWER_MAILBOXES) {
                kelvane_deque_resp_receive(handle, link, mbox);
            }
        }
        // While the mapping is down the address is stale: reports then come from the last sirane's table.
        kelvane_manage_asynch_req_aging({handle, state->device_address}, echo, link.requests);
    }
    state->label = static_cast<int32_t>(SIRANE_COUNT);
    if (record.keep_alive_enabled.load(std::memory_order_relaxed) == 1) {
        kelvane_keep_alive(handle, state->device_address);
    }
    kelvane_manage_seu_pl_uncorrectable(handle);
    state->passes++;
}

void *kelvane_low_prio_th(void *argument)
{
    const thread_argument start = take_thread_argument(argument);
    kelvane_handle_record *record = handle_record(start.handle);
    if (record == nullptr) {
        return nullptr;
    }
    TRACE(LEVEL_INFO, start.handle, NO_ADDRESS, "starting thread sirane_id = %d mbox = %d  tid=%d ",
          static_cast<int>(start.sirane_id), static_cast<int>(start.mbox), kelvane_gettid());
    record->low_prio_tid.store(kelvane_gettid(), std::memory_order_relaxed);
    kelvane_delay(START_DELAY_S, 0);
    low_priority_state state = low_priority_start(start.handle);
    for (;;) {
        low_priority_pass(&state);
        kelvane_delay(PERIOD_S, 0);
    }
}
