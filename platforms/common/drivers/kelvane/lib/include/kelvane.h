/* kelvane: driver library of a coherent optical line card.
 *
 * What the names mean:
 *     controller  the chip that runs the card: an ARM core with its firmware, beside programmable logic.
 *                 Older names for it are part of interfaces: "zynq" is the chip, "ordune" the whole,
 *                 "arm" its core and the firmware on it, "hespera" its programmable logic and the image
 *                 for that
 *     board       the device address of the controller
 *     sirane      one of the card's three DSP chips; it has four host ports towards the client equipment
 *                 and two network ports towards the line
 *     xpm2        a pluggable optical module; module m, 0 to 5, is in network port m % 2 of sirane m / 2
 *     mailbox     registers in which library and firmware exchange messages; each sirane has its own set
 *     link-up     what kelvane_pci_mapped does: from then on the card can be talked to
 *     MSI         the card's interrupt, message-signalled
 *     DAP         a second channel for an application's own messages to the firmware
 *
 * The library reaches the card only through 32-bit reads and writes of one PCIe BAR, by callbacks that
 * the application gives it, and the application waits for the card's interrupts. Without the checks of
 * the return codes, which a real application needs:
 *
 *     static void *forward_interrupts(void *unused)
 *     {
 *         while (wait_for_interrupt()) { // of the UIO device KELVANE_UIO_NAME, for instance
 *             kelvane_notify_msi(0);
 *         }
 *         return unused;
 *     }
 *
 *     kelvane_init_device_t device = {
 *         .client_type = 1, // Ethernet on the host ports
 *         .notify_plugin_cb = on_plugin,
 *         .pci_read_cb = read_word,
 *         .pci_write_cb = write_word,
 *     };
 *     kelvane_init_driver();
 *     kelvane_device_create(device);
 *     pthread_create(&thread, NULL, forward_interrupts, NULL);
 *     kelvane_pci_mapped(0, 1, (uintptr_t)bar, KELVANE_BAR_BYTES);
 *     kelvane_enable_msi(0, 1);
 *     kelvane_default_initialize(0); // resets the siranes
 *     for (uint32_t sirane = 0; sirane < KELVANE_SIRANE_COUNT; sirane++) {
 *         kelvane_enable_pm_notify(0, KELVANE_ADDRESS_SIRANE(sirane), 1, on_performance);
 *         kelvane_enable_alarms_notify(0, KELVANE_ADDRESS_SIRANE(sirane), 1, on_alarms);
 *     }
 *     kelvane_set_laser(0, KELVANE_ADDRESS_MODULE(0), 1, NULL, 0); // on, and wait until it is
 *
 * Every operation returns 0 for success, otherwise one of enum kelvane_return_code or, from a command
 * that the firmware ran and refused, one of enum kelvane_arm_error. The two never overlap. Operations
 * may be called from any thread unless their comment says otherwise. Records that the library fills
 * belong to the caller; a pointer handed to a callback is valid for that call only.
 *
 * The library and the process:
 * - a thread that calls it needs 16 KiB of stack for a command and 40 KiB for the download of an image;
 *   whatever the callbacks need comes on top of that;
 * - a forked child has none of the library's threads, and finds locks held by threads that it lacks. It may
 *   call what reaches neither the card nor a device: kelvane_init_driver, the names, the version and the
 *   trace. A child that wants the card calls exec first;
 * - exit needs no preparation. The library's threads run until the process has ended, and call back until
 *   then: what the callbacks use must not be destroyed before;
 * - its threads block all signals but those of their own faults. A thread that calls it keeps the
 *   signals that it had, except that SIGRTMIN + 6 and SIGRTMIN + 10 stay blocked in the one that called
 *   kelvane_device_create. A pause that a signal's handler cuts short is not resumed: a handler that runs
 *   every 100 us makes a limit of 300 s one of about 70 s, on that thread alone.
 *
 * An operation called a command below is one exchange of messages with the firmware:
 * - it blocks until the answer is there, normally about a millisecond, and for as long as the exchanges
 *   ahead of it on the same sirane take; the limits are 360 s for its turn and 300 s for each of the
 *   three waits of an exchange;
 * - it returns
 *     KELVANE_RET_CODE_EINVAL                a bad device address or handle, before anything is sent
 *     KELVANE_RET_CODE_ETIMEDOUT             one of those limits
 *     KELVANE_RET_CODE_HW_PROBLEM            a mailbox register holds a value that is no state
 *     KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM  a lock failed
 *     KELVANE_RET_CODE_VERSION_MISMATCH      the firmware refused the message, or its answer does not
 *                                            belong to it
 *     KELVANE_RET_CODE_DEVICE_UNAVAILABLE    not mapped, the firmware found dead, a PCI callback failed
 *     KELVANE_RET_CODE_DEVICE_NOT_READY      the firmware has not come up
 *     KELVANE_RET_CODE_GEN_ERR               no mailbox belongs to the address
 *     an enum kelvane_arm_error              the firmware ran the command and failed;
 * - it writes its outputs when an answer was received, even when that answer carries an error word, and
 *   leaves them untouched otherwise.
 *
 * Where a comment says that a number is the firmware's own, the library carries it as it is: it knows
 * neither its unit nor its range.
 */
