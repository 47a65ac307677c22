#include "lifecycle/driver.h"

#include <cstdlib>

#include "background/low_priority_thread.h"
#include "background/response_thread.h"
#include "core/handle.h"
#include "core/mutex.h"
#include "core/pci.h"
#include "core/semaphore.h"
#include "core/thread.h"
#include "core/trace/trace.h"
#include "core/transaction_id.h"
#include "dap/dap_channel.h"
#include "kelvane_bar.h"
#include "mbox/catalogue.h"
#include "mbox/model.h"
#include "mbox/request_table.h"

std::atomic<bool> is_driver_initialized;
bool driver_starts_threads = true;

namespace {

constexpr uint32_t SDK_MAJOR = KELVANE_VERSION_MAJOR;
constexpr uint32_t SDK_MINOR = KELVANE_VERSION_MINOR;
constexpr const char *BUILD_DATE = "08/03/2021";
constexpr const char *BUILD_TIME = "14:40:59";

constexpr const char *CREATE = "kelvane_device_create"; // its steps below log under its name

// What a failing step of the creation does to the record: gives it back, or leaves it claimed.
enum failure_kind { UNWIND, LEAVE_CLAIMED };

// All three are made, even after a failure.
int32_t make_command_mutexes(kelvane_handle_record &record, kelvane_handle handle)
{
    int32_t rc = KELVANE_EOK;
    for (sirane_link &link : record.sirane) {
        rc |= kelvane_mutex_init(&link.command_mutex);
    }
    if (rc != KELVANE_EOK) {
        TRACE_AS(CREATE, LEVEL_ERROR, handle, NO_ADDRESS, "problem with cmd kelvane_mutex_init ");
    }
    return rc;
}

int32_t make_response_mutexes(kelvane_handle_record &record, kelvane_handle handle)
{
    for (sirane_link &link : record.sirane) {
        for (answer_mailbox &mailbox : link.answers) {
            const int32_t rc = kelvane_mutex_init(&mailbox.response_mutex);
            if (rc != KELVANE_EOK) {
                TRACE_AS(CREATE, LEVEL_ERROR, handle, NO_ADDRESS, "problem with resp kelvane_mutex_init ");
                return rc;
            }
        }
    }
    return KELVANE_EOK;
}

int32_t make_semaphores(kelvane_handle_record &record, kelvane_handle handle)
{
    for (int i = 0; i < static_cast<int>(SIRANE_COUNT); i++) {
        for (int j = 0; j < static_cast<int>(MBOX_THREAD_COUNT); j++) {
            TRACE_AS(CREATE, LEVEL_DEBUG, handle, NO_ADDRESS, "i %d j %d", i, j);
            const int32_t rc = kelvane_sem_init(&record.sirane[i].answers[j].semaphore);
            if (rc != KELVANE_EOK) {
                TRACE_AS(CREATE, LEVEL_ERROR, handle, NO_ADDRESS,
                         "problem with kelvane_sem_init srn %d sem %d", i, j);
                return rc;
            }
        }
    }
    return KELVANE_EOK;
}

int32_t make_request_tables(kelvane_handle_record &record)
{
    for (sirane_link &link : record.sirane) {
        const int32_t rc = init_asynch_req_array(link.requests);
        if (rc != KELVANE_EOK) {
            return rc;
        }
    }
    return KELVANE_EOK;
}

int32_t start_response_threads(kelvane_handle_record &record, kelvane_handle handle)
{
    for (uint32_t srn = 0; srn < SIRANE_COUNT && driver_starts_threads; srn++) {
        for (uint32_t mbox = 0; mbox < MBOX_THREAD_COUNT; mbox++) {
            TRACE_AS(CREATE, LEVEL_DEBUG, handle, NO_ADDRESS, "start sirane_id = %d mbox = %d ",
                     static_cast<int>(srn), static_cast<int>(mbox));
            // After a failure the block is not freed: there is no telling how far the thread came.
            thread_argument *argument = make_thread_argument(handle, srn, mbox);
            const int32_t rc = argument == nullptr
                                   ? static_cast<int32_t>(KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM)
                                   : kelvane_thread_create(&record.sirane[srn].answers[mbox].thread,
                                                           kelvane_asyc_resp_th, argument);
            TRACE_AS(CREATE, LEVEL_DEBUG, handle, NO_ADDRESS, "th_idAdd  0x%p ",
                     static_cast<void *>(&record.sirane[srn].answers[mbox].thread));
            if (rc != KELVANE_EOK) {
                TRACE_AS(CREATE, LEVEL_ERROR, handle, NO_ADDRESS,
                         "problem with kelvane_thread_create srn %d sem %d", static_cast<int>(srn),
                         static_cast<int>(mbox));
                return rc;
            }
        }
    }
    return KELVANE_EOK;
}

// What is made once and lives as long as the process.
int32_t make_lasting(kelvane_handle_record &record, kelvane_handle handle, failure_kind *on_failure)
{
    *on_failure = UNWIND;
    int32_t rc = make_command_mutexes(record, handle);
    if (rc == KELVANE_EOK) {
        rc = make_response_mutexes(record, handle);
    }
    if (rc == KELVANE_EOK) {
        rc = make_semaphores(record, handle);
    }
    if (rc == KELVANE_EOK) {
        *on_failure = LEAVE_CLAIMED;
        rc = make_request_tables(record);
    }
    if (rc == KELVANE_EOK) {
        *on_failure = UNWIND;
        rc = start_response_threads(record, handle);
    }
    if (rc == KELVANE_EOK) {
        record.is_thread_initialized = 1;
    }
    return rc;
}

struct standing_request {
    command_id command;
    uint32_t words;
    kelvane_asynch_type type;
    uint32_t fixed_slot;
    asynch_callback callback;
};

// Both requests are stored with the plug-in notification's version, and a wrong slot is logged as the
// plug-in's.
int32_t register_standing(sirane_link &link, kelvane_handle handle, const standing_request &standing,
                          failure_kind *on_failure)
{
    *on_failure = LEAVE_CLAIMED;
    const trace_context at = {handle, KELVANE_ADDRESS_SIRANE(link.sirane_id)};
    asynch_req_t request{};
    request.header = {standing.command,    0, standing.words, mbox_data_table[CMD_NOTIFY_PLUGIN].version,
                      standing.fixed_slot, 0};
    request.fn_cb = standing.callback;
    request.asynch_op_type = standing.type;
    uint32_t id = 0;
    const int32_t rc =
        insert_asynch_req(at, mailbox_of(link.sirane_id, MBOX_RESPONSE), link.requests, request, &id);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    if (id != standing.fixed_slot) {
        TRACE_AT_AS(CREATE, LEVEL_ERROR, at, "problem with plugin cb registration ");
        *on_failure = UNWIND;
        return -1;
    }
    return KELVANE_EOK;
}

int32_t register_notifications(kelvane_handle_record &record, kelvane_handle handle, failure_kind *on_failure)
{
    TRACE_AS(CREATE, LEVEL_DEBUG, handle, NO_ADDRESS, "storing notify plugin callback in asynq req array ");
    const standing_request plugin = {CMD_NOTIFY_PLUGIN,
                                     3,
                                     KELVANE_ASYNCH_TYPE_OP_NOTIFY_PLUGIN,
                                     FIXED_REQ_ID_NOTIFY_PLUGIN,
                                     {.plugin = record.init_device.notify_plugin_cb}};
    const standing_request restart = {CMD_APP_ZYNQ_RESTART_NOTIFY,
                                      2,
                                      KELVANE_ASYNCH_TYPE_OP_APP_ZYNQ_RESTART_NOTIFY,
                                      FIXED_REQ_ID_APP_ZYNQ_RESTART,
                                      {.restart = record.init_device.app_zynq_restart_notify_cb}};
    for (sirane_link &link : record.sirane) {
        int32_t rc = register_standing(link, handle, plugin, on_failure);
        if (rc == KELVANE_EOK && restart.callback.restart != nullptr) {
            rc = register_standing(link, handle, restart, on_failure);
        }
        if (rc != KELVANE_EOK) {
            return rc;
        }
    }
    return KELVANE_EOK;
}

int32_t start_low_priority_thread(kelvane_handle_record &record, kelvane_handle handle)
{
    if (record.low_prio_started || !driver_starts_threads) {
        return KELVANE_EOK;
    }
    TRACE_AS(CREATE, LEVEL_DEBUG, handle, NO_ADDRESS, "start low prio th for sirane_id = %d mbox = %d ", -1,
             static_cast<int>(MBOX_NONE));
    thread_argument *argument = make_thread_argument(handle, 0xFFFFFFFF, MBOX_NONE);
    record.low_prio_active.store(1, std::memory_order_relaxed);
    const int32_t rc = argument == nullptr
                           ? static_cast<int32_t>(KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM)
                           : kelvane_thread_create(&record.low_prio_thread, kelvane_low_prio_th, argument);
    TRACE_AS(CREATE, LEVEL_DEBUG, handle, NO_ADDRESS, "th_idAdd  0x%p ",
             static_cast<void *>(&record.low_prio_thread));
    if (rc != KELVANE_EOK) {
        free(argument);
        record.low_prio_active.store(0, std::memory_order_relaxed);
        TRACE_AS(CREATE, LEVEL_ERROR, handle, NO_ADDRESS, "problem with kelvane_thread_create low prio th ");
        return rc;
    }
    record.low_prio_started = true;
    return KELVANE_EOK;
}

void reset_watches(kelvane_handle_record &record)
{
    for (sirane_link &link : record.sirane) {
        link.local_pm_incremental_id.store(0, std::memory_order_relaxed);
    }
    record.keep_alive_status.store(KELVANE_UNDEF, std::memory_order_relaxed);
    record.keep_alive_enabled.store(0, std::memory_order_relaxed);
    record.keep_alive_cb.store(nullptr, std::memory_order_relaxed);
}

int32_t make_eprom_mutex(kelvane_handle_record &record, kelvane_handle handle)
{
    const int32_t rc = kelvane_mutex_init(&record.kelvane_sel_trace_sirane_eprom_mutex);
    if (rc != KELVANE_EOK) {
        TRACE_AS(CREATE, LEVEL_ERROR, handle, NO_ADDRESS,
                 "problem with kelvane_sel_trace_sirane_eprom_mutex ");
    }
    return rc;
}

void claim(kelvane_handle_record &record, const kelvane_init_device_t &init_device)
{
    kept_init_device &kept = record.init_device;
    kept.slot_id = init_device.slot_id;
    kept.client_type = init_device.client_type;
    kept.subsystem_number = init_device.subsystem_number;
    kept.notify_plugin_cb = init_device.notify_plugin_cb;
    kept.pci_read_cb = init_device.pci_read_cb;
    kept.pci_write_cb = init_device.pci_write_cb;
    kept.pci_read_block_cb = init_device.pci_read_block_cb;
    kept.pci_write_block_cb = init_device.pci_write_block_cb;
    kept.app_zynq_restart_notify_cb = init_device.app_zynq_restart_notify_cb;
    record.dev.store(init_device.slot_id, std::memory_order_relaxed);
    record.signature.store(HANDLE_SIGNATURE_USED, std::memory_order_relaxed);
}

// Turns the claimed record into a complete device.
int32_t build_device(kelvane_handle_record &record, kelvane_handle handle, failure_kind *on_failure)
{
    *on_failure = UNWIND;
    int32_t rc = KELVANE_EOK;
    if (record.is_thread_initialized != 1) {
        rc = make_lasting(record, handle, on_failure);
    }
    if (rc == KELVANE_EOK) {
        rc = register_notifications(record, handle, on_failure);
    }
    if (rc == KELVANE_EOK) {
        *on_failure = UNWIND;
        rc = start_low_priority_thread(record, handle);
    }
    if (rc == KELVANE_EOK) {
        reset_watches(record);
        rc = make_eprom_mutex(record, handle);
    }
    if (rc == KELVANE_EOK) {
        rc = initialize_dap(handle, driver_starts_threads);
    }
    return rc;
}

} // namespace

