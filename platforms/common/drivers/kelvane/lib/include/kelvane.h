/* kelvane: driver library of a coherent optical line card.
 *
 * The library reaches the card only through 32-bit reads and writes of one PCIe BAR, by callbacks that
 * the application gives it. An application brings it up in this order:
 *
 *     kelvane_init_driver, kelvane_device_create, kelvane_pci_mapped, kelvane_default_initialize
 *
 * Every operation returns 0 for success, otherwise one of enum kelvane_return_code or, from a command
 * that the firmware ran and refused, one of enum kelvane_arm_error. The two never overlap. Operations
 * may be called from any thread unless their comment says otherwise. Records that the library fills
 * belong to the caller; a pointer handed to a callback is valid for that call only.
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
 * - it writes its outputs when an answer was received, also when that answer carries an error word, and
 *   leaves them untouched otherwise.
 */
#ifndef KELVANE_H
#define KELVANE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A handle names the card; only 0 is ever valid. */
typedef uint32_t kelvane_handle;

/* A device address: bits 27..24 the type (0xF a sirane or something on it, below 0xF the board), bits
 * 23..16 the sirane, 15..8 the network port, 7..0 the host port, 0xFF meaning none. */
typedef uint32_t kelvane_device_address;

#define KELVANE_ADDRESS_BOARD              0xF0FFFFFFu
#define KELVANE_ADDRESS_SIRANE(d)          (0xFF00FFFFu | ((uint32_t)(d) << 16))
#define KELVANE_ADDRESS_NETWORK_PORT(d, n) (0xFF0000FFu | ((uint32_t)(d) << 16) | ((uint32_t)(n) << 8))
#define KELVANE_ADDRESS_HOST_PORT(d, h)    (0xFF00FF00u | ((uint32_t)(d) << 16) | (uint32_t)(h))

enum {
    KELVANE_SIRANE_COUNT = 3,
    KELVANE_NETWORK_PORTS_PER_SIRANE = 2,
};

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

/* The firmware's error words: 32-bit words with the top bit set, here as the negative numbers that an
 * operation returns. KELVANE_ARM_ERROR(0x00010013) is the word 0x80010013. */
#define KELVANE_ARM_ERROR(low_31_bits) (-2147483647 - 1 + (low_31_bits))