#ifndef KELVANE_H
#define KELVANE_H

#include <stdint.h>

#include "kelvane_address.h"
#include "kelvane_arm_errors.h"
#include "kelvane_callbacks.h"
#include "kelvane_records.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The library's own version, for the preprocessor; kelvane_get_sw_sdk_version is that of the one which is
 * linked. */
#define KELVANE_VERSION_MAJOR 1
#define KELVANE_VERSION_MINOR 43

/* The card's UIO device on the host, and the size of its BAR. */
#define KELVANE_UIO_NAME  "ZYNQFPGA"
#define KELVANE_BAR_BYTES 0x04000000u

/* From this offset on the BAR is memory; a firmware image goes there first. */
#define KELVANE_DOWNLOAD_RAM 0x02000000u

/* 16, 22 and 110 are the system's EBUSY, EINVAL and ETIMEDOUT. */
enum kelvane_return_code {
    KELVANE_EOK = 0,
    KELVANE_RET_CODE_EBUSY = 16,
    KELVANE_RET_CODE_EINVAL = 22,
    KELVANE_RET_CODE_ETIMEDOUT = 110,
    KELVANE_RET_CODE_GEN_ERR = 0xFAAA,
    KELVANE_RET_CODE_HW_PROBLEM = 0xFAAB,
    KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM = 0xFAAC,
    KELVANE_RET_CODE_VERSION_MISMATCH = 0xFAAD,
    KELVANE_RET_CODE_DEVICE_UNAVAILABLE = 0xFAAE,
    KELVANE_RET_CODE_DEVICE_NOT_READY = 0xFAAF,
};

/* ---- life of a device ----------------------------------------------------------------------------- */

/* What kelvane_device_create needs to know. It is handed over by value; the callbacks stay in use until the
 * process ends. */
typedef struct {
    uint32_t slot_id;                              /* the handle to use; must be 0 */
    uint32_t client_type;                          /* kind of the host ports: 0 OTN, otherwise Ethernet */
    uint32_t subsystem_number;                     /* stored and printed only */
    kelvane_notify_plugin_cb notify_plugin_cb;     /* required */
    kelvane_pci_read_cb pci_read_cb;               /* required */
    kelvane_pci_write_cb pci_write_cb;             /* required */
    kelvane_pci_read_block_cb pci_read_block_cb;   /* or NULL */
    kelvane_pci_write_block_cb pci_write_block_cb; /* or NULL */
    kelvane_app_zynq_restart_notify_cb app_zynq_restart_notify_cb; /* or NULL */
    kelvane_generic_cb generic_cb;                                 /* or NULL */
} kelvane_init_device_t;

/* Prepares the library for the process: log, transaction ids, mailbox tables. A second call only logs
 * the version. Does not block. One thread at a time. Returns 0,
 * KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM when a lock cannot be made, or KELVANE_RET_CODE_GEN_ERR when the
 * existing log file cannot be opened; after a failure it may be called again. */
int32_t kelvane_init_driver(void);

/* Claims the handle and makes the locks, tables and threads of the device, once for the process; they
 * live until it ends. Does not touch the card. One thread at a time, after kelvane_init_driver. Returns
 * the handle, 0, even when the device exists already; -1 when a required callback is NULL, the handle is
 * taken or something could not be made; a positive kelvane_return_code when a table refused, in which
 * case the record stays claimed. */
int32_t kelvane_device_create(kelvane_init_device_t init_device);

/* Frees the handle and closes the access to the card. Stops no thread and gives up no request. Does not
 * block. Returns 0 or KELVANE_RET_CODE_EINVAL. */
int32_t kelvane_device_delete(kelvane_handle handle);

/* Tells the library that the BAR can be reached (`pci_mapped` 1) or not (0); another value opens the access
 * with none of what follows. On 1 it tests the link, reads the firmware's version, tells the firmware the
 * library's, and brings every mailbox to idle; while it does so on firmware 5.22 and later no command runs on
 * that sirane. `base` and `size` describe the mapping and are not used. Blocks for some milliseconds, with a
 * silent firmware for up to 300 s a mailbox, with firmware below 5.10 for at least 1.5 s and up to 150 s a
 * sirane. Not from two threads at once. Returns 0, or any code of a command except a firmware error word;
 * the access is then closed again. A failure on firmware 5.22 and later, from the mailboxes on, returns
 * KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM and leaves the sirane's locks held until the process ends, except in
 * a callback (see kelvane_callbacks.h). */
