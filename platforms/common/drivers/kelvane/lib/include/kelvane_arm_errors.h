/* The firmware's error words; part of kelvane.h. */
#ifndef KELVANE_ARM_ERRORS_H
#define KELVANE_ARM_ERRORS_H

/* The firmware's error words: 32-bit words with the top bit set, here as the negative numbers that an
 * operation returns. KELVANE_ARM_ERROR(0x00010013) is the word 0x80010013. */
#define KELVANE_ARM_ERROR(low_31_bits) (-2147483647 - 1 + (low_31_bits))

/* Each word's name and its low 31 bits. Three words stand under two names; two names are told with a tab
 * after them. */
/* clang-format off */
#define KELVANE_ARM_ERRORS(ROW, ROW_WITH_TAB)                        \
    /* general */                                                    \
    ROW(ORDUNE_FAILURE, 0x00000001)                                  \
    ROW(ORDUNE_NOT_EXISTING_DEVICE, 0x00000003)                      \
    ROW(ORDUNE_NULL_POINTER, 0x00000005)                             \
    ROW(ORDUNE_INDEX_MISMATCH, 0x00000007)                           \
    ROW(ORDUNE_MUTEX_CREATE_FAILED, 0x00000009)                      \
    ROW(ORDUNE_MUTEX_DESTROY_FAILED, 0x0000000B)                     \
    ROW(ORDUNE_TOO_MANY_DEVICES, 0x0000000D)                         \
    ROW(ORDUNE_ALREADY_INITIALIZED, 0x0000000F)                      \
    ROW(ORDUNE_NOT_INITIALIZED, 0x00000011)                          \
    ROW(ORDUNE_MALLOC_FAILED, 0x00000013)                            \
    /* mailbox */                                                    \
    ROW(ORDUNE_MBOX_ERROR, 0x00010001)                               \
    ROW(ORDUNE_MBOX_FAIL_SNDPM, 0x00010003)                          \
    ROW(ORDUNE_MBOX_FAIL_SNDALM, 0x00010005)                         \
    ROW(ORDUNE_MBOX_FAIL_SNDCOMMAN, 0x00010007)                      \
    ROW(ORDUNE_MBOX_FAIL_SNDSEQTSK, 0x00010009)                      \
    ROW(ORDUNE_MBOX_FAIL_SNDMBOXTSK, 0x0001000B)                     \
    ROW(ORDUNE_MBOX_WRONG_STATE, 0x0001000D)                         \
    ROW(ORDUNE_MBOX_WRONG_ID, 0x0001000F)                            \
    ROW(ORDUNE_MBOX_NOBUFF, 0x00010011)                              \
    ROW(ORDUNE_MBOX_BUSY, 0x00010013)                                \
    /* command execution */                                          \
    ROW(ORDUNE_GENERIC_CMD_ERROR, 0x00100001)                        \
    ROW(ORDUNE_SLICE_NOT_AVAILABLE, 0x00100003)                      \
    ROW(ORDUNE_INVALID_CMD, 0x00100005)                              \
    ROW(ORDUNE_INVALID_PHY, 0x00100007)                              \
    ROW(ORDUNE_INVALID_LENGTH, 0x00100009)                           \
    ROW(ORDUNE_INVALID_PAGE, 0x0010000B)                             \
    ROW(ORDUNE_INVALID_DEV, 0x0010000D)                              \
    ROW(ORDUNE_TIMEOUT, 0x0010000F)                                  \
    ROW(ORDUNE_OPERATION_NOT_ALLOWED, 0x00100011)                    \
    ROW(ORDUNE_INTF_BUSY, 0x00100013)                                \
    ROW(ORDUNE_CMD_FAILED, 0x00100015)                               \
    ROW(ORDUNE_INVALID_DEVICE, 0x00100017)                           \
    ROW(ORDUNE_FSM_OPERATION_NOT_ALLOWED, 0x00100019)                \
    ROW(ORDUNE_UNABLE_SEND_MSG2EXECUTOR, 0x0010001B)                 \
    /* interface */                                                  \
    ROW(ORDUNE_GENERIC_INTERF_SET, 0x00200001)                       \
    ROW(ORDUNE_INVALID_RATE, 0x00200003)                             \
    /* upgrade and flash */                                          \
    ROW(ORDUNE_UPGRADE_ERROR, 0x00300001)                            \
    ROW(ORDUNE_MD5_FAIL, 0x00300003)                                 \
    ROW(ORDUNE_FLASH_ERASEERROR, 0x00300005)                         \
    ROW(ORDUNE_FLASH_WRITEERROR, 0x00300007)                         \
    ROW(ORDUNE_FLASH_WRONGDEV, 0x00300009)                           \
    ROW(ORDUNE_FLASH_READERROR, 0x0030000B)                          \
    ROW(ORDUNE_UPGRADE_IN_PROGRESS, 0x0030000D)                      \
    /* internal tasks */                                             \
    ROW(ORDUNE_INTERNAL_TASKS_ERROR, 0x00400001)                     \
    ROW(ORDUNE_ALL_SEQ_TASKS_BUSY, 0x00400003)                       \
    ROW(ORDUNE_ENQUEUE_MSG_FAILED, 0x00400005)                       \
    /* pluggable module */                                           \
    ROW(ORDUNE_XPM2_GENERIC_ERROR, 0x00500001)                       \
    ROW(ORDUNE_XPM2_PWRFAIL, 0x00500003)                             \
    ROW(ORDUNE_XPM2_POUTFAIL, 0x00500005)                            \
    ROW(ORDUNE_XPM2_WLFAIL, 0x00500007)                              \
    ROW(ORDUNE_XPM2_MODFAIL, 0x00500009)                             \
    ROW(ORDUNE_XPM2_GETSTATFAIL, 0x0050000B)                         \
    ROW(ORDUNE_XPM2_GETRDYFAIL, 0x0050000D)                          \
    ROW(ORDUNE_XPM2_ENODEV, 0x0050000F)                              \
    ROW(ORDUNE_XPM2_NOVALIDCAL, 0x00500011)                          \
    ROW(ORDUNE_XPM2_TUOUT, 0x00500013)                               \
    ROW(ORDUNE_XPM2_INVALIDDETECTION, 0x00500015)                    \
    ROW(ORDUNE_XPM2_REMOVEDONDETECTION, 0x00500017)                  \
    ROW(ORDUNE_XPM2_LASERON_INPROGRESS, 0x00500019)                  \
    ROW(ORDUNE_XPM2_FWDWL_ERR_CRC, 0x0050001B)                       \
    ROW(ORDUNE_XPM2_FWDWL_ERR_MODULE_BUSY, 0x0050001D)               \
    ROW(ORDUNE_XPM2_FWDWL_ERR_LENGHT, 0x0050001F)                    \
    ROW(ORDUNE_XPM2_FWDWL_ERR_FLASH_WRITE, 0x00500021)               \
    ROW(ORDUNE_XPM2_FWDWL_ERR_BAD_IMAGE, 0x00500023)                 \
    ROW(ORDUNE_XPM2_FWDWL_ERR_COMMIT_FAIL, 0x00500025)               \
    ROW(ORDUNE_XPM2_FWDWL_ERR_MODULE_POLL, 0x00500027)               \
    ROW(ORDUNE_XPM2_GET_OA_ERR, 0x00500029)                          \
    ROW(ORDUNE_XPM2_SET_OA_ERR, 0x0050002B)                          \
    ROW(ORDUNE_XPM2_UNKWON, 0x0050002D)                              \
    ROW(ORDUNE_XPM2_SATRT_SEMTUOUT, 0x0050002F)                      \
    ROW(ORDUNE_XPM2_PIN_INTERF_ERROR, 0x00500031)                    \
    /* `sirane` general */                                           \
    ROW(ORDUNE_SIRANE_GENERIC_ERROR, 0x00600001)                     \
    ROW(ORDUNE_SIRANE_BUSY, 0x00600003)                              \
    ROW(ORDUNE_SIRANE_MDIOCMD_FAIL, 0x00600005)                      \
    ROW(ORDUNE_SIRANE_MDIOCMD_TOUT, 0x00600007)                      \
    /* `sirane` firmware download */                                 \
    ROW(ORDUNE_SIRANE_FWDWL_FAIL, 0x00610001)                        \
    ROW(ORDUNE_SIRANE_SD_FAIL, 0x00610003)                           \
    ROW(ORDUNE_SIRANE_FWUPG_FAIL, 0x00610005)                        \
    ROW(ORDUNE_SIRANE_SLA_LOAD_FAIL, 0x00610007)                     \
    ROW(ORDUNE_SIRANE_SLA_SERVICE_FAIL, 0x00610009)                  \
    ROW(ORDUNE_SIRANE_SLA_ENABLE_FAIL, 0x0061000B)                   \
    ROW(ORDUNE_SIRANE_SLA_MDIOWTOUT, 0x0061000D)                     \
    ROW(ORDUNE_SIRANE_SLA_RD_MDIOWTOUT, 0x0061000F)                  \
    ROW(ORDUNE_SIRANE_SLA_WR_MDIOWTOUT, 0x00610011)                  \
    ROW(ORDUNE_SIRANE_SLA_FIFO_FAIL, 0x00610013)                     \
    ROW(ORDUNE_SIRANE_SLA_FIFO_MDIOWTOUT, 0x00610015)                \
    ROW(ORDUNE_SIRANE_FW_DWL_FAIL, 0x00610017)                       \
    ROW(ORDUNE_SIRANE_FW_DWL_MDIOWTOUT, 0x00610019)                  \
    ROW(ORDUNE_SIRANE_FW_DWL_MDIOWTOUTLOOP, 0x0061001B)              \
    ROW(ORDUNE_SIRANE_FW_DWL_BLOCK_FAIL, 0x0061001D)                 \
    ROW(ORDUNE_SIRANE_FW_DWL_MDIOWTOUTENDLOOP, 0x0061001F)           \
    ROW(ORDUNE_SIRANE_FW_DWL_MDIOWTOUT_RUNB, 0x00610021)             \
    ROW(ORDUNE_SIRANE_FW_DWL_FAIL_COMMIT, 0x00610023)                \
    /* `sirane` set laser */                                         \
    ROW(ORDUNE_SIRANE_SETLASER_ERROR, 0x00620001)                    \
    ROW(ORDUNE_SIRANE_SETLASER_CDB_MDIO_ERROR, 0x00620003)           \
    ROW(ORDUNE_SIRANE_SETLASER_CDB_ERROR, 0x00620005)                \
    ROW(ORDUNE_SIRANE_SETLASER_CDB_BUSY, 0x00620007)                 \
    ROW(ORDUNE_SIRANE_SETLASER_NOXPM_ERROR, 0x00620009)              \
    ROW(ORDUNE_SIRANE_SETLASER_FAIL2START, 0x0062000B)               \
    ROW(ORDUNE_SIRANE_SETLASER_RATENOTDUPPORTED, 0x0062000D)         \
    ROW(ORDUNE_SIRANE_SETLASER_HOST_TUNE_ERR, 0x0062000F)            \
    ROW(ORDUNE_SIRANE_SETLASER_PWRFAIL2START, 0x00620011)            \
    ROW(ORDUNE_SIRANE_SETLASER_PWRFAIL2STOP, 0x00620011)             \
    /* `sirane` power */                                             \
    ROW(ORDUNE_SIRANE_PWR_FAIL, 0x00630001)                          \
    ROW(ORDUNE_SIRANE_PWR_5V_FAIL, 0x00630003)                       \
    ROW(ORDUNE_SIRANE_PWR_UNRST_FAIL, 0x00630005)                    \
    ROW(ORDUNE_SIRANE_PWR_RST_FAIL, 0x00630007)                      \
    /* `sirane` network configuration */                             \
    ROW(ORDUNE_SIRANE_NTWCFG_ERROR, 0x00700001)                      \
    ROW(ORDUNE_SIRANE_NTWCFG_INVRATE, 0x00700003)                    \
    /* MDIO */                                                       \
    ROW(ORDUNE_MDIO_ERROR, 0x00800001)                               \
    ROW(ORDUNE_MDIO_SEM_ERROR, 0x00800003)                           \
    ROW(ORDUNE_MDIO_INTF_BUSY_ERROR, 0x00800005)                     \
    ROW(ORDUNE_MDIO_TOUT, 0x00800007)                                \
    ROW(ORDUNE_MDIO_SEM_BUSY_ERROR, 0x00800009)                      \
    /* control loop */                                               \
    ROW(ORDUNE_CNTL_LOOP_ERROR, 0x00900001)                          \
    ROW(ORDUNE_CNTL_LOOP_RATENS, 0x00900003)                         \
    /* sequence task */                                              \
    ROW(ORDUNE_MBOX_CMDINTR_ERROR, 0x01000001)                       \
    ROW_WITH_TAB(ERROR_PWR_UP_5V, 0x01000003)                        \
    ROW(ERROR_PWR_UP_5V_SIRANE_0, 0x01000003)                        \
    ROW(ERROR_PWR_UP_5V_SIRANE_1, 0x01000005)                        \
    ROW(ERROR_PWR_UP_5V_SIRANE_2, 0x01000007)                        \
    ROW(ERROR_SRN_HI_PWR, 0x01000009)                                \
    ROW(ERROR_SRN_UNRESET, 0x0100000B)                               \
    ROW(ERROR_SRN_UNRESET_0, 0x0100000B)                             \
    ROW(ERROR_SRN_UNRESET_1, 0x0100000D)                             \
    ROW(ERROR_SRN_UNRESET_2, 0x0100000F)                             \
    ROW(ERROR_SRN_LOW_PWR, 0x01000011)                               \
    ROW(ERROR_DOWNLOAD, 0x01000013)                                  \
    ROW(ERROR_SET_TRAFFIC, 0x01000015)                               \
    ROW(ERROR_GET_TRAFFIC, 0x01000017)                               \
    ROW(ERROR_WRONG_CMD_ATSEQUENCETASK, 0x01001001)                  \
    /* PM notification */                                            \
    ROW(ERROR_PM_NOTIFY, 0x01200001)                                 \
    ROW(ERROR_PM_NOTIFY_SEMTOUT, 0x01200003)                         \
    /* host alarm notification */                                    \
    ROW(ERROR_HOST_ALARM_NOTIFY, 0x01300001)                         \
    ROW(ERROR_HOST_ALARM_NOTIFY_SEMTOUT, 0x01300003)                 \
    /* network alarm notification */                                 \
    ROW(ERROR_NTWK_ALARM_NOTIFY, 0x01400001)                         \
    ROW(ERROR_NTWK_ALARM_NOTIFY_SEMTOUT, 0x01400003)                 \
    /* global alarm notification */                                  \
    ROW(ERROR_GLB_ALARM_NOTIFY, 0x01500001)                          \
    ROW(ERROR_GLB_ALARM_NOTIFY_SEMTOUT, 0x01500003)                  \
    /* generic alarm notification */                                 \
    ROW(ERROR_GENERIC_ALARM_NOTIFY, 0x01550001)                      \
    ROW(ERROR_GENERIC_ALARM_NOTIFY_SEMTOUT, 0x01550003)              \
    /* module alarm notification */                                  \
    ROW(ERROR_XPM2_ALARM_NOTIFY, 0x01600001)                         \
    ROW(ERROR_XPM2_ALARM_NOTIFY_SEMTOUT, 0x01600003)                 \
    /* calibration */                                                \
    ROW(ORDUNE_CALIBRATION_ERROR, 0x02000001)                        \
    /* card calibration */                                           \
    ROW(ORDUNE_CAL_CARD_IDB_ERROR, 0x02100001)                       \
    ROW(ORDUNE_CAL_CARD_IDBCRC_ERROR, 0x02100003)                    \
    ROW(ORDUNE_CAL_CARD_IDBENTRY_HEADERENDIAN_ERROR, 0x02100005)     \
    ROW(ORDUNE_CAL_CARD_IDBENTRY_ST_TYPE_IDCODE_ERROR, 0x02100007)   \
    ROW(ORDUNE_CAL_CARD_IDBENTRY_ST_PAYLOAD_SIZE_ERROR, 0x02100009)  \
    ROW(ORDUNE_CAL_CARD_IDBENTRY_VER_ERROR, 0x0210000B)              \
    ROW(ORDUNE_CAL_CARD_IDBENTRY_ST_TARGET_ERROR, 0x0210000D)        \
    ROW(ORDUNE_CAL_CARD_IDBENTRY_END_ENTRYID_ERROR, 0x0210000F)      \
    ROW(ORDUNE_CAL_CARD_IDBENTRY_END_TYPE_CODE_ID_ERROR, 0x02100011) \
    ROW(ORDUNE_CAL_CARD_IDBENTRY_END_PAYLOAD_SIZE_ERROR, 0x02100013) \
    ROW(ORDUNE_CAL_CARD_IDBENTRY_NOT_FOUND_ERROR, 0x02100015)        \
    ROW(ORDUNE_CAL_CARD_NETWORK_NOT_FOUND_ERROR, 0x02100017)         \
    ROW(ORDUNE_CAL_CARD_MIRANE_DEF_USED, 0x02100019)                 \
    ROW(ORDUNE_CAL_CARD_TOLVAN_DEF_USED, 0x0210001B)                 \
    /* module calibration */                                         \
    ROW(ORDUNE_CAL_XPM_ERROR, 0x02200001)                            \
    ROW(ORDUNE_CAL_CALDATA_ERROR, 0x02200003)                        \
    /* RSA */                                                        \
    ROW(ORDUNE_RSA_ERROR, 0x04000001)                                \
    ROW_WITH_TAB(ORDUNE_RSA_RDFLAG_ERROR, 0x04000003)                \
    ROW(ORDUNE_RSA_RDPPK_ERROR, 0x04000005)                          \
    ROW(ORDUNE_RSA_CHCK_ERROR, 0x04000007)                           \
    /* PM task */                                                    \
    ROW(ORDUNE_PMTASK_ERROR, 0x05000001)                             \
    ROW(ORDUNE_PMTASK_SIRANESTAT_ERROR, 0x05000003)                  \
    ROW(ORDUNE_PMTASK_SIRANEPM_ERROR, 0x05000005)                    \
    ROW(ORDUNE_PMTASK_COUNTEROVERFLOW_ERROR, 0x05000007)             \
    /* QSPI */                                                       \
    ROW(ORDUNE_QSPI_ERROR, 0x08000001)                               \
    ROW(ORDUNE_QSPI_SERVER_ERROR, 0x08000003)
/* clang-format on */

#define KELVANE_ARM_ERROR_ENUMERATOR(name, low_31_bits) name = KELVANE_ARM_ERROR(low_31_bits),
enum kelvane_arm_error { KELVANE_ARM_ERRORS(KELVANE_ARM_ERROR_ENUMERATOR, KELVANE_ARM_ERROR_ENUMERATOR) };
#undef KELVANE_ARM_ERROR_ENUMERATOR

#endif