int32_t kelvane_init_driver(void)
{
    if (!is_driver_initialized.exchange(true)) {
        zero_handle_record();
        int32_t rc = initTrace();
        if (rc == KELVANE_EOK) {
            rc = kelvane_transaction_id_init(&kelvane_transaction_counter);
        }
        if (rc != KELVANE_EOK) {
            is_driver_initialized = false;
            return rc;
        }
        init_mbox_handlers();
    }
    uint32_t major = 0;
    uint32_t minor = 0;
    kelvane_get_sw_sdk_version(&major, &minor); // for its banner
    return KELVANE_EOK;
}

void kelvane_get_sw_sdk_version(uint32_t *major, uint32_t *minor)
{
    *major = SDK_MAJOR;
    *minor = SDK_MINOR;
    for (const uint32_t level : {LEVEL_ERROR, LEVEL_INFO, LEVEL_INFO, LEVEL_INFO, LEVEL_DEBUG, LEVEL_ALARM,
                                 LEVEL_PM, LEVEL_REG, LEVEL_LOWPR}) {
        TRACE(level, NO_HANDLE, NO_ADDRESS, "********* sdk release = %02d.%02d *********",
              static_cast<int>(SDK_MAJOR), static_cast<int>(SDK_MINOR));
    }
    TRACE(LEVEL_INFO, NO_HANDLE, NO_ADDRESS, "%s %s   ", BUILD_DATE, BUILD_TIME);
}