int32_t kelvane_pci_mapped(kelvane_handle handle, int32_t pci_mapped, uint64_t base, uint64_t size);

/* Puts the firmware into its default state, which resets the siranes. A command, to the board. */
int32_t kelvane_default_initialize(kelvane_handle handle);

/* The library's own version, KELVANE_VERSION_MAJOR and KELVANE_VERSION_MINOR, which it also logs. Never
 * fails. */
void kelvane_get_sw_sdk_version(uint32_t *major, uint32_t *minor);

/* Writes the whole record of the handle to the log at INFO level. Reads without locks. */
void kelvane_print_local_handler(kelvane_handle handle);

/* ---- versions and tables of the card --------------------------------------------------------------
 *
 * These read tables in the BAR and exchange no message. They do not block, and return 0,
 * KELVANE_RET_CODE_EINVAL for a bad address or handle, KELVANE_RET_CODE_DEVICE_UNAVAILABLE when the card
 * cannot be read, and what their comments add. Outputs are written on success, unless the comment says
 * otherwise. */

/* The version of the running firmware (`device_address` the board), of a sirane, or of the module in a
 * network port. KELVANE_RET_CODE_GEN_ERR: the sirane's table contradicts itself. */
int32_t kelvane_get_software_running(kelvane_handle handle, kelvane_device_address device_address,
                                     uint32_t *major, uint32_t *minor);

/* The same for the version that was downloaded last; on the board that of the working image.
 * KELVANE_RET_CODE_DEVICE_NOT_READY: the board still checks that image; both outputs are then 0. */
int32_t kelvane_get_software_downloaded(kelvane_handle handle, kelvane_device_address device_address,
                                        uint32_t *major, uint32_t *minor);

/* The version of the board's golden image. KELVANE_RET_CODE_DEVICE_NOT_READY as above. */
int32_t kelvane_get_software_downloaded_golden_zynq(kelvane_handle handle, uint32_t *major, uint32_t *minor);

/* The library's verdict on the running firmware; advice, for the application to act on. The output is
 * written in any case. */
enum kelvane_comp_sw {
    KELVANE_COMP_UNDEF = 0,                  /* newer than the library, or not known */
    KELVANE_COMP_SW_ALIGNED = 1,             /* the version that the library was built for */
    KELVANE_COMP_SW_WARNING_NOT_ALIGNED = 2, /* older, update not needed */
    KELVANE_COMP_SW_FATAL_NOT_ALIGNED = 3,   /* older, update needed */
};
int32_t kelvane_software_version_comp_check(kelvane_handle handle, uint32_t *comp_sw);

/* Inventory of the controller, words as the card publishes them. */
typedef struct {
    uint32_t image_bundle_running;         /* 0x55667788 working image, otherwise golden */
    uint32_t running_bundle_image_version; /* versions: major in bits 31..16, minor in 15..0 */
    uint32_t plbit_running_version;
    uint32_t working_bundle_image_version;
    uint32_t golden_bundle_image_version;
    uint32_t secure_boot_flag; /* 0x53C0EEDD secure boot, otherwise none */
    uint32_t ddr_dim_flag;
    uint32_t card_id;
    uint32_t card_version;
} kelvane_ordune_inventory_t;
int32_t kelvane_get_ordune_inventory_inf(kelvane_handle handle, kelvane_ordune_inventory_t *inventory);

enum kelvane_zynq_run_type { KELVANE_ZYNQ_RUN_WORKING = 1, KELVANE_ZYNQ_RUN_GOLDEN = 2 };
int32_t kelvane_get_zynq_run_type(kelvane_handle handle, uint32_t *run_type);

/* The output is 0 after a failed read. */
enum kelvane_secure_type { KELVANE_SECURED = 1, KELVANE_UNSECURED = 2 };
int32_t kelvane_get_secure_type(kelvane_handle handle, uint32_t *secure_type);

/* Memory errors and upsets that the card has counted. */
typedef struct {
    uint32_t ddr_ecc_uncorrectable_flag;
    uint32_t ddr_ecc_correctable_counter;
    uint32_t ddr_ecc_uncorrectable_counter;
    uint32_t pl_seu_corr_counter; /* corrected upsets of the programmable logic */
} kelvane_ddr_ecc_counters_t;
int32_t kelvane_get_ddr_ecc_counters(kelvane_handle handle, kelvane_ddr_ecc_counters_t *counters);

enum kelvane_seu_pl_uncorrectable {
    KELVANE_SEU_PL_UNDEF = 0,
    KELVANE_SEU_PL_OK = 1,
    KELVANE_SEU_PL_UNC = 2, /* an upset that could not be corrected */
};
int32_t kelvane_get_seu_pl_uncorrectable(kelvane_handle handle, uint32_t *state);

