// What happens once the BAR can be reached: the gate opens, the link is tested, and every mailbox is brought
// to idle.
#include "card/info_tables.h"
#include "card/running_firmware.h"
#include "core/handle.h"
#include "core/mutex.h"
#include "core/pci.h"
#include "core/trace/trace.h"
#include "lifecycle/driver.h"
#include "mbox/model.h"
#include "mbox/msi.h"
#include "mbox/receive.h"
#include "mbox/send.h"
#include "mbox/state.h"
#include "mbox/waiting.h"

namespace {

constexpr const char *LINK_UP = "kelvane_pci_mapped"; // the steps below log under its name

constexpr firmware_version FIRST_RESETTING_FIRMWARE = {5, 10}; // answers a reset of its mailboxes
constexpr firmware_version FIRST_LOCKED_FIRMWARE = {5, 22};    // is brought to idle under the sirane's locks
constexpr firmware_version FIRST_6_1_FIRMWARE = {6, 1};        // is asked about and logged, no more

// The locks of the sirane that is being brought to idle, in the order of taking.
struct sirane_locks {
    kelvane_mutex *taken[1 + MBOX_THREAD_COUNT];
    uint32_t count;
};

void announce_all(const sirane_locks &locks, const kelvane_mutex *wanted)
{
    for (uint32_t i = 0; i < locks.count; i++) {
        locks.taken[i]->holder_waits_for.store(wanted, std::memory_order_release);
    }
}

// From a callback that serves a message nothing is taken: it would wait for its own mailbox.
int32_t take(kelvane_handle handle, sirane_link &link, sirane_locks *locks)
{
    *locks = {};
    if (mbox_mutex_served_here != nullptr) {
        TRACE_AS(LINK_UP, LEVEL_ERROR, handle, KELVANE_ADDRESS_SIRANE(link.sirane_id),
                 "refused in a callback that serves a message ");
        return KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM;
    }
    const auto take_one = [locks](kelvane_mutex *mutex) {
        announce_all(*locks, mutex);
        const int32_t rc = kelvane_mutex_timed_lock(mutex, LOCK_LIMIT_SECONDS, 0);
        announce_all(*locks, nullptr);
        if (rc == KELVANE_EOK) {
            locks->taken[locks->count++] = mutex;
        }
        return rc;
    };
    int32_t rc = take_one(&link.command_mutex);
    for (answer_mailbox &mailbox : link.answers) {
        if (rc == KELVANE_EOK) {
            rc = take_one(&mailbox.response_mutex);
        }
    }
    return rc;
}

void release(sirane_locks *locks)
{
    while (locks->count > 0) {
        kelvane_mutex_unlock(locks->taken[--locks->count]);
    }
}

// A failed link-up takes the locks that it already holds once more. They stay held until the process ends, so
// nothing runs on that sirane any more, and the failure to lock twice replaces `rc`.
int32_t take_again(const sirane_locks &locks, int32_t rc)
{
    for (uint32_t i = 0; i < locks.count; i++) {
        rc = kelvane_mutex_timed_lock(locks.taken[i], LOCK_LIMIT_SECONDS, 0);
    }
    return rc;
}

// Tests the link, exchanges versions with the firmware, and clears what an earlier run left behind, as far as
// possible.
int32_t greet_card(kelvane_handle handle)
{
    int32_t rc = kelvene_check_pci_functionality(handle);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    kelvane_store_firmware_version(handle);
    rc = kelvane_fill_sdk_to_arm_data(handle);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    for (sirane_link &link : handle_record(handle)->sirane) {
        kelvane_deque_resp_receive(handle, link, MBOX_RESPONSE);
    }
    rc = kelvane_trace_zynq_info_table(handle);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        rc = kelvane_ordune_msi_clear_interrupt(handle, sirane_id);
        if (rc != KELVANE_EOK) {
            TRACE_AS(LINK_UP, LEVEL_ERROR, handle, KELVANE_ADDRESS_SIRANE(sirane_id),
                     "problem with kelvane_ordune_msi_clear_interrupt rc = %d ", rc);
        }
    }
    return KELVANE_EOK;
}

// Resets the sirane's mailboxes. Failures of the first reset and of the wait are ignored: the last reset
// decides.
int32_t bring_to_idle(kelvane_handle handle, uint32_t sirane_id)
{
    bool answers_reset = false;
    int32_t rc = is_current_ver_later_or_equal(handle, FIRST_RESETTING_FIRMWARE, &answers_reset);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    if (!answers_reset) {
        return kelvane_check_for_mbox_idle_startup(handle, sirane_id);
    }
    TRACE_AS(LINK_UP, LEVEL_DEBUG, handle, KELVANE_ADDRESS_SIRANE(sirane_id),
             " is_current_ver_later_or_equal = %d ", static_cast<int>(answers_reset));
    global_reset_mbox(handle, sirane_id, MBOX_STATE_NONE);
    rc = write_mbox_state(handle, mailbox_of(sirane_id, MBOX_COMMAND), MBOX_STATE_IDLE, SKIP_ALIVE);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    kelvane_wait_for_mbox_idle_startup(handle, sirane_id);
    return global_reset_mbox(handle, sirane_id, MBOX_STATE_IDLE);
}

// All that is done with the gate open. After a failure `locks` holds what is still locked.
int32_t bring_up(kelvane_handle handle, sirane_locks *locks)
{
    int32_t rc = greet_card(handle);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    bool with_locks = false; // a failed inquiry leaves it so
    bool from_6_1 = false;
    is_current_ver_later_or_equal(handle, FIRST_LOCKED_FIRMWARE, &with_locks);
    is_current_ver_later_or_equal(handle, FIRST_6_1_FIRMWARE, &from_6_1);
    TRACE_AS(LINK_UP, LEVEL_DEBUG, handle, KELVANE_ADDRESS_BOARD, " is_current_ver_later_or_equal_5_22 = %d ",
             static_cast<int>(with_locks));
    TRACE_AS(LINK_UP, LEVEL_DEBUG, handle, KELVANE_ADDRESS_BOARD, " is_current_ver_later_or_equal_6_01 = %d ",
             static_cast<int>(from_6_1));
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT && rc == KELVANE_EOK; sirane_id++) {
        if (with_locks) {
            rc = take(handle, *find_link(handle, sirane_id), locks);
        }
        if (rc == KELVANE_EOK) {
            rc = bring_to_idle(handle, sirane_id);
        }
        if (rc == KELVANE_EOK) {
            release(locks);
        }
    }
    return rc;
}

} // namespace

int32_t kelvane_pci_mapped(kelvane_handle handle, int32_t pci_mapped, uint64_t, uint64_t)
{
    int32_t rc = check_kelvane_handler_input(handle);
    kelvane_handle_record *record = handle_record(handle);
    if (rc == KELVANE_EOK) {
        TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "pci_mapped = %d ", pci_mapped);
        record->pci_mapped.store(pci_mapped, std::memory_order_release);
        sirane_locks locks{};
        if (pci_mapped == 1) {
            rc = bring_up(handle, &locks);
        }
        if (rc != KELVANE_EOK) {
            record->pci_mapped.store(0, std::memory_order_release);
            rc = take_again(locks, rc);
        }
    } else if (record != nullptr) { // of a deleted device, say
        record->pci_mapped.store(0, std::memory_order_release);
    }
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "end rc = %d ", rc);
    return rc;
}