int32_t kelvane_device_create(kelvane_init_device_t init_device)
{
    TRACE(LEVEL_INFO, NO_HANDLE, NO_ADDRESS, "start  ");
    if (init_device.notify_plugin_cb == nullptr || init_device.pci_read_cb == nullptr ||
        init_device.pci_write_cb == nullptr) {
        TRACE(LEVEL_ERROR, NO_HANDLE, NO_ADDRESS, "callback not evaluated ");
        return -1;
    }
    TRACE(LEVEL_DEBUG, NO_HANDLE, NO_ADDRESS, " Try to create ");
    const kelvane_handle handle = init_device.slot_id;
    if (kelvane_handler_exists(init_device.slot_id) == 0) {
        TRACE(LEVEL_INFO, handle, NO_ADDRESS, "Handler already registered");
        return 0;
    }
    kelvane_handle_record *record = handle_record(handle);
    if (record == nullptr || record->dev.load(std::memory_order_relaxed) != HANDLE_DEV_FREE ||
        record->signature.load(std::memory_order_relaxed) == HANDLE_SIGNATURE_USED) {
        TRACE(LEVEL_ERROR, NO_HANDLE, NO_ADDRESS, "No handle free");
        return -1;
    }
    claim(*record, init_device);
    failure_kind on_failure;
    const int32_t rc = build_device(*record, handle, &on_failure);
    if (rc != KELVANE_EOK && on_failure == UNWIND) {
        free_handle_record();
        return -1;
    }
    if (rc != KELVANE_EOK) { // the record stays claimed
        return rc;
    }
    kelvane_set_generic_cb(init_device.generic_cb);
    kelvane_set_last_seu_pl_uncorrectable(handle, 0);
    TRACE(LEVEL_INFO, handle, NO_ADDRESS, "Returned handler %d ", static_cast<int>(handle));
    return static_cast<int32_t>(handle);
}