/* ---- registers, diagnostics, keep-alive ----------------------------------------------------------- */

/* Reads a register of the device through the firmware. `reg_address` is the device's own number of it,
 * 0x9010 for instance, not an offset in the BAR. A command. */
int32_t kelvane_read_register(kelvane_handle handle, kelvane_device_address device_address,
                              uint32_t reg_address, uint32_t *value);

/* Writes one. A command, except that address and handle are not checked before it goes out: an address
 * that other operations refuse is left to the firmware's judgement, and one that belongs to no card or sirane
 * gives KELVANE_RET_CODE_GEN_ERR. */
int32_t kelvane_write_register(kelvane_handle handle, kelvane_device_address device_address,
                               uint32_t reg_address, uint32_t value);

/* Has the firmware run a diagnostic, one of enum kelvane_diagnostic; any other number is the firmware's own.
 * A command that takes 10 ms longer than the others. */
enum kelvane_diagnostic {
    KELVANE_DIAGNOSTIC_HIGH_POWER = 4,
    KELVANE_DIAGNOSTIC_LOW_POWER = 5,
    KELVANE_DIAGNOSTIC_LASER_TIMEOUT = 34, /* the next laser operation fails with a time-out */
};
int32_t kelvane_diag_command(kelvane_handle handle, kelvane_device_address device_address,
                             uint32_t diag_command);

/* Resets the sirane of the address. A command. */
int32_t kelvane_recover_device(kelvane_handle handle, kelvane_device_address device_address);

/* The status word of the module in a network port, the firmware's own. A command. */
int32_t kelvane_get_xpm2_status(kelvane_handle handle, kelvane_device_address device_address,
                                uint32_t *status);

/* Sets the level mask of the firmware's log; its bits are the firmware's own. A command; only the handle is
 * checked. */
int32_t kelvane_set_arm_trace_level(kelvane_handle handle, uint32_t arm_trace_level);

/* Turns the watch over the firmware on (1) or off (0). On: every access to the card fails with
 * KELVANE_RET_CODE_DEVICE_UNAVAILABLE until the firmware has answered, and whenever it stops answering;
 * `keep_alive_cb` is told of each change; NULL leaves the callback that was set before. Not while another
 * thread has a command under way, or an answer may come: cut in its last step, an exchange keeps its mailbox
 * until the next one there has failed after 300 s. Off: takes effect at once, even when the card does not
 * answer. A command; only the handle is checked, and the firmware's word ORDUNE_MBOX_BUSY counts as success
 * when turning on. */
int32_t kelvane_enable_keep_alive_notify(kelvane_handle handle, uint32_t enable,
                                         kelvane_keep_alive_cb keep_alive_cb);

/* Whether the watch is on, and what it last found (enum kelvane_keep_alive_status). Checks no handle,
 * does not block, returns 0. */
int32_t kelvane_get_keep_alive_status(kelvane_handle handle, uint32_t *enable, uint32_t *keep_alive_status);

/* One guarded access of the card's free test word. Do not block. Return 0, KELVANE_RET_CODE_EINVAL or
 * KELVANE_RET_CODE_DEVICE_UNAVAILABLE. */
int32_t kelvane_read_scratchpad_register(kelvane_handle handle, uint32_t *value);
int32_t kelvane_write_scratchpad_register(kelvane_handle handle, const uint32_t *value);

/* Resets the card: 1 or 0 chooses the kind, which is the card's own. Blocks for 100 ms. Returns 0,
 * KELVANE_RET_CODE_EINVAL for a bad handle or kind, KELVANE_RET_CODE_DEVICE_UNAVAILABLE. */
int32_t kelvane_set_trigger_reset(kelvane_handle handle, uint32_t trigger_reset);

/* ---- provisioning ----------------------------------------------------------------------------------
 *
 * Commands, to a network port unless the comment says otherwise. The library judges no value: the firmware
 * does, with its error words. What an operation reads back is the firmware's word. */

/* Sets what the port carries (enum kelvane_traffic_type), or switches its laser (1 on). With `fn_cb` NULL a
 * command like the others. With a callback the operation returns once the request is handed over, and the
 * callback is told of the outcome, possibly before that: the firmware's result, or
 * KELVANE_RET_CODE_ETIMEDOUT after at least 300 s without an answer. It then also returns
 * KELVANE_RET_CODE_EBUSY, when twelve such requests of the sirane are under way. A request whose sending
 * fails returns that code, and its callback is called with the time-out all the same. `transaction_id` is
 * the caller's, for the callback. */
int32_t kelvane_set_traffic_type(kelvane_handle handle, kelvane_device_address device_address,
                                 uint32_t traffic_type, kelvane_set_traffic_type_cb fn_cb,
                                 uint32_t transaction_id);
