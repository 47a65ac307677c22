// The firmware's commands: CMD_SET_LASER is number 2, command_names[2] is "set_laser". An operation sends the
// command of the same name. NOTIFY_PLUGIN and APP_ZYNQ_RESTART_NOTIFY come from the firmware, DAP_MESSAGE
// never travels through a command mailbox, and the UNUSED ones are never sent.
#ifndef KELVANE_COMMANDS_H
#define KELVANE_COMMANDS_H

#include <cstdint>

// clang-format off
#define KELVANE_COMMANDS(ROW)                                                            \
    ROW(0, SET_TRAFFIC_TYPE, "set_traffic_type")                                         \
    ROW(1, GET_TRAFFIC_TYPE, "get_traffic_type")                                         \
    ROW(2, SET_LASER, "set_laser")                                                       \
    ROW(3, GET_LASER, "get_laser")                                                       \
    ROW(4, SET_LASER_CHANNEL, "set_laser_channel")                                       \
    ROW(5, GET_LASER_CHANNEL, "get_laser_channel")                                       \
    ROW(6, SET_LASER_BRIGHT_TUNING, "set_laser_bright_tuning")                           \
    ROW(7, GET_LASER_BRIGHT_TUNING, "get_laser_bright_tuning")                           \
    ROW(8, SET_OPTICAL_OUTPUT_POWER, "set_optical_output_power")                         \
    ROW(9, READ_REGISTER, "read_register")                                               \
    ROW(10, WRITE_REGISTER, "write_register")                                            \
    ROW(11, UNUSED_11, "unused_11")                                                      \
    ROW(12, UNUSED_12, "unused_12")                                                      \
    ROW(13, DIAG_COMMAND, "diag_command")                                                \
    ROW(14, DOWNLOAD_SOFTWARE, "download_software")                                      \
    ROW(15, PROGRAM_ACTIVATE_SOFTWARE, "program_activate_software")                      \
    ROW(16, DEFAULT_INITIALIZE, "default_initialize")                                    \
    ROW(17, IS_XPM2_PRESENT, "is_xpm2_present")                                          \
    ROW(18, SET_PM_PARAMETERS, "set_pm_parameters")                                      \
    ROW(19, GET_XPM2_PORT_PM, "get_xpm2_port_pm")                                        \
    ROW(20, GET_SIRANE_PORT_PM, "get_sirane_port_pm")                                    \
    ROW(21, GET_HOST_PORT_PM, "get_host_port_pm")                                        \
    ROW(22, GET_GENERIC_PM, "get_generic_pm")                                            \
    ROW(23, GET_GLOBAL_PM, "get_global_pm")                                              \
    ROW(24, ENABLE_PM_NOTIFY, "enable_pm_notify")                                        \
    ROW(25, UNUSED_25, "unused_25")                                                      \
    ROW(26, GET_HOST_PCS_ALARMS, "get_host_pcs_alarms")                                  \
    ROW(27, GET_HOST_OTN_ALARMS, "get_host_otn_alarms")                                  \
    ROW(28, GET_NWTK_PORT_ALARMS, "get_nwtk_port_alarms")                                \
    ROW(29, UNUSED_29, "unused_29")                                                      \
    ROW(30, UNUSED_30, "unused_30")                                                      \
    ROW(31, GET_GENERIC_ALARMS, "get_generic_alarms")                                    \
    ROW(32, GET_XPM2_ALARMS, "get_xpm2_alarms")                                          \
    ROW(33, UNUSED_33, "unused_33")                                                      \
    ROW(34, GET_GLOBAL_ALARMS, "get_global_alarms")                                      \
    ROW(35, ENABLE_ALARMS_NOTIFY, "enable_alarms_notify")                                \
    ROW(36, FORCE_GLOBAL_ALARMS_NOTIFY, "force_global_alarms_notify")                    \
    ROW(37, NOTIFY_PLUGIN, "notify_plugin")                                              \
    ROW(38, GET_XPM2_INVENTORY_INF, "get_xpm2_inventory_inf")                            \
    ROW(39, SET_XPM2_SIMULATED_OIR, "set_xpm2_simulated_oir")                            \
    ROW(40, GLOBAL_PROVISIONED_CONFIG, "global_provisioned_config")                      \
    ROW(41, APP_ZYNQ_RESTART_NOTIFY, "app_zynq_restart_notify")                          \
    ROW(42, SET_TX_DISABLE, "set_tx_disable")                                            \
    ROW(43, SET_XPM2_LED, "set_xpm2_led")                                                \
    ROW(44, GET_XPM2_LED, "get_xpm2_led")                                                \
    ROW(45, SET_NETWORK_LOOPBACK, "set_network_loopback")                                \
    ROW(46, SET_HOST_LOOPBACK, "set_host_loopback")                                      \
    ROW(47, GET_HOST_LOOPBACK, "get_host_loopback")                                      \
    ROW(48, GET_NETWORK_LOOPBACK, "get_network_loopback")                                \
    ROW(49, SET_RX_CD_LOW_SEARCH_VALUE, "set_rx_cd_low_search_value")                    \
    ROW(50, SET_RX_CD_HIGH_SEARCH_VALUE, "set_rx_cd_high_search_value")                  \
    ROW(51, GET_RX_CD_LOW_SEARCH_VALUE, "get_rx_cd_low_search_value")                    \
    ROW(52, GET_RX_CD_HIGH_SEARCH_VALUE, "get_rx_cd_high_search_value")                  \
    ROW(53, GET_SUBSYSTEM_STATUS_INFO, "get_subsystem_status_info")                      \
    ROW(54, DAP_MESSAGE, "dap_message")                                                  \
    ROW(55, ENABLE_KEEP_ALIVE_NOTIFY, "enable_keep_alive_notify")                        \
    ROW(56, SET_ARM_TRACE_LEVEL, "set_arm_trace_level")                                  \
    ROW(57, GET_CONFIG_OPTICAL_OUTPUT_POWER, "get_config_optical_output_power")          \
    ROW(58, SET_RUNTIME_OPTICAL_OUTPUT_POWER, "set_runtime_optical_output_power")        \
    ROW(59, RECOVER_DEVICE, "recover_device")                                            \
    ROW(60, GET_XPM2_STATUS, "get_xpm2_status")                                          \
    ROW(61, DBG_GET_HOSTPORT_PCS_COUNTERS, "dbg_get_hostport_pcs_counters")              \
    ROW(62, GET_ZYNQ_RSA_CHECK, "get_zynq_rsa_check")                                    \
    ROW(63, SET_LASER_CHANNEL_FLEX_GRID, "set_laser_channel_flex_grid")                  \
    ROW(64, GET_LASER_CHANNEL_FLEX_GRID, "get_laser_channel_flex_grid")                  \
    ROW(65, SET_CONS_ACTION, "set_cons_action")
// clang-format on

#define KELVANE_COMMAND_ID(number, name, text) CMD_##name = (number),
enum command_id : uint32_t { KELVANE_COMMANDS(KELVANE_COMMAND_ID) COMMAND_COUNT };
#undef KELVANE_COMMAND_ID

#define KELVANE_COMMAND_NAME(number, name, text) text,
constexpr const char *command_names[COMMAND_COUNT] = {KELVANE_COMMANDS(KELVANE_COMMAND_NAME)};
#undef KELVANE_COMMAND_NAME

#endif