enum kelvane_arm_error {
    /* general */
    ORDUNE_FAILURE = KELVANE_ARM_ERROR(0x00000001),
    ORDUNE_NOT_EXISTING_DEVICE = KELVANE_ARM_ERROR(0x00000003),
    ORDUNE_NULL_POINTER = KELVANE_ARM_ERROR(0x00000005),
    ORDUNE_INDEX_MISMATCH = KELVANE_ARM_ERROR(0x00000007),
    ORDUNE_MUTEX_CREATE_FAILED = KELVANE_ARM_ERROR(0x00000009),
    ORDUNE_MUTEX_DESTROY_FAILED = KELVANE_ARM_ERROR(0x0000000B),
    ORDUNE_TOO_MANY_DEVICES = KELVANE_ARM_ERROR(0x0000000D),
    ORDUNE_ALREADY_INITIALIZED = KELVANE_ARM_ERROR(0x0000000F),
    ORDUNE_NOT_INITIALIZED = KELVANE_ARM_ERROR(0x00000011),
    ORDUNE_MALLOC_FAILED = KELVANE_ARM_ERROR(0x00000013),
    /* mailbox */
    ORDUNE_MBOX_ERROR = KELVANE_ARM_ERROR(0x00010001),
    ORDUNE_MBOX_FAIL_SNDPM = KELVANE_ARM_ERROR(0x00010003),
    ORDUNE_MBOX_FAIL_SNDALM = KELVANE_ARM_ERROR(0x00010005),
    ORDUNE_MBOX_FAIL_SNDCOMMAN = KELVANE_ARM_ERROR(0x00010007),
    ORDUNE_MBOX_FAIL_SNDSEQTSK = KELVANE_ARM_ERROR(0x00010009),
    ORDUNE_MBOX_FAIL_SNDMBOXTSK = KELVANE_ARM_ERROR(0x0001000B),
    ORDUNE_MBOX_WRONG_STATE = KELVANE_ARM_ERROR(0x0001000D),
    ORDUNE_MBOX_WRONG_ID = KELVANE_ARM_ERROR(0x0001000F),
    ORDUNE_MBOX_NOBUFF = KELVANE_ARM_ERROR(0x00010011),
    ORDUNE_MBOX_BUSY = KELVANE_ARM_ERROR(0x00010013),
    /* command execution */
    ORDUNE_GENERIC_CMD_ERROR = KELVANE_ARM_ERROR(0x00100001),
    ORDUNE_SLICE_NOT_AVAILABLE = KELVANE_ARM_ERROR(0x00100003),
    ORDUNE_INVALID_CMD = KELVANE_ARM_ERROR(0x00100005),
    ORDUNE_INVALID_PHY = KELVANE_ARM_ERROR(0x00100007),
    ORDUNE_INVALID_LENGTH = KELVANE_ARM_ERROR(0x00100009),
    ORDUNE_INVALID_PAGE = KELVANE_ARM_ERROR(0x0010000B),
    ORDUNE_INVALID_DEV = KELVANE_ARM_ERROR(0x0010000D),
    ORDUNE_TIMEOUT = KELVANE_ARM_ERROR(0x0010000F),
    ORDUNE_OPERATION_NOT_ALLOWED = KELVANE_ARM_ERROR(0x00100011),
    ORDUNE_INTF_BUSY = KELVANE_ARM_ERROR(0x00100013),
    ORDUNE_CMD_FAILED = KELVANE_ARM_ERROR(0x00100015),
    ORDUNE_INVALID_DEVICE = KELVANE_ARM_ERROR(0x00100017),
    ORDUNE_FSM_OPERATION_NOT_ALLOWED = KELVANE_ARM_ERROR(0x00100019),
    ORDUNE_UNABLE_SEND_MSG2EXECUTOR = KELVANE_ARM_ERROR(0x0010001B),
    /* interface */
    ORDUNE_GENERIC_INTERF_SET = KELVANE_ARM_ERROR(0x00200001),
    ORDUNE_INVALID_RATE = KELVANE_ARM_ERROR(0x00200003),
    /* upgrade and flash */
    ORDUNE_UPGRADE_ERROR = KELVANE_ARM_ERROR(0x00300001),
    ORDUNE_MD5_FAIL = KELVANE_ARM_ERROR(0x00300003),
    ORDUNE_FLASH_ERASEERROR = KELVANE_ARM_ERROR(0x00300005),
    ORDUNE_FLASH_WRITEERROR = KELVANE_ARM_ERROR(0x00300007),
    ORDUNE_FLASH_WRONGDEV = KELVANE_ARM_ERROR(0x00300009),
    ORDUNE_FLASH_READERROR = KELVANE_ARM_ERROR(0x0030000B),
    ORDUNE_UPGRADE_IN_PROGRESS = KELVANE_ARM_ERROR(0x0030000D),
    /* internal tasks */
    ORDUNE_INTERNAL_TASKS_ERROR = KELVANE_ARM_ERROR(0x00400001),
    ORDUNE_ALL_SEQ_TASKS_BUSY = KELVANE_ARM_ERROR(0x00400003),
    ORDUNE_ENQUEUE_MSG_FAILED = KELVANE_ARM_ERROR(0x00400005),
    /* pluggable module */
    ORDUNE_XPM2_GENERIC_ERROR = KELVANE_ARM_ERROR(0x00500001),
    ORDUNE_XPM2_PWRFAIL = KELVANE_ARM_ERROR(0x00500003),
    ORDUNE_XPM2_POUTFAIL = KELVANE_ARM_ERROR(0x00500005),
    ORDUNE_XPM2_WLFAIL = KELVANE_ARM_ERROR(0x00500007),
    ORDUNE_XPM2_MODFAIL = KELVANE_ARM_ERROR(0x00500009),
    ORDUNE_XPM2_GETSTATFAIL = KELVANE_ARM_ERROR(0x0050000B),
    ORDUNE_XPM2_GETRDYFAIL = KELVANE_ARM_ERROR(0x0050000D),
    ORDUNE_XPM2_ENODEV = KELVANE_ARM_ERROR(0x0050000F),
    ORDUNE_XPM2_NOVALIDCAL = KELVANE_ARM_ERROR(0x00500011),
    ORDUNE_XPM2_TUOUT = KELVANE_ARM_ERROR(0x00500013),
    ORDUNE_XPM2_INVALIDDETECTION = KELVANE_ARM_ERROR(0x00500015),
    ORDUNE_XPM2_REMOVEDONDETECTION = KELVANE_ARM_ERROR(0x00500017),
    ORDUNE_XPM2_LASERON_INPROGRESS = KELVANE_ARM_ERROR(0x00500019),
    ORDUNE_XPM2_FWDWL_ERR_CRC = KELVANE_ARM_ERROR(0x0050001B),
    ORDUNE_XPM2_FWDWL_ERR_MODULE_BUSY = KELVANE_ARM_ERROR(0x0050001D),
    ORDUNE_XPM2_FWDWL_ERR_LENGHT = KELVANE_ARM_ERROR(0x0050001F),
    ORDUNE_XPM2_FWDWL_ERR_FLASH_WRITE = KELVANE_ARM_ERROR(0x00500021),
    ORDUNE_XPM2_FWDWL_ERR_BAD_IMAGE = KELVANE_ARM_ERROR(0x00500023),
    ORDUNE_XPM2_FWDWL_ERR_COMMIT_FAIL = KELVANE_ARM_ERROR(0x00500025),
    ORDUNE_XPM2_FWDWL_ERR_MODULE_POLL = KELVANE_ARM_ERROR(0x00500027),
    ORDUNE_XPM2_GET_OA_ERR = KELVANE_ARM_ERROR(0x00500029),
    ORDUNE_XPM2_SET_OA_ERR = KELVANE_ARM_ERROR(0x0050002B),
    ORDUNE_XPM2_UNKWON = KELVANE_ARM_ERROR(0x0050002D),
    ORDUNE_XPM2_SATRT_SEMTUOUT = KELVANE_ARM_ERROR(0x0050002F),
    ORDUNE_XPM2_PIN_INTERF_ERROR = KELVANE_ARM_ERROR(0x00500031),
    /* `sirane` general */
    ORDUNE_SIRANE_GENERIC_ERROR = KELVANE_ARM_ERROR(0x00600001),
    ORDUNE_SIRANE_BUSY = KELVANE_ARM_ERROR(0x00600003),
    ORDUNE_SIRANE_MDIOCMD_FAIL = KELVANE_ARM_ERROR(0x00600005),
    ORDUNE_SIRANE_MDIOCMD_TOUT = KELVANE_ARM_ERROR(0x00600007),
    /* `sirane` firmware download */
    ORDUNE_SIRANE_FWDWL_FAIL = KELVANE_ARM_ERROR(0x00610001),
    ORDUNE_SIRANE_SD_FAIL = KELVANE_ARM_ERROR(0x00610003),
    ORDUNE_SIRANE_FWUPG_FAIL = KELVANE_ARM_ERROR(0x00610005),
    ORDUNE_SIRANE_SLA_LOAD_FAIL = KELVANE_ARM_ERROR(0x00610007),
    ORDUNE_SIRANE_SLA_SERVICE_FAIL = KELVANE_ARM_ERROR(0x00610009),
    ORDUNE_SIRANE_SLA_ENABLE_FAIL = KELVANE_ARM_ERROR(0x0061000B),
    ORDUNE_SIRANE_SLA_MDIOWTOUT = KELVANE_ARM_ERROR(0x0061000D),
    ORDUNE_SIRANE_SLA_RD_MDIOWTOUT = KELVANE_ARM_ERROR(0x0061000F),
    ORDUNE_SIRANE_SLA_WR_MDIOWTOUT = KELVANE_ARM_ERROR(0x00610011),
    ORDUNE_SIRANE_SLA_FIFO_FAIL = KELVANE_ARM_ERROR(0x00610013),
    ORDUNE_SIRANE_SLA_FIFO_MDIOWTOUT = KELVANE_ARM_ERROR(0x00610015),
    ORDUNE_SIRANE_FW_DWL_FAIL = KELVANE_ARM_ERROR(0x00610017),
    ORDUNE_SIRANE_FW_DWL_MDIOWTOUT = KELVANE_ARM_ERROR(0x00610019),
    ORDUNE_SIRANE_FW_DWL_MDIOWTOUTLOOP = KELVANE_ARM_ERROR(0x0061001B),
    ORDUNE_SIRANE_FW_DWL_BLOCK_FAIL = KELVANE_ARM_ERROR(0x0061001D),
    ORDUNE_SIRANE_FW_DWL_MDIOWTOUTENDLOOP = KELVANE_ARM_ERROR(0x0061001F),
    ORDUNE_SIRANE_FW_DWL_MDIOWTOUT_RUNB = KELVANE_ARM_ERROR(0x00610021),
    ORDUNE_SIRANE_FW_DWL_FAIL_COMMIT = KELVANE_ARM_ERROR(0x00610023),
    /* `sirane` set laser */
    ORDUNE_SIRANE_SETLASER_ERROR = KELVANE_ARM_ERROR(0x00620001),
    ORDUNE_SIRANE_SETLASER_CDB_MDIO_ERROR = KELVANE_ARM_ERROR(0x00620003),
    ORDUNE_SIRANE_SETLASER_CDB_ERROR = KELVANE_ARM_ERROR(0x00620005),
    ORDUNE_SIRANE_SETLASER_CDB_BUSY = KELVANE_ARM_ERROR(0x00620007),
    ORDUNE_SIRANE_SETLASER_NOXPM_ERROR = KELVANE_ARM_ERROR(0x00620009),
    ORDUNE_SIRANE_SETLASER_FAIL2START = KELVANE_ARM_ERROR(0x0062000B),
    ORDUNE_SIRANE_SETLASER_RATENOTDUPPORTED = KELVANE_ARM_ERROR(0x0062000D),
    ORDUNE_SIRANE_SETLASER_HOST_TUNE_ERR = KELVANE_ARM_ERROR(0x0062000F),
    ORDUNE_SIRANE_SETLASER_PWRFAIL2START = KELVANE_ARM_ERROR(0x00620011),
    ORDUNE_SIRANE_SETLASER_PWRFAIL2STOP = KELVANE_ARM_ERROR(0x00620011),
    /* `sirane` power */
    ORDUNE_SIRANE_PWR_FAIL = KELVANE_ARM_ERROR(0x00630001),
    ORDUNE_SIRANE_PWR_5V_FAIL = KELVANE_ARM_ERROR(0x00630003),
    ORDUNE_SIRANE_PWR_UNRST_FAIL = KELVANE_ARM_ERROR(0x00630005),
    ORDUNE_SIRANE_PWR_RST_FAIL = KELVANE_ARM_ERROR(0x00630007),
    /* `sirane` network configuration */
    ORDUNE_SIRANE_NTWCFG_ERROR = KELVANE_ARM_ERROR(0x00700001),
    ORDUNE_SIRANE_NTWCFG_INVRATE = KELVANE_ARM_ERROR(0x00700003),
    /* MDIO */
    ORDUNE_MDIO_ERROR = KELVANE_ARM_ERROR(0x00800001),
    ORDUNE_MDIO_SEM_ERROR = KELVANE_ARM_ERROR(0x00800003),
    ORDUNE_MDIO_INTF_BUSY_ERROR = KELVANE_ARM_ERROR(0x00800005),
    ORDUNE_MDIO_TOUT = KELVANE_ARM_ERROR(0x00800007),
    ORDUNE_MDIO_SEM_BUSY_ERROR = KELVANE_ARM_ERROR(0x00800009),
    /* control loop */
    ORDUNE_CNTL_LOOP_ERROR = KELVANE_ARM_ERROR(0x00900001),
    ORDUNE_CNTL_LOOP_RATENS = KELVANE_ARM_ERROR(0x00900003),
    /* sequence task */
    ORDUNE_MBOX_CMDINTR_ERROR = KELVANE_ARM_ERROR(0x01000001),
    ERROR_PWR_UP_5V = KELVANE_ARM_ERROR(0x01000003),
    ERROR_PWR_UP_5V_SIRANE_0 = KELVANE_ARM_ERROR(0x01000003),
    ERROR_PWR_UP_5V_SIRANE_1 = KELVANE_ARM_ERROR(0x01000005),
    ERROR_PWR_UP_5V_SIRANE_2 = KELVANE_ARM_ERROR(0x01000007),
    ERROR_SRN_HI_PWR = KELVANE_ARM_ERROR(0x01000009),
    ERROR_SRN_UNRESET = KELVANE_ARM_ERROR(0x0100000B),
    ERROR_SRN_UNRESET_0 = KELVANE_ARM_ERROR(0x0100000B),
    ERROR_SRN_UNRESET_1 = KELVANE_ARM_ERROR(0x0100000D),
    ERROR_SRN_UNRESET_2 = KELVANE_ARM_ERROR(0x0100000F),
    ERROR_SRN_LOW_PWR = KELVANE_ARM_ERROR(0x01000011),
    ERROR_DOWNLOAD = KELVANE_ARM_ERROR(0x01000013),
    ERROR_SET_TRAFFIC = KELVANE_ARM_ERROR(0x01000015),
    ERROR_GET_TRAFFIC = KELVANE_ARM_ERROR(0x01000017),
    ERROR_WRONG_CMD_ATSEQUENCETASK = KELVANE_ARM_ERROR(0x01001001),
    /* PM notification */
    ERROR_PM_NOTIFY = KELVANE_ARM_ERROR(0x01200001),
    ERROR_PM_NOTIFY_SEMTOUT = KELVANE_ARM_ERROR(0x01200003),
    /* host alarm notification */
    ERROR_HOST_ALARM_NOTIFY = KELVANE_ARM_ERROR(0x01300001),
    ERROR_HOST_ALARM_NOTIFY_SEMTOUT = KELVANE_ARM_ERROR(0x01300003),
    /* network alarm notification */
    ERROR_NTWK_ALARM_NOTIFY = KELVANE_ARM_ERROR(0x01400001),
    ERROR_NTWK_ALARM_NOTIFY_SEMTOUT = KELVANE_ARM_ERROR(0x01400003),
    /* global alarm notification */
    ERROR_GLB_ALARM_NOTIFY = KELVANE_ARM_ERROR(0x01500001),
    ERROR_GLB_ALARM_NOTIFY_SEMTOUT = KELVANE_ARM_ERROR(0x01500003),
    /* generic alarm notification */
    ERROR_GENERIC_ALARM_NOTIFY = KELVANE_ARM_ERROR(0x01550001),
    ERROR_GENERIC_ALARM_NOTIFY_SEMTOUT = KELVANE_ARM_ERROR(0x01550003),
    /* module alarm notification */
    ERROR_XPM2_ALARM_NOTIFY = KELVANE_ARM_ERROR(0x01600001),
    ERROR_XPM2_ALARM_NOTIFY_SEMTOUT = KELVANE_ARM_ERROR(0x01600003),
    /* calibration */
    ORDUNE_CALIBRATION_ERROR = KELVANE_ARM_ERROR(0x02000001),
    /* card calibration */
    ORDUNE_CAL_CARD_IDB_ERROR = KELVANE_ARM_ERROR(0x02100001),
    ORDUNE_CAL_CARD_IDBCRC_ERROR = KELVANE_ARM_ERROR(0x02100003),
    ORDUNE_CAL_CARD_IDBENTRY_HEADERENDIAN_ERROR = KELVANE_ARM_ERROR(0x02100005),
    ORDUNE_CAL_CARD_IDBENTRY_ST_TYPE_IDCODE_ERROR = KELVANE_ARM_ERROR(0x02100007),
    ORDUNE_CAL_CARD_IDBENTRY_ST_PAYLOAD_SIZE_ERROR = KELVANE_ARM_ERROR(0x02100009),
    ORDUNE_CAL_CARD_IDBENTRY_VER_ERROR = KELVANE_ARM_ERROR(0x0210000B),
    ORDUNE_CAL_CARD_IDBENTRY_ST_TARGET_ERROR = KELVANE_ARM_ERROR(0x0210000D),
    ORDUNE_CAL_CARD_IDBENTRY_END_ENTRYID_ERROR = KELVANE_ARM_ERROR(0x0210000F),
    ORDUNE_CAL_CARD_IDBENTRY_END_TYPE_CODE_ID_ERROR = KELVANE_ARM_ERROR(0x02100011),
    ORDUNE_CAL_CARD_IDBENTRY_END_PAYLOAD_SIZE_ERROR = KELVANE_ARM_ERROR(0x02100013),
    ORDUNE_CAL_CARD_IDBENTRY_NOT_FOUND_ERROR = KELVANE_ARM_ERROR(0x02100015),
    ORDUNE_CAL_CARD_NETWORK_NOT_FOUND_ERROR = KELVANE_ARM_ERROR(0x02100017),
    ORDUNE_CAL_CARD_MIRANE_DEF_USED = KELVANE_ARM_ERROR(0x02100019),
    ORDUNE_CAL_CARD_TOLVAN_DEF_USED = KELVANE_ARM_ERROR(0x0210001B),
    /* module calibration */
    ORDUNE_CAL_XPM_ERROR = KELVANE_ARM_ERROR(0x02200001),
    ORDUNE_CAL_CALDATA_ERROR = KELVANE_ARM_ERROR(0x02200003),
    /* RSA */
    ORDUNE_RSA_ERROR = KELVANE_ARM_ERROR(0x04000001),
    ORDUNE_RSA_RDFLAG_ERROR = KELVANE_ARM_ERROR(0x04000003),
    ORDUNE_RSA_RDPPK_ERROR = KELVANE_ARM_ERROR(0x04000005),
    ORDUNE_RSA_CHCK_ERROR = KELVANE_ARM_ERROR(0x04000007),
    /* PM task */
    ORDUNE_PMTASK_ERROR = KELVANE_ARM_ERROR(0x05000001),
    ORDUNE_PMTASK_SIRANESTAT_ERROR = KELVANE_ARM_ERROR(0x05000003),
    ORDUNE_PMTASK_SIRANEPM_ERROR = KELVANE_ARM_ERROR(0x05000005),
    ORDUNE_PMTASK_COUNTEROVERFLOW_ERROR = KELVANE_ARM_ERROR(0x05000007),
    /* QSPI */
    ORDUNE_QSPI_ERROR = KELVANE_ARM_ERROR(0x08000001),
    ORDUNE_QSPI_SERVER_ERROR = KELVANE_ARM_ERROR(0x08000003),
};