int32_t kelvane_set_laser(kelvane_handle handle, kelvane_device_address device_address, int32_t laser,
                          kelvane_set_laser_cb fn_cb, int32_t transaction_id);
int32_t kelvane_get_traffic_type(kelvane_handle handle, kelvane_device_address device_address,
                                 uint32_t *traffic_type);
int32_t kelvane_get_laser(kelvane_handle handle, kelvane_device_address device_address, uint32_t *laser);

/* The wavelength of one direction (`tx_rx` is one of enum kelvane_tx_rx), as a channel number that is the
 * firmware's own. Flex-grid channels count in steps ten times finer: channel 35 is flex-grid channel 350. */
int32_t kelvane_set_laser_channel(kelvane_handle handle, kelvane_device_address device_address,
                                  int32_t channel, int32_t tx_rx);
int32_t kelvane_get_laser_channel(kelvane_handle handle, kelvane_device_address device_address,
                                  uint32_t *channel, int32_t tx_rx);
int32_t kelvane_set_laser_channel_flex_grid(kelvane_handle handle, kelvane_device_address device_address,
                                            int32_t channel, int32_t tx_rx);
int32_t kelvane_get_laser_channel_flex_grid(kelvane_handle handle, kelvane_device_address device_address,
                                            uint32_t *channel, int32_t tx_rx);

/* Bright tuning of one direction: whether the laser stays lit while it is tuned to another wavelength. The
 * numbers are the firmware's own. */
int32_t kelvane_set_laser_bright_tuning(kelvane_handle handle, kelvane_device_address device_address,
                                        int32_t bright_tuning, int32_t tx_rx);
int32_t kelvane_get_laser_bright_tuning(kelvane_handle handle, kelvane_device_address device_address,
                                        uint32_t *bright_tuning, int32_t tx_rx);

/* The optical output power. The provisioned one goes out as a single-precision number (the second form
 * converts its integer), the run-time power as an integer; neither is scaled, and their unit is the
 * firmware's own. The power that the module really has is in kelvane_xpm2_port_pm, in 0.01 dBm. */
int32_t kelvane_set_optical_output_power(kelvane_handle handle, kelvane_device_address device_address,
                                         float power);
int32_t kelvane_set_optical_output_power_v2(kelvane_handle handle, kelvane_device_address device_address,
                                            int32_t power);
int32_t kelvane_set_runtime_optical_output_power(kelvane_handle handle, kelvane_device_address device_address,
                                                 int32_t power);
int32_t kelvane_get_config_optical_output_power(kelvane_handle handle, kelvane_device_address device_address,
                                                uint32_t *power);

/* Whether a module is in the port, the firmware's own word. Any address that names a device is sent. */
int32_t kelvane_is_xpm2_present(kelvane_handle handle, kelvane_device_address device_address,
                                uint32_t *is_present);

/* Disables the module's transmitter; the numbers are the firmware's own. */
int32_t kelvane_set_tx_disable(kelvane_handle handle, kelvane_device_address device_address, uint32_t enable);

/* The module's LED, enum kelvane_led. */
int32_t kelvane_set_xpm2_led(kelvane_handle handle, kelvane_device_address device_address, uint32_t led);
int32_t kelvane_get_xpm2_led(kelvane_handle handle, kelvane_device_address device_address, uint32_t *led);

/* Online insertion and removal (OIR): has the firmware act as if the module had been pulled out or put in.
 * The numbers are the firmware's own. */
int32_t kelvane_set_xpm2_simulated_oir(kelvane_handle handle, kelvane_device_address device_address,
                                       uint32_t value);

/* Loops the traffic of a host port, or of a network port, back; the numbers are the firmware's own. The
 * host's pair takes any address that names a device, the network's pair a network port only. */
int32_t kelvane_set_host_loopback(kelvane_handle handle, kelvane_device_address device_address,
                                  int32_t enable);
int32_t kelvane_get_host_loopback(kelvane_handle handle, kelvane_device_address device_address,
                                  uint32_t *enable);
int32_t kelvane_set_network_loopback(kelvane_handle handle, kelvane_device_address device_address,
                                     int32_t enable);
int32_t kelvane_get_network_loopback(kelvane_handle handle, kelvane_device_address device_address,
                                     uint32_t *enable);

/* Bounds of the receiver's search for chromatic dispersion (CD), numbers of the firmware's own. What it found
 * is in kelvane_sirane_port_pm, in ps/nm. */
int32_t kelvane_set_rx_cd_low_search_value(kelvane_handle handle, kelvane_device_address device_address,
                                           int32_t value);
int32_t kelvane_get_rx_cd_low_search_value(kelvane_handle handle, kelvane_device_address device_address,
                                           uint32_t *value);
