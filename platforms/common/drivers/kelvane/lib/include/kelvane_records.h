/* The records that cross the mailboxes and reach the application; part of kelvane.h.
 *
 * Sizes and offsets are the card's. All words are little-endian, as the host's are. A field that older
 * firmware does not send reads as all ones, unless its comment says otherwise. Of the fields that stand
 * for one quantity (current, minimum, maximum, average) the first one names the unit.
 */
#ifndef KELVANE_RECORDS_H
#define KELVANE_RECORDS_H

#include <stdint.h>

/* ---- provisioning --------------------------------------------------------------------------------- */

/* What a network port carries: kind of client, line rate with modulation, FEC, differential coding. */
enum kelvane_traffic_type {
    KELVANE_TRAFFIC_TYPE_OTU_CLIENT_100G_QPSK_FEC15_DIFF = 0,
    KELVANE_TRAFFIC_TYPE_OTU_CLIENT_100G_QPSK_FEC15_NODIFF = 1,
    KELVANE_TRAFFIC_TYPE_OTU_CLIENT_100G_QPSK_FEC25_DIFF = 2,
    KELVANE_TRAFFIC_TYPE_OTU_CLIENT_100G_QPSK_FEC25_NODIFF = 3,
    KELVANE_TRAFFIC_TYPE_OTU_CLIENT_200G_16QAM_FEC15_DIFF = 4,
    KELVANE_TRAFFIC_TYPE_OTU_CLIENT_200G_16QAM_FEC15_NODIFF = 5,
    KELVANE_TRAFFIC_TYPE_OTU_CLIENT_200G_16QAM_FEC25_DIFF = 6,
    KELVANE_TRAFFIC_TYPE_OTU_CLIENT_200G_16QAM_FEC25_NODIFF = 7,
    KELVANE_TRAFFIC_TYPE_OTU_CLIENT_150G_8QAM_FEC15_DIFF = 8,
    KELVANE_TRAFFIC_TYPE_OTU_CLIENT_150G_8QAM_FEC15_NODIFF = 9,
    KELVANE_TRAFFIC_TYPE_OTU_CLIENT_150G_8QAM_FEC25_DIFF = 10,
    KELVANE_TRAFFIC_TYPE_OTU_CLIENT_150G_8QAM_FEC25_NODIFF = 11,
    KELVANE_TRAFFIC_TYPE_100GE_CLIENT_100G_QPSK_FEC15_DIFF = 12,
    KELVANE_TRAFFIC_TYPE_100GE_CLIENT_100G_QPSK_FEC15_NODIFF = 13,
    KELVANE_TRAFFIC_TYPE_100GE_CLIENT_100G_QPSK_FEC25_DIFF = 14,
    KELVANE_TRAFFIC_TYPE_100GE_CLIENT_100G_QPSK_FEC25_NODIFF = 15,
    KELVANE_TRAFFIC_TYPE_100GE_CLIENT_200G_16QAM_FEC15_DIFF = 16,
    KELVANE_TRAFFIC_TYPE_100GE_CLIENT_200G_16QAM_FEC15_NODIFF = 17,
    KELVANE_TRAFFIC_TYPE_100GE_CLIENT_200G_16QAM_FEC25_DIFF = 18,
    KELVANE_TRAFFIC_TYPE_100GE_CLIENT_200G_16QAM_FEC25_NODIFF = 19,
    KELVANE_TRAFFIC_TYPE_100GE_CLIENT_150G_8QAM_FEC15_DIFF = 20,
    KELVANE_TRAFFIC_TYPE_100GE_CLIENT_150G_8QAM_FEC15_NODIFF = 21,
    KELVANE_TRAFFIC_TYPE_100GE_CLIENT_150G_8QAM_FEC25_DIFF = 22,
    KELVANE_TRAFFIC_TYPE_100GE_CLIENT_150G_8QAM_FEC25_NODIFF = 23,
    KELVANE_TRAFFIC_TYPE_NONE = 24,
};

