/* What the application gives the library to call. Part of kelvane.h.
 *
 * All return 0 for success. Each is called on one of the library's threads; the PCI access also on
 * those that call the library:
 *
 *   callback             on which thread      held during the call   what it may call     its failure
 *   -------------------  -------------------  ---------------------  -------------------  ----------------
 *   PCI access           any, several at      what the access        nothing              fails the access
 *                        once                 needs
 *   laser, traffic type  the sirane's answer  the sirane's answer    (1), (2)             is logged
 *                        thread               mailbox
 *     their time-out     background thread    nothing                anything             is logged
 *   plug-in, restart     the sirane's answer  the sirane's answer    (1), (2)             refuses the
 *                        thread               mailbox                                     message
 *   performance          the sirane's batch   the sirane's batch     (1), (2), (3)        is logged
 *                        thread               mailbox
 *   alarms               the sirane's alarm   the sirane's alarm     (1), (2), (3)        is logged
 *                        thread               mailbox
 *   keep-alive, generic  background thread    nothing                anything             is logged
 *   DAP answer           DAP thread           the DAP channel        anything but         is logged
 *                                                                    kelvane_dap_command
 *
 * An access that fails ends its operation with KELVANE_RET_CODE_DEVICE_UNAVAILABLE.
 * A slow callback delays whatever else arrives in the mailbox that is held; on the background thread it
 * delays keep-alive and the time-outs of all siranes. What could come to its turn only after the callback's
 * own end fails at once instead of at its limit:
 * (1) Requests with a callback, to any sirane. To the callback's own they fail with
 *     KELVANE_RET_CODE_ETIMEDOUT while another thread awaits an answer from there; while others only send
 *     they wait.
 * (2) Commands to other siranes. Of callbacks that wait for each other's mailboxes one fails, with
 *     KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM or KELVANE_RET_CODE_ETIMEDOUT, and the answer to its command is
 *     lost; the others go on.
 * (3) Commands to the same sirane. They fail with KELVANE_RET_CODE_ETIMEDOUT while another thread is in a
 *     link-up. From the answer mailbox's callbacks they always fail, with one of the codes of (2).
 * In none of the three a link-up: on firmware 5.22 and later kelvane_pci_mapped fails with
 * KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM and the access is closed. Have another thread do it. */
#ifndef KELVANE_CALLBACKS_H
#define KELVANE_CALLBACKS_H

#include <stdint.h>

#include "kelvane_address.h"
#include "kelvane_records.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Read the 32-bit word at byte `offset` of the BAR into `value`, and write one. `bus` is always 0.
 * `check_alive` is 1 for normal service and 0 where the firmware need not be up. */
typedef int32_t (*kelvane_pci_read_cb)(kelvane_handle handle, uint32_t bus, uint32_t offset, uint32_t *value,
                                       uint32_t check_alive);
typedef int32_t (*kelvane_pci_write_cb)(kelvane_handle handle, uint32_t bus, uint32_t offset, uint32_t value,
                                        uint32_t check_alive);

/* Move `words` 32-bit words at ascending offsets, each as one 32-bit access. Offsets are multiples of 4
 * within the BAR, except for the rows of the firmware's logs: the card says where those are, and that may be
 * anywhere. There an application answers what its bus would: all ones. */
typedef int32_t (*kelvane_pci_read_block_cb)(kelvane_handle handle, uint32_t bus, uint32_t offset,
                                             uint32_t words, uint32_t *data, uint32_t check_alive);
typedef int32_t (*kelvane_pci_write_block_cb)(kelvane_handle handle, uint32_t bus, uint32_t offset,
                                              uint32_t words, const uint32_t *data, uint32_t check_alive);

/* The module in the address's network port was plugged or unplugged: `plugged` is its state as the firmware
 * gives it. */
typedef int32_t (*kelvane_notify_plugin_cb)(kelvane_handle handle, kelvane_device_address device_address,
                                            uint32_t plugged);

/* The firmware restarts: `zynq_restart` is one of enum kelvane_app_zynq_restart, or another value that
 * the firmware sent. */
enum kelvane_app_zynq_restart {
    KELVANE_APP_ZYNQ_RESTART_UNDEF = 0,
    KELVANE_APP_ZYNQ_RESTART_WARM = 1,
    KELVANE_APP_ZYNQ_RESTART_WARM_FAIL = 2,
    KELVANE_APP_ZYNQ_RESTART_COLD = 3,
    KELVANE_APP_ZYNQ_RESTART_WARM_DONE = 4,
};
typedef int32_t (*kelvane_app_zynq_restart_notify_cb)(kelvane_handle handle, uint32_t zynq_restart);

/* Something happened on the device: `value` says what. */
enum kelvane_generic_cb_val {
    KELVANE_GENERIC_CB_VAL_UNDEF = 0,
    KELVANE_GENERIC_CB_VAL_SEU_PL_UNCORRECTABLE = 1,
};
typedef int32_t (*kelvane_generic_cb)(kelvane_handle handle, kelvane_device_address device_address,
                                      uint32_t value);

/* The firmware's keep-alive status changed. `deque_status` is the result of serving the interrupts that
 * were pending at that moment. */
enum kelvane_keep_alive_status {
    KELVANE_UNDEF = 0,
    KELVANE_ALIVE = 1,
    KELVANE_NOT_ALIVE = 2,
};
typedef int32_t (*kelvane_keep_alive_cb)(kelvane_handle handle, int32_t deque_status,
                                         uint32_t keep_alive_status);

/* A laser or traffic-type request that was given a callback is finished: `result` is 0, a firmware
 * error word, or KELVANE_RET_CODE_ETIMEDOUT. */
typedef int32_t (*kelvane_set_laser_cb)(kelvane_handle handle, kelvane_device_address device_address,
                                        uint32_t transaction_id, int32_t result);
typedef int32_t (*kelvane_set_traffic_type_cb)(kelvane_handle handle, kelvane_device_address device_address,
                                               uint32_t transaction_id, int32_t result);

/* A batch of performance data of the address's sirane, once per interval (kelvane_set_pm_parameters).
 * `record` is valid during the call. `pm_incremental_id` counts the batches. */
typedef int32_t (*kelvane_pm_notify_cb)(kelvane_handle handle, kelvane_device_address device_address,
                                        const kelvane_global_pm *record, uint64_t pm_incremental_id);

/* The alarms of the address's sirane changed. `record` is valid during the call; `value` is the firmware's
 * own. */
typedef int32_t (*kelvane_alarms_notify_cb)(kelvane_handle handle, kelvane_device_address device_address,
                                            const global_alarms *record, uint64_t value);

/* The answer to a DAP message: `*size` bytes at `data`, valid during the call. */
typedef int32_t (*kelvane_dap_cb)(kelvane_handle handle, void *data, const uint32_t *size);

#ifdef __cplusplus
}
#endif
#endif