/* ---- callbacks ------------------------------------------------------------------------------------
 *
 * All return 0 for success. Those of the PCI access may be called from any library thread, several at
 * once, and must not call the library. */

/* Reads the 32-bit word at byte `offset` of the BAR into `value`. `bus` is always 0. `check_alive` is 1
 * for normal service and 0 where the firmware need not be up. */
typedef int32_t (*kelvane_pci_read_cb)(kelvane_handle handle, uint32_t bus, uint32_t offset, uint32_t *value,
                                       uint32_t check_alive);
typedef int32_t (*kelvane_pci_write_cb)(kelvane_handle handle, uint32_t bus, uint32_t offset, uint32_t value,
                                        uint32_t check_alive);

/* Move `words` 32-bit words at ascending offsets, each as one 32-bit access. */
typedef int32_t (*kelvane_pci_read_block_cb)(kelvane_handle handle, uint32_t bus, uint32_t offset,
                                             uint32_t words, uint32_t *data, uint32_t check_alive);
typedef int32_t (*kelvane_pci_write_block_cb)(kelvane_handle handle, uint32_t bus, uint32_t offset,
                                              uint32_t words, const uint32_t *data, uint32_t check_alive);

/* A module was plugged or unplugged: `plugged` is its state as the firmware gives it. */
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
 * were pending then. */
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