/* Colour of a module's LED. */
enum kelvane_led {
    KELVANE_LED_GREEN = 1,
    KELVANE_LED_YELLOW = 2,
    KELVANE_LED_RED = 3,
    KELVANE_LED_OFF = 4,
};

/* Direction of a wavelength. */
enum kelvane_tx_rx { KELVANE_TX = 1, KELVANE_RX = 2 };

/* What is provisioned on a sirane, 120 bytes: each number as the operation that sets it takes it. Index 0 is
 * network port 0. */
typedef struct {
    uint32_t traffic_type[2]; /* enum kelvane_traffic_type */
    uint32_t laser[2];        /* 1 on */
    uint32_t tx_channel[2];   /* legacy channels */
    uint32_t rx_channel[2];
    uint32_t tx_bright_tuning[2];
    uint32_t rx_bright_tuning[2];
    uint32_t power[2];
    uint32_t rx_cd_low_search_value[2];
    uint32_t rx_cd_high_search_value[2];
    uint32_t xpm2_led[2]; /* enum kelvane_led */
    uint32_t network_loopback[2];
    uint32_t host_loopback[4];        /* index 0 is host port 0 */
    uint32_t tx_channel_flex_grid[2]; /* in steps ten times finer than the legacy channels; computed from
                                         them for firmware that does not send these four */
    uint32_t rx_channel_flex_grid[2];
} kelvane_provisioned_config_t;

/* ---- the module in a network port ----------------------------------------------------------------- */

enum kelvane_xpm2_type { KELVANE_XPM2_TYPE_ELECTRICAL = 1, KELVANE_XPM2_TYPE_OPTICAL = 2 };

/* Inventory of a module, 232 bytes. A text may fill its field without a closing 0. The firmware of older
 * modules leaves the last three empty or -1. */
typedef struct {
    char deviation[16];
    char part_number[16];
    char serial_number[16];
    char date_code_number[10];
    char CLEI_code_number[10];
    uint16_t module_hardware_version_number;
    uint16_t module_firmware_running_version_number;
    uint16_t module_firmware_committed_version_number;
    char vendorname[16];
    char description[64];
    char pid[16];
    char vid[16];
    uint8_t reserved[2];
    int32_t type; /* enum kelvane_xpm2_type, other values unknown */
    int32_t oif_aco_bool;
    char nolva_part_number[16];
    char nolva_serial_number[16];
    int32_t nolva_supplied_vendor_id;
} kelvane_xpm2_inventory_t;

/* ---- performance ---------------------------------------------------------------------------------- */

/* One host port when the device's client_type is not 0 (Ethernet): frame counters. 32 bytes. */
typedef struct {
    uint32_t rx_good_frame;
    uint32_t reserved_0;
    uint64_t rx_good_octects;
    uint32_t rx_bad_frame;
    uint32_t reserved_1;
    uint64_t rx_bad_octects;
} kelvane_host_frames_pm_t;

/* The same 32 bytes when client_type is 0: OTN counters. */
typedef struct {
    uint64_t fec_frame_counter;
    uint32_t corrected_bits_counter;
    float pre_fec_ber_est;
    uint32_t otn_sm_bei_counter;
    uint32_t otn_sm_bip_8_violation_counter;
    uint32_t otn_pm_bei_count;
    uint32_t otn_pm_bip_8_violation_counter;
} kelvane_host_otn_pm_t;

typedef union {
    kelvane_host_frames_pm_t frames;
    kelvane_host_otn_pm_t otn;
} host_pm;

/* One module, 24 bytes. */
typedef struct {
    int32_t tx_laser_eol;         /* % */
    int32_t rx_laser_eol;         /* % */
    int32_t optical_output_power; /* 0.01 dBm */
    int32_t optical_input_power;  /* 0.01 dBm */
    int32_t optical_signal_power; /* 0.01 dBm */
    int32_t xpm2_temperature;     /* 1/256 degree C */
} kelvane_xpm2_port_pm;

