// The handle record: everything the library knows about the card.
#ifndef KELVANE_HANDLE_H
#define KELVANE_HANDLE_H

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "kelvane.h"
#include "kelvane_mbox.h"
#include "kelvane_sync.h"

constexpr uint32_t HANDLE_COUNT = 1; // one card per process: only handle 0 can be valid
constexpr uint32_t HANDLE_SIGNATURE_USED = 0xAA88AA88;
constexpr uint32_t HANDLE_SIGNATURE_FREE = 0x01010101;
constexpr uint32_t HANDLE_DEV_FREE = 0xFFFFFFFF;

static_assert(SIRANE_COUNT == KELVANE_SIRANE_COUNT);

// A mailbox in which the firmware speaks, and the thread that listens to it.
struct answer_mailbox {
    kelvane_mutex response_mutex; // held by whoever looks at the mailbox, for one poll or one message
    kelvane_semaphore semaphore;  // wakes the thread
    pthread_t thread;
    std::atomic<int32_t> mbox_tid;
};

struct request_table {
    kelvane_mutex lock;
    asynch_req_t record[KELVANE_MAX_ASYNCH_REQ];
};

// Everything that belongs to one sirane. Its locks are taken in the order in which they are declared.
struct sirane_link {
    uint32_t sirane_id;
    kelvane_mutex command_mutex = {}; // that of sirane 0 also serves the board
    answer_mailbox answers[MBOX_THREAD_COUNT] = {};
    request_table requests = {};
    std::atomic<uint64_t> local_pm_incremental_id = 0; // last batch seen, 0 for none
};

// The application's kelvane_init_device_t. A device made after a deletion overwrites it, while a thread that
// passed the gate before may still be about to call; no reader needs two fields of the same device.
struct kept_init_device {
    std::atomic<uint32_t> slot_id; // what log lines print
    std::atomic<uint32_t> client_type;
    std::atomic<uint32_t> subsystem_number;
    std::atomic<kelvane_notify_plugin_cb> notify_plugin_cb;
    std::atomic<kelvane_pci_read_cb> pci_read_cb;
    std::atomic<kelvane_pci_write_cb> pci_write_cb;
    std::atomic<kelvane_pci_read_block_cb> pci_read_block_cb;
    std::atomic<kelvane_pci_write_block_cb> pci_write_block_cb;
    std::atomic<kelvane_app_zynq_restart_notify_cb> app_zynq_restart_notify_cb;
};

// Fields that one thread writes and others read without a lock are atomic words.
struct kelvane_handle_record {
    std::atomic<uint32_t> signature;
    std::atomic<uint32_t> dev; // the handle's own number while in use
    kept_init_device init_device;
    std::atomic<int32_t> pci_mapped; // the gate

    sirane_link sirane[SIRANE_COUNT] = {{.sirane_id = 0}, {.sirane_id = 1}, {.sirane_id = 2}};
    std::atomic<uint32_t>
        is_thread_initialized; // 1 once the locks, semaphores, tables and response threads exist

    pthread_t low_prio_thread;
    std::atomic<int32_t> low_prio_tid;
    bool low_prio_started;
    std::atomic<uint32_t> low_prio_active;

    std::atomic<uint32_t> keep_alive_status; // enum kelvane_keep_alive_status
    std::atomic<uint32_t> keep_alive_enabled;
    std::atomic<kelvane_keep_alive_cb> keep_alive_cb;

    kelvane_semaphore dap_semaphore;
    pthread_t dap_thread;
    std::atomic<int32_t> dap_tid;
    bool dap_started;

    kelvane_mutex kelvane_sel_trace_sirane_eprom_mutex; // made and never taken
    std::atomic<kelvane_generic_cb> generic_cb;
    std::atomic<uint32_t> last_seu_pl_uncorrectable;
    std::atomic<uint32_t> stored_ordune_ver_maj;
    std::atomic<uint32_t> stored_ordune_ver_min;
};

extern kelvane_handle_record local_handles_array[HANDLE_COUNT];

#endif