/* ---- life of a device ----------------------------------------------------------------------------- */

/* What kelvane_device_create needs to know; handed over by value, the callbacks stay in use until the
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

/* Prepares the library for the process: log, transaction ids, mailbox tables. A second call only writes
 * the version to the log. Does not block. One thread at a time. Returns 0,
 * KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM when a lock cannot be made, or KELVANE_RET_CODE_GEN_ERR when the
 * existing log file cannot be opened; after a failure it may be called again. */
int32_t kelvane_init_driver(void);

/* Claims the handle and makes the locks, tables and threads of the device, once for the process; they
 * live until it ends. Does not touch the card. One thread at a time, after kelvane_init_driver. Returns
 * the handle, 0, also when the device exists already; -1 when a required callback is NULL, the handle is
 * taken or something could not be made; a positive kelvane_return_code when a table refused, in which
 * case the record stays claimed. */
int32_t kelvane_device_create(kelvane_init_device_t init_device);

/* Frees the handle and closes the access to the card. Stops no thread and gives up no request. Does not
 * block. Returns 0 or KELVANE_RET_CODE_EINVAL. */
int32_t kelvane_device_delete(kelvane_handle handle);

/* Tells the library that the BAR can be reached (`pci_mapped` 1) or not (0); another value opens the access
 * with none of what follows. On 1 it tests the link, reads the firmware's version, tells it the library's,
 * and brings every mailbox to idle; while it does so on firmware 5.22 and later no command runs on that
 * sirane. `base` and `size` describe the mapping and are not used. Blocks for some milliseconds, with a
 * silent firmware for up to 300 s a mailbox, with firmware below 5.10 for at least 1.5 s and up to 150 s a
 * sirane. Not from two threads at once. Returns 0, or any code of a command except a firmware error word;
 * the access is then closed again. A failure on firmware 5.22 and later, from the mailboxes on, returns
 * KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM and leaves the sirane's locks held until the process ends. */
