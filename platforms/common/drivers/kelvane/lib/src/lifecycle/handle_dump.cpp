// The whole handle record as log lines, for a debugger or an application. Reads it without locks.
#include "core/handle.h"
#include "core/mutex.h"
#include "core/semaphore.h"
#include "core/trace/trace.h"
#include "mbox/model.h"
#include "mbox/request_table.h"

namespace {

int word(const std::atomic<uint32_t> &value)
{
    return static_cast<int>(value.load(std::memory_order_relaxed));
}

void kelvane_print_init_device_t(kelvane_handle handle)
{
    const kept_init_device &d = local_handles_array[handle].init_device;
    const auto address = [](const auto &function) { return reinterpret_cast<void *>(function.load()); };
    TRACE(LEVEL_INFO, handle, NO_ADDRESS, " slot_id            %08x ", d.slot_id.load());
    TRACE(LEVEL_INFO, handle, NO_ADDRESS, " client_type        %08x ", d.client_type.load());
    TRACE(LEVEL_INFO, handle, NO_ADDRESS, " subsystem_number   %08x ", d.subsystem_number.load());
    TRACE(LEVEL_INFO, handle, NO_ADDRESS, " notify_plugin_cb   %p ", address(d.notify_plugin_cb));
    TRACE(LEVEL_INFO, handle, NO_ADDRESS, " pci_read_cb        %p ", address(d.pci_read_cb));
    TRACE(LEVEL_INFO, handle, NO_ADDRESS, " pci_write_cb       %p ", address(d.pci_write_cb));
    TRACE(LEVEL_INFO, handle, NO_ADDRESS, " pci_read_block_cb  %p ", address(d.pci_read_block_cb));
    TRACE(LEVEL_INFO, handle, NO_ADDRESS, " pci_write_block_cb %p ", address(d.pci_write_block_cb));
    TRACE(LEVEL_INFO, handle, NO_ADDRESS, " app_zynq_restart_notify_cb %p ",
          address(d.app_zynq_restart_notify_cb));
}

void kelvane_print_th_array(kelvane_handle handle)
{
    kelvane_handle_record &record = local_handles_array[handle];
    for (uint32_t srn = 0; srn < SIRANE_COUNT; srn++) {
        kelvane_mutex &command = record.sirane[srn].command_mutex;
        for (uint32_t mbox = 0; mbox < MBOX_THREAD_COUNT; mbox++) {
            answer_mailbox &mailbox = record.sirane[srn].answers[mbox];
            kelvane_mutex &response = mailbox.response_mutex;
            TRACE(LEVEL_INFO, handle, NO_ADDRESS,
                  "srn=%d mbox=%d th=%08lx  mbox_tid t%d MUT resp=%p own=t%d cmd=%p own=t%d ",
                  static_cast<int>(srn), static_cast<int>(mbox), static_cast<unsigned long>(mailbox.thread),
                  mailbox.mbox_tid.load(std::memory_order_relaxed), static_cast<void *>(&response),
                  kelvane_mutex_get_owner(&response), static_cast<void *>(&command),
                  kelvane_mutex_get_owner(&command));
        }
    }
    TRACE(LEVEL_INFO, handle, NO_ADDRESS, "low prio th=%08lx  mbox_tid t%d ",
          static_cast<unsigned long>(record.low_prio_thread),
          record.low_prio_tid.load(std::memory_order_relaxed));
    TRACE(LEVEL_INFO, handle, NO_ADDRESS, "dap      th=%08lx  mbox_tid t%d ",
          static_cast<unsigned long>(record.dap_thread), record.dap_tid.load(std::memory_order_relaxed));
}

void kelvane_print_sem_array(kelvane_handle handle)
{
    for (uint32_t srn = 0; srn < SIRANE_COUNT; srn++) {
        for (uint32_t mbox = 0; mbox < MBOX_THREAD_COUNT; mbox++) {
            kelvane_semaphore *semaphore = mbox_sem_of(handle, srn, mbox);
            uint32_t state = 0;
            kelvane_sem_get_state(semaphore, &state);
            TRACE(LEVEL_INFO, handle, NO_ADDRESS, "srn=%d mbox=%d semAddr 0x%p semState 0x%x ",
                  static_cast<int>(srn), static_cast<int>(mbox), static_cast<void *>(semaphore), state);
        }
    }
}

} // namespace

void kelvane_print_local_handler(kelvane_handle handle)
{
    kelvane_handle_record *record = handle_record(handle);
    if (record == nullptr) {
        TRACE(LEVEL_ERROR, handle, NO_ADDRESS, "invalid handler %d", static_cast<int>(handle));
        return;
    }
    TRACE(LEVEL_INFO, handle, NO_ADDRESS, "signature   %08x ",
          static_cast<unsigned>(word(record->signature)));
    TRACE(LEVEL_INFO, handle, NO_ADDRESS, "dev         %d   ", word(record->dev));
    TRACE(LEVEL_INFO, handle, NO_ADDRESS, "pci_mapped  %d   ", kelvane_get_pci_mapped(handle));
    TRACE(LEVEL_INFO, handle, NO_ADDRESS, "is_thread_initialized  %d   ",
          word(record->is_thread_initialized));
    TRACE(LEVEL_INFO, handle, NO_ADDRESS, "stored_ordune_ver_maj  %d   ",
          word(record->stored_ordune_ver_maj));
    TRACE(LEVEL_INFO, handle, NO_ADDRESS, "stored_ordune_ver_min  %d   ",
          word(record->stored_ordune_ver_min));
    kelvane_print_init_device_t(handle);
    kelvane_print_th_array(handle);
    kelvane_print_sem_array(handle);
    for (uint32_t srn = 0; srn < SIRANE_COUNT && record->is_thread_initialized == 1; srn++) {
        print_asynch_req_array({handle, KELVANE_ADDRESS_SIRANE(srn)}, MBOX_NONE, record->sirane[srn].requests,
                               LEVEL_INFO);
    }
}