/* One network port, 128 bytes. */
typedef struct {
    int32_t rx_cd_curr; /* ps/nm */
    int32_t rx_cd_min;
    int32_t rx_cd_max;
    int32_t rx_cd_avg;
    int32_t rx_dgd_curr; /* ps */
    int32_t rx_dgd_min;
    int32_t rx_dgd_max;
    int32_t rx_dgd_avg;
    int32_t rx_osnr_curr; /* 0.1 dB */
    int32_t rx_osnr_min;
    int32_t rx_osnr_max;
    int32_t rx_osnr_avg;
    float pre_fec_ber_est_curr;
    float pre_fec_ber_est_min;
    float pre_fec_ber_est_max;
    float pre_fec_ber_est_avg;
    uint64_t corrected_bits_count_pm_int;        /* of the interval */
    int32_t uncorrectable_fec_code_block_pm_int; /* of the interval */
    int32_t bip8_error_counter;
    int32_t bei_error_counter;
    int32_t sopmd_cur; /* ps^2; from here on only newer firmware */
    int32_t sopmd_ave;
    int32_t sopmd_min;
    int32_t sopmd_max;
    int32_t sop_chi; /* 0.1 degree */
    int32_t sop_phi;
    int32_t pdl_cur; /* 0.1 dB */
    int32_t pdl_ave;
    int32_t pdl_min;
    int32_t pdl_max;
    uint32_t reserved;
} kelvane_sirane_port_pm;

/* The sirane and the controller, 8 bytes. */
typedef struct {
    int32_t sirane_temperature; /* 1/256 degree C */
    int32_t ordune_temperature;
} kelvane_generic_pm;

/* All of a sirane, 440 bytes. */
typedef struct kelvane_global_pm {
    host_pm host[4];
    kelvane_sirane_port_pm sirane_port[2];
    kelvane_xpm2_port_pm xpm2_port[2];
    kelvane_generic_pm generic;
} kelvane_global_pm;

/* Frame counters of one host port by size and kind, 232 bytes. */
typedef struct {
    uint32_t TX_GOOD_FRAMES_CNT;
    uint32_t reserved_0;
    uint64_t TX_GOOD_OCTETS_CNT;
    uint32_t TX_GOOD_MULTICAST_CNT;
    uint32_t TX_GOOD_BROADCAST_CNT;
    uint32_t TX_GOOD_64B_PKT_CNT;
    uint32_t TX_GOOD_65B_127B_PKT_CNT;
    uint32_t TX_GOOD_128B_255B_PKT_CNT;
    uint32_t TX_GOOD_256B_511B_PKT_CNT;
    uint32_t TX_GOOD_512B_1023B_PKT_CNT;
    uint32_t TX_GOOD_1024B_1518B_PKT_CNT;
    uint32_t TX_GOOD_1519B_LTJ_PKT_CNT;
    uint32_t TX_GOOD_JUMBO_PKT_CNT;
    uint32_t TX_BAD_FRAMES_CNT;
    uint32_t reserved_1;
    uint64_t TX_BAD_OCTETS_CNT;
    uint32_t TX_BAD_MULTICAST_CNT;
    uint32_t TX_BAD_BROADCAST_CNT;
    uint32_t TX_BAD_64B_PKT_CNT;
    uint32_t TX_BAD_65B_127B_PKT_CNT;
    uint32_t TX_BAD_128B_255B_PKT_CNT;
    uint32_t TX_BAD_256B_511B_PKT_CNT;
    uint32_t TX_BAD_512B_1023B_PKT_CNT;
    uint32_t TX_BAD_1024B_1518B_PKT_CNT;
    uint32_t TX_BAD_1519B_LTJ_PKT_CNT;
    uint32_t TX_BAD_JUMBO_PKT_CNT;
    uint32_t RX_GOOD_FRAMES_CNT;
    uint32_t reserved_2;
    uint64_t RX_GOOD_OCTETS_CNT;
    uint32_t RX_GOOD_MULTICAST_CNT;
    uint32_t RX_GOOD_BROADCAST_CNT;
    uint32_t RX_GOOD_64B_PKT_CNT;
    uint32_t RX_GOOD_65B_127B_PKT_CNT;
    uint32_t RX_GOOD_128B_255B_PKT_CNT;
    uint32_t RX_GOOD_256B_511B_PKT_CNT;
    uint32_t RX_GOOD_512B_1023B_PKT_CNT;
    uint32_t RX_GOOD_1024B_1518B_PKT_CNT;
    uint32_t RX_GOOD_1519B_LTJ_PKT_CNT;
    uint32_t RX_GOOD_JUMBO_PKT_CNT;
    uint32_t RX_BAD_FRAMES_CNT;
    uint32_t reserved_3;
    uint64_t RX_BAD_OCTETS_CNT;
    uint32_t RX_BAD_MULTICAST_CNT;
    uint32_t RX_BAD_BROADCAST_CNT;
    uint32_t RX_BAD_64B_PKT_CNT;
    uint32_t RX_BAD_65B_127B_PKT_CNT;
    uint32_t RX_BAD_128B_255B_PKT_CNT;
    uint32_t RX_BAD_256B_511B_PKT_CNT;
    uint32_t RX_BAD_512B_1023B_PKT_CNT;
    uint32_t RX_BAD_1024B_1518B_PKT_CNT;
    uint32_t RX_BAD_1519B_LTJ_PKT_CNT;
    uint32_t RX_BAD_JUMBO_PKT_CNT;
    uint32_t PM_COUNTER;
    uint32_t reserved;
} kelvane_hostport_pcs_counters;