int32_t kelvane_pci_mapped(kelvane_handle handle, int32_t pci_mapped, uint64_t base, uint64_t size);

/* Puts the firmware into its default state, which resets the siranes. A command, to the board. */
int32_t kelvane_default_initialize(kelvane_handle handle);

/* The library's own version, 1 and 43; also writes it to the log. Never fails. */
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

/* ---- registers, diagnostics, keep-alive ----------------------------------------------------------- */

/* Reads a register of the device through the firmware. A command. */
int32_t kelvane_read_register(kelvane_handle handle, kelvane_device_address device_address,
                              uint32_t reg_address, uint32_t *value);

/* Writes one. A command, except that address and handle are not checked before it goes out: an address
 * that other operations refuse is the firmware's to judge, and what belongs to no card or sirane gives
 * KELVANE_RET_CODE_GEN_ERR. */
int32_t kelvane_write_register(kelvane_handle handle, kelvane_device_address device_address,
                               uint32_t reg_address, uint32_t value);

/* Has the firmware run a diagnostic: 4 high power, 5 low power, 34 time-out of the next laser operation;
 * the firmware knows others. A command, 10 ms longer than the others. */
int32_t kelvane_diag_command(kelvane_handle handle, kelvane_device_address device_address,
                             uint32_t diag_command);