int32_t kelvane_set_rx_cd_high_search_value(kelvane_handle handle, kelvane_device_address device_address,
                                            int32_t value);
int32_t kelvane_get_rx_cd_high_search_value(kelvane_handle handle, kelvane_device_address device_address,
                                            uint32_t *value);

/* Consequent action: what the sirane does to the traffic when a defect is there, `ca` telling which action
 * and `status` its state; both numbers are the firmware's own. To a sirane. Returns failures of the transport
 * only: the firmware's result is not looked at. */
int32_t kelvane_set_cons_action(kelvane_handle handle, kelvane_device_address device_address, int32_t ca,
                                int32_t status);

/* All that is provisioned on a sirane, in the current layout whatever the firmware's age. */
int32_t kelvane_global_provisioned_config(kelvane_handle handle, kelvane_device_address device_address,
                                          kelvane_provisioned_config_t *record);

/* ---- inventory and status ------------------------------------------------------------------------- */

/* Inventory of the module in a network port, in the current layout. A command. */
int32_t kelvane_get_xpm2_inventory_inf(kelvane_handle handle, kelvane_device_address device_address,
                                       kelvane_xpm2_inventory_t *record);

/* Has the signature of the working or golden image (enum kelvane_zynq_run_type) checked; `rsa_check` is the
 * firmware's own word. A command, except that the firmware's result is not looked at;
 * KELVANE_RET_CODE_EINVAL for another kind of image. */
int32_t kelvane_get_zynq_rsa_check(kelvane_handle handle, int32_t run_type, uint32_t *rsa_check);

/* Control and status registers of a sirane. A command. */
int32_t kelvane_get_subsystem_status_info(kelvane_handle handle, kelvane_device_address device_address,
                                          kelvane_subsystem_status_t *record);

/* ---- firmware images ------------------------------------------------------------------------------
 *
 * A download copies an image and its digest into memory of the card and has the firmware check and keep it;
 * an activation has the firmware program the image that it keeps. The library verifies nothing itself: a
 * wrong image is refused by the firmware, ORDUNE_MD5_FAIL for instance. One image at a time: the memory is
 * shared by all kinds. */
enum kelvane_download_device {
    KELVANE_DOWNLOAD_HESPERA_GOLDEN = 0,
    KELVANE_DOWNLOAD_HESPERA = 1,
    KELVANE_DOWNLOAD_SIRANE = 2, /* 3 and 4 are also accepted; what they name only the firmware knows */
};

/* Downloads the image in the file `file_name`, a path of at most 255 characters, with the first 32 bytes of
 * `file_name`.md5 as its digest's text: what md5sum prints. At most 33,553,403 bytes. Blocks for a
 * microsecond per word or less, then as a command. Meanwhile, after the first ten words, the trace levels
 * DEBUG and REG are off; afterwards they are on again but swapped (if only one of them was on before, only
 * the other one is now), and after a failure they stay off. Returns the codes of a command, ORDUNE_...
 * verdicts among them; KELVANE_RET_CODE_EINVAL also for an unknown kind or a longer name;
 * KELVANE_RET_CODE_GEN_ERR for a file that is missing, empty, too large, unreadable, or has a digest of fewer
 * than 32 bytes. The command is not sent then. */
int32_t kelvane_download_software(kelvane_handle handle, uint32_t download_device, const char *file_name);

/* Activates the downloaded image on the device. `file_name` is written to the log only, `transaction_id` is
 * handed on. `fn_cb` must be NULL: with a callback it returns KELVANE_RET_CODE_GEN_ERR at once. A command. */
typedef int32_t (*kelvane_program_activate_cb)(kelvane_handle handle, kelvane_device_address device_address,
                                               uint32_t transaction_id, int32_t result);
int32_t kelvane_program_activate_software(kelvane_handle handle, kelvane_device_address device_address,
                                          const char *file_name, kelvane_program_activate_cb fn_cb,
                                          uint32_t transaction_id);

/* How far a download, or the programming of a device, has come: 0 to 99 percent; 0 while something else, or
 * nothing, is under way. That it is done shows in the operation's return: ask from another thread. Do not
 * block. Return 0, KELVANE_RET_CODE_DEVICE_UNAVAILABLE, or KELVANE_RET_CODE_EINVAL for a bad handle, a kind
 * other than 1, 2 and 4, or an address with no progress; a sirane's address that names no sirane returns 0
 * and writes no output. */
int32_t kelvane_get_download_progress(kelvane_handle handle, uint32_t download_device, uint32_t *progress);
int32_t kelvane_get_program_progress(kelvane_handle handle, kelvane_device_address device_address,
                                     uint32_t *progress);