/* ---- alarms --------------------------------------------------------------------------------------- */

/* Bits of a host port's word when the device's client_type is not 0 (Ethernet). */
enum kelvane_host_pcs_alarms_bit {
    KELVANE_HOST_PCS_TX_HOST_REMOTE_FLT = 7,
    KELVANE_HOST_PCS_TX_HOST_PCS_ERR_FLT = 6,
    KELVANE_HOST_PCS_TX_HOST_PCS_BIP_FLT = 5,
    KELVANE_HOST_PCS_TX_HOST_HI_BER = 4,
    KELVANE_HOST_PCS_TX_HOST_LOCAL_FLT = 3,
    KELVANE_HOST_PCS_TX_HOST_LOA = 2,
    KELVANE_HOST_PCS_TX_HOST_AM_LCK_FLT = 1,
    KELVANE_HOST_PCS_TX_HOST_BLK_LCK_FLT = 0,
};

/* Bits of a host port's word when client_type is 0 (OTN). */
enum kelvane_host_otn_alarms_bit {
    KELVANE_HOST_OTN_TX_HOST_LOS_3 = 9,
    KELVANE_HOST_OTN_TX_HOST_LOS_2 = 8,
    KELVANE_HOST_OTN_TX_HOST_LOS_1 = 7,
    KELVANE_HOST_OTN_TX_HOST_LOS_0 = 6,
    KELVANE_HOST_OTN_TX_HOST_LOL_3 = 5,
    KELVANE_HOST_OTN_TX_HOST_LOL_2 = 4,
    KELVANE_HOST_OTN_TX_HOST_LOL_1 = 3,
    KELVANE_HOST_OTN_TX_HOST_LOL_0 = 2,
    KELVANE_HOST_OTN_TX_HOST_LOSS_OF_ALGN = 1,
    KELVANE_HOST_OTN_TX_HOST_OUT_OF_ALGN = 0,
};