/* Resets the sirane of the address. A command. */
int32_t kelvane_recover_device(kelvane_handle handle, kelvane_device_address device_address);

/* The status word of the module in a network port, as the firmware gives it. A command. */
int32_t kelvane_get_xpm2_status(kelvane_handle handle, kelvane_device_address device_address,
                                uint32_t *status);

/* Sets the level mask of the firmware's own log. A command; only the handle is checked. */
int32_t kelvane_set_arm_trace_level(kelvane_handle handle, uint32_t arm_trace_level);

/* Turns the watch over the firmware on (1) or off (0). On: every access to the card fails with
 * KELVANE_RET_CODE_DEVICE_UNAVAILABLE until the firmware has answered, and whenever it stops answering;
 * `keep_alive_cb` hears of each change, on the library's background thread with no lock held; NULL
 * leaves the callback that was set before. Off: takes effect at once, even when the card does not
 * answer. A command; only the handle is checked, and the firmware's word ORDUNE_MBOX_BUSY counts as
 * success when turning on. */
int32_t kelvane_enable_keep_alive_notify(kelvane_handle handle, uint32_t enable,
                                         kelvane_keep_alive_cb keep_alive_cb);

/* Whether the watch is on, and what it last found (enum kelvane_keep_alive_status). Checks no handle,
 * does not block, returns 0. */