/* ---- the firmware's logs ---------------------------------------------------------------------------
 *
 * Copy logs out of the BAR into files of the host, which they overwrite; no message is exchanged. They block
 * for as long as some ten thousand reads take. Any thread, but one at a time for a file: a second copy into
 * /root/ordune.log is refused with KELVANE_RET_CODE_GEN_ERR. Return 0; KELVANE_RET_CODE_EINVAL;
 * KELVANE_RET_CODE_DEVICE_UNAVAILABLE when the card cannot be read; KELVANE_RET_CODE_GEN_ERR also for a file
 * that cannot be opened or written whole, or a row or index that cannot be read; KELVANE_RET_CODE_HW_PROBLEM
 * for indexes that no ring has. The file keeps what was written before a failure. */

/* The log of the running firmware, whole, into /root/ordune.log. */
int32_t kelvane_ps_print_trace(kelvane_handle handle);

/* Lines `first_line_req` to `last_line_req`, both included, 0 and 0 for all. Of the board: rows of the
 * running firmware's log, from 3.5 on, into /root/ordune.log; earlier firmware only draws a line in the log.
 * Of a sirane: bytes, in steps of 4, of its persistent log, into /root/sirane_0.log to sirane_2.log. */
int32_t kelvane_ps_print_sel_trace(kelvane_handle handle, kelvane_device_address device_address,
                                   uint32_t first_line_req, uint32_t last_line_req);

/* The controller's persistent log, and which voltage regulators failed, into /root/ord_prom.log; no file when
 * that log is empty. Also KELVANE_RET_CODE_DEVICE_UNAVAILABLE while the card has not made it ready. */
int32_t kelvane_ps_print_eprom_trace(kelvane_handle handle);

/* ---- performance -----------------------------------------------------------------------------------
 *
 * Commands. The firmware judges what kind of address a record needs. Records come in the current layout
 * whatever the firmware's age. */

/* The interval of the counters and of the batches, 0 to 64 in a unit of the firmware's own;
 * KELVANE_RET_CODE_EINVAL above. */
int32_t kelvane_set_pm_parameters(kelvane_handle handle, kelvane_device_address device_address,
                                  uint32_t pm_interval);

/* One module, one network port, one host port, the sirane with the controller, or all of a sirane. The units
 * are with the fields of the records. */
int32_t kelvane_get_xpm2_port_pm(kelvane_handle handle, kelvane_device_address device_address,
                                 kelvane_xpm2_port_pm *record);
int32_t kelvane_get_sirane_port_pm(kelvane_handle handle, kelvane_device_address device_address,
                                   kelvane_sirane_port_pm *record);
int32_t kelvane_get_host_port_pm(kelvane_handle handle, kelvane_device_address device_address,
                                 host_pm *record);
int32_t kelvane_get_generic_pm(kelvane_handle handle, kelvane_device_address device_address,
                               kelvane_generic_pm *record);
int32_t kelvane_get_global_pm(kelvane_handle handle, kelvane_device_address device_address,
                              kelvane_global_pm *record);

/* To a host port, which is checked. */
int32_t kelvane_dbg_get_hostport_pcs_counters(kelvane_handle handle, kelvane_device_address device_address,
                                              kelvane_hostport_pcs_counters *record);

/* Subscribes to the performance batches of the address's sirane (1), again with a new callback, or ends
 * the subscription (0). Returns once the request is handed over: no answer is awaited. Codes of a command
 * without the firmware's, and KELVANE_RET_CODE_EINVAL for 1 with no callback. After a failed sending the
 * subscription is made, or ended, all the same. */
int32_t kelvane_enable_pm_notify(kelvane_handle handle, kelvane_device_address device_address,
                                 uint32_t enable, kelvane_pm_notify_cb callback);

/* ---- alarms ----------------------------------------------------------------------------------------
 *
 * Commands, each for the word of one port or device, or for all of a sirane. The bits of the words are in
 * kelvane_records.h, their names as texts in kelvane_alarm_names.h, which is included separately. */
int32_t kelvane_get_host_pcs_alarms(kelvane_handle handle, kelvane_device_address device_address,
                                    uint32_t *alarms);
int32_t kelvane_get_host_otn_alarms(kelvane_handle handle, kelvane_device_address device_address,
                                    uint32_t *alarms);
int32_t kelvane_get_nwtk_port_alarms(kelvane_handle handle, kelvane_device_address device_address,
                                     uint32_t *alarms);
int32_t kelvane_get_generic_alarms(kelvane_handle handle, kelvane_device_address device_address,
                                   uint32_t *alarms);
int32_t kelvane_get_xpm2_alarms(kelvane_handle handle, kelvane_device_address device_address,
                                uint32_t *alarms);
int32_t kelvane_get_global_alarms(kelvane_handle handle, kelvane_device_address device_address,
                                  global_alarms *record);

/* As kelvane_enable_pm_notify, for alarm changes. */
int32_t kelvane_enable_alarms_notify(kelvane_handle handle, kelvane_device_address device_address,
                                     uint32_t enable, kelvane_alarms_notify_cb callback);