/* Bits of a network port's word. */
enum kelvane_ntwk_port_alarms_bit {
    KELVANE_NTWK_COUNTER_OVFL = 30,
    KELVANE_NTWK_RX_NTWK_LOF = 13,
    KELVANE_NTWK_RX_NTWK_OOF = 12,
    KELVANE_NTWK_RX_NTWK_LOM = 11,
    KELVANE_NTWK_RX_NTWK_OOM = 10,
    KELVANE_NTWK_RX_NTWK_BDI = 9,
    KELVANE_NTWK_RX_NTWK_LOCH = 8,
    KELVANE_NTWK_RX_NTWK_WAVE_LOL = 7,
    KELVANE_NTWK_RX_NTWK_PREFEC_HI_BER = 6,
    KELVANE_NTWK_SRN_HW_FLT = 5,
    KELVANE_NTWK_TX_NTWK_LOL = 4,
    KELVANE_NTWK_TX_NTWK_OUT_OF_ALGN = 3,
    KELVANE_NTWK_RX_NTWK_LOL = 2,
    KELVANE_NTWK_RX_NTWK_LOSS_OF_ALGN = 1,
    KELVANE_NTWK_RX_NTWK_OUT_OF_ALGN = 0,
};

/* Bits of a module's word. */
enum kelvane_xpm2_alarms_bit {
    KELVANE_XPM2_SUMMARY_ALRM = 31,
    KELVANE_XPM2_WRONG_CALDATA = 30,
    KELVANE_XPM2_FMEA_PIN_TEST = 17,
    KELVANE_XPM2_FMEA_MDIO_TEST = 16,
    KELVANE_XPM2_FMEA_PWR_TEST = 15,
    KELVANE_XPM2_FMEA_TEST = 14,
    KELVANE_XPM2_TX_NTWK_WAVE_OUT_OF_RANGE = 13,
    KELVANE_XPM2_RX_NTWK_WAVE_OUT_OF_RANGE = 12,
    KELVANE_XPM2_TX_NTWK_PWR_OUT_OF_RANGE = 11,
    KELVANE_XPM2_TX_NTWK_LASER_EOL = 10,
    KELVANE_XPM2_TX_NTWK_LASER_TEMP = 9,
    KELVANE_XPM2_RX_NTWK_SIG_OVL = 8,
    KELVANE_XPM2_RX_NTWK_PWR_OVL = 7,
    KELVANE_XPM2_RX_NTWK_PWR = 6,
    KELVANE_XPM2_RX_NTWK_LOS = 5,
    KELVANE_XPM2_TEMP = 4,
    KELVANE_XPM2_EXT_PWR_SUPPLY = 3,
    KELVANE_XPM2_INT_PWR_SUPPLY = 2,
    KELVANE_XPM2_IMAGE_CORRUPT = 1,
    KELVANE_XPM2_HW_FLT = 0,
};

/* Bits of the word of the sirane and the card. */
enum kelvane_generic_alarms_bit {
    KELVANE_GENERIC_SRN_SUMMARY_ALRM = 31,
    KELVANE_GENERIC_ORD_SUMMARY_ALRM = 30,
    KELVANE_GENERIC_ORD_EEP_FAIL = 12,
    KELVANE_GENERIC_SRN_VOLT_REGUL_FAIL = 10,
    KELVANE_GENERIC_SRN_ADC_FAIL = 9,
    KELVANE_GENERIC_SRN_HIPWR_FAIL = 8,
    KELVANE_GENERIC_SRN_LOPWR_FAIL = 7,
    KELVANE_GENERIC_SRN_MDIO_FAIL = 6,
    KELVANE_GENERIC_ORD_LCIDB_FAIL = 5,
    KELVANE_GENERIC_SRN_FAIL = 4,
    KELVANE_GENERIC_ORD_HW_FLT = 3,
    KELVANE_GENERIC_ORD_TEMP = 2,
    KELVANE_GENERIC_SRN_TEMP = 1,
    KELVANE_GENERIC_SRN_IMAGE_CORRUPT = 0,
};

/* All of a sirane, 36 bytes; a set bit is an active alarm. */
typedef struct global_alarms {
    uint32_t host[4]; /* enum kelvane_host_pcs_alarms_bit or kelvane_host_otn_alarms_bit, by client type */
    uint32_t ntwk_port[2];
    uint32_t xpm2[2];
    uint32_t generic;
} global_alarms;