int32_t kelvane_get_keep_alive_status(kelvane_handle handle, uint32_t *enable, uint32_t *keep_alive_status);

/* One guarded access of the card's free test word. Do not block. Return 0, KELVANE_RET_CODE_EINVAL or
 * KELVANE_RET_CODE_DEVICE_UNAVAILABLE. */
int32_t kelvane_read_scratchpad_register(kelvane_handle handle, uint32_t *value);
int32_t kelvane_write_scratchpad_register(kelvane_handle handle, const uint32_t *value);

/* Changes nothing: words cross the link in host order. Returns 0. */
int32_t kelvane_set_endianess(kelvane_handle handle);

/* Resets the card: 1 or 0 chooses the kind. Blocks for 100 ms. Returns 0, KELVANE_RET_CODE_EINVAL for a
 * bad handle or kind, KELVANE_RET_CODE_DEVICE_UNAVAILABLE. */
int32_t kelvane_set_trigger_reset(kelvane_handle handle, uint32_t trigger_reset);

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

/* ---- names and trace mask ------------------------------------------------------------------------- */

/* The name of a code, static text: a kelvane_return_code padded to 38 characters, otherwise as below. */
const char *kelvane_rc_to_string(int32_t code);

/* The name of a firmware error word, static text; "UNKNOWN" for any other value. */
const char *kelvane_arm_error_to_string(int32_t code);

/* Which levels are traced, one bit each. All are at the start. */
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

#ifdef __cplusplus
}
#endif
#endif