/* Has the firmware send `record` to the alarm subscription as if it had changed. Returns once the request
 * is handed over; codes as above. */
int32_t kelvane_force_global_alarms_notify(kelvane_handle handle, kelvane_device_address device_address,
                                           const global_alarms *record);

/* ---- DAP channel ----------------------------------------------------------------------------------- */

/* Hands over `*size` bytes, at most 1024, for the firmware modules behind the channel; a request that has not
 * gone out yet is overwritten. The data are copied. Blocks for at most 1 s. The answer reaches `callback`,
 * which may be NULL. There is no time-out: a request that fails on the way or at the firmware is silently
 * dropped. Returns 0, KELVANE_RET_CODE_EINVAL for more bytes, KELVANE_RET_CODE_ETIMEDOUT,
 * KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM, or KELVANE_RET_CODE_GEN_ERR before a device was created. */
int32_t kelvane_dap_command(kelvane_handle handle, const void *data, const uint32_t *size,
                            kelvane_dap_cb callback);

/* ---- interrupts -----------------------------------------------------------------------------------
 *
 * The application waits for the card's interrupts and calls kelvane_notify_msi for each. These do not
 * block, check no handle, and return 0 or KELVANE_RET_CODE_DEVICE_UNAVAILABLE. */

/* 1 enables, any other value disables interrupts towards the host; the first includes the second. */
int32_t kelvane_enable_msi(kelvane_handle handle, uint32_t enable);
int32_t kelvane_glb_interrupt_enable(kelvane_handle handle, uint32_t enable);

/* Serves the pending interrupts: wakes the threads they are for and clears them. */
int32_t kelvane_notify_msi(kelvane_handle handle);

/* The same without a new interrupt, until none is pending. */
int32_t kelvane_deque_msi(kelvane_handle handle);

/* ---- names and trace ------------------------------------------------------------------------------ */

/* The name of a code, static text: a kelvane_return_code padded to 38 characters, otherwise as below. */
const char *kelvane_rc_to_string(int32_t code);

/* The name of a firmware error word, static text; "UNKNOWN" for any other value. */
const char *kelvane_arm_error_to_string(int32_t code);

/* Which levels are traced, one bit each. At the start all of them are. */
enum kelvane_trace_level {
    KELVANE_TRACE_ERROR = 1,
    KELVANE_TRACE_INFO = 2,
    KELVANE_TRACE_ALARM = 4,
    KELVANE_TRACE_PM = 8,
    KELVANE_TRACE_DEBUG = 16,
    KELVANE_TRACE_REG = 32,
    KELVANE_TRACE_LOWPR = 64,
};
uint32_t trace_level_mask_get(void);
int32_t trace_level_mask_set(uint32_t mask); /* returns 0 */
void trace_level_mask_add(uint32_t bits);
void trace_level_mask_clear(uint32_t bits);

/* Rings that the library makes and never writes to, for an application's own entries. NULL before
 * kelvane_init_driver, and where one could not be made. trace_ring_reader shows them with the library's own.
 */
struct trace_ring;
extern struct trace_ring *kelvane_zynq_ltrace;
extern struct trace_ring *kelvane_srn_ltrace;
extern struct trace_ring *kelvane_eprom_ltrace;

/* What follows `function` in the two operations below. */
#define KELVANE_TRACE_STRING        0xC04000000C8ull  /* one string; trace_ring_write only */
#define KELVANE_TRACE_TAGGED_STRING 0xC04000000C9ull  /* one string */
#define KELVANE_TRACE_STRING_NUMBER 0xC05000000CBull  /* one string, one 32-bit number */
#define KELVANE_TRACE_TWO_STRINGS   0x1C05000000CAull /* two strings */

/* Writes an entry into a ring; a NULL ring takes nothing. Strings are copied, and cut to the ring's 511
 * characters. Does not block. Any thread; not a signal handler. */
void trace_ring_write(struct trace_ring *ring, uint64_t tag, int32_t slot,
                      kelvane_device_address device_address, const char *function, ...);

/* Writes the same as a line into the log file, if that is on, and into no ring; whatever the mask says.
 * `level` is one of enum kelvane_trace_level. Blocks while another line is written. Any thread; not a signal
 * handler. */
void kelvane_trace_tagged(uint32_t level, uint64_t tag, uint32_t slot, kelvane_device_address device_address,
                          const char *function, ...);

/* ---- operations that do nothing -------------------------------------------------------------------- */

/* Changes nothing: words cross the link in host order. Returns 0. */
int32_t kelvane_set_endianess(kelvane_handle handle);

#ifdef __cplusplus
}
#endif

#include "kelvane_reserved.h" /* some eighty more, each of which returns 0 and does nothing */
#endif