int32_t kelvane_device_delete(kelvane_handle handle)
{
    const int32_t rc = check_kelvane_handler_input(handle);
    if (rc == KELVANE_EOK) {
        TRACE(LEVEL_INFO, handle, NO_ADDRESS, "start ");
        free_handle_record();
    }
    return rc;
}

int32_t kelvene_check_pci_functionality(kelvane_handle handle)
{
    for (uint32_t i = 0; i < LINK_TEST_WORDS; i++) {
        const uint32_t offset = LINK_TEST_BASE + 4 * i;
        uint32_t value = 0;
        int32_t rc = kelvane_internal_pci_write(handle, 0, offset, i, SKIP_ALIVE);
        if (rc == KELVANE_EOK) {
            rc = kelvane_internal_pci_read(handle, 0, offset, &value, SKIP_ALIVE);
        }
        if (rc != KELVANE_EOK) {
            return rc;
        }
        if (value != i) {
            TRACE(LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, "PCI not properly working");
            return KELVANE_RET_CODE_HW_PROBLEM;
        }
    }
    return KELVANE_EOK;
}

int32_t kelvane_fill_sdk_to_arm_data(kelvane_handle handle)
{
    const uint32_t version[] = {SDK_MAJOR, SDK_MINOR};
    return kelvane_internal_pci_write_block(handle, 0, SDK_TO_ARM_DATA, 2, version, SKIP_ALIVE);
}