/* ---- status --------------------------------------------------------------------------------------- */

/* Control and status registers of a sirane, 148 bytes. */
typedef struct {
    uint32_t SRN_CMD_ERR_ADDR;                          /* register 0xB00C */
    uint32_t SRN_CMD_ERR_DATA;                          /* register 0xB00D */
    uint32_t SRN_CMD_ERR_DATA_MASK;                     /* register 0xB00E */
    uint32_t SRN_CMD_ERR_STAT;                          /* register 0xB00F */
    uint32_t SRN_MOD_STATE;                             /* register 0xB016 */
    uint32_t SRN_TEMP_MON_A2D_VAL;                      /* register 0xB02F */
    uint32_t SRN_MOD_EXT_FUNC_STAT;                     /* register 0xB050 */
    uint32_t SRN_MOD_GEN_CNTL;                          /* register 0xB010 */
    uint32_t SRN_DEVICE_SETUP_CNTL;                     /* register 0x9010 */
    uint32_t SRN_NTWK_LANES_ENABLE_CNTL;                /* register 0x9018 */
    uint32_t SRN_HOST_LANES_CLIENT_INTF_DEF_CNTL;       /* register 0x9020 */
    uint32_t SRN_IND_LANES_CLIENT_TX_NTWK_LANE_MAP;     /* register 0x9030 */
    uint32_t SRN_COUPLED_LANES_CLIENT_TX_NTWK_LANE_MAP; /* register 0x9031 */
    uint32_t SRN_IND_LANES_NTWK_LANE_CLIENT_RX_MAP;     /* register 0x9040 */
    uint32_t SRN_COUPLED_LANES_NTWK_LANE_CLIENT_RX_MAP; /* register 0x9041 */
    uint32_t SRN_CLIENT_GEN_CNTL_INTF_0;                /* register 0x9200 */
    uint32_t SRN_CLIENT_GEN_CNTL_INTF_1;                /* register 0x9201 */
    uint32_t SRN_CLIENT_GEN_CNTL_INTF_2;                /* register 0x9202 */
    uint32_t SRN_CLIENT_GEN_CNTL_INTF_3;                /* register 0x9203 */
    uint32_t SRN_NTWK_FEC_MODE_CNTL_LN_0;               /* register 0x9100 */
    uint32_t SRN_NTWK_FEC_MODE_CNTL_LN_1;               /* register 0x9101 */
    uint32_t SRN_NTWK_TX_TURN_UP_STATE_LN_0;            /* register 0x9110 */
    uint32_t SRN_NTWK_TX_TURN_UP_STATE_LN_1;            /* register 0x9111 */
    uint32_t SRN_NTWK_RX_TURN_UP_STATE_LN_0;            /* register 0x9118 */
    uint32_t SRN_NTWK_RX_TURN_UP_STATE_LN_1;            /* register 0x9119 */
    uint32_t SRN_NTWK_TX_CNTL_LN_0;                     /* register 0x9120 */
    uint32_t SRN_NTWK_TX_CNTL_LN_1;                     /* register 0x9121 */
    uint32_t SRN_NTWK_RX_CNTL_LN_0;                     /* register 0x9128 */
    uint32_t SRN_NTWK_RX_CNTL_LN_1;                     /* register 0x9129 */
    uint32_t SRN_NTWK_PLL_BW_CNTL_LN_0;                 /* register 0x9130 */
    uint32_t SRN_NTWK_PLL_BW_CNTL_LN_1;                 /* register 0x9131 */
    float dac_vco_1;
    float dac_vco_2;
    float adc_vco_1;
    float adc_vco_2;
    uint32_t SRN_MOD_GEN_STAT;    /* register 0xB01D */
    uint32_t SRN_MOD_FLT_STAT_LH; /* register 0xB024 */
} kelvane_subsystem_status_t;

#endif
