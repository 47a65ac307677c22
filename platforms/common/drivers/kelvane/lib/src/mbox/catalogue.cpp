#include "mbox/catalogue.h"

#include "core/trace/trace.h"
#include "kelvane.h"

const mbox_data_row mbox_data_table[COMMAND_COUNT] = {
    {0, 0, 500, 0, 16},   // kelvane_set_traffic_type
    {1, 0, 500, 0, 12},   // kelvane_get_traffic_type
    {2, 0, 500, 0, 16},   // kelvane_set_laser
    {3, 0, 500, 0, 12},   // kelvane_get_laser
    {4, 0, 500, 0, 16},   // kelvane_set_laser_channel
    {5, 0, 500, 0, 16},   // kelvane_get_laser_channel
    {6, 0, 500, 0, 16},   // kelvane_set_laser_bright_tuning
    {7, 0, 500, 0, 16},   // kelvane_get_laser_bright_tuning
    {8, 0, 500, 0, 12},   // kelvane_set_optical_output_power
    {9, 0, 500, 0, 16},   // kelvane_read_register
    {10, 0, 500, 0, 16},  // kelvane_write_register
    {11, 0, 500, 0, 12},  // no operation
    {12, 0, 500, 0, 12},  // no operation
    {13, 0, 500, 0, 12},  // kelvane_diag_command
    {14, 0, 500, 0, 12},  // kelvane_download_software
    {15, 0, 500, 0, 12},  // kelvane_program_activate_software
    {16, 0, 500, 0, 4},   // kelvane_default_initialize
    {17, 0, 500, 0, 16},  // kelvane_is_xpm2_present
    {18, 0, 500, 0, 12},  // kelvane_set_pm_parameters
    {19, 0, 500, 0, 32},  // kelvane_get_xpm2_port_pm
    {20, 1, 500, 0, 136}, // kelvane_get_sirane_port_pm
    {21, 0, 500, 0, 40},  // kelvane_get_host_port_pm
    {22, 0, 500, 0, 16},  // kelvane_get_generic_pm
    {23, 1, 500, 0, 448}, // kelvane_get_global_pm
    {24, 1, 500, 0, 464}, // kelvane_enable_pm_notify, and its batches
    {25, 0, 500, 0, 12},  // no operation
    {26, 0, 500, 0, 12},  // kelvane_get_host_pcs_alarms
    {27, 0, 500, 0, 12},  // kelvane_get_host_otn_alarms
    {28, 0, 500, 0, 12},  // kelvane_get_nwtk_port_alarms
    {29, 0, 500, 0, 12},  // no operation
    {30, 0, 500, 0, 12},  // no operation
    {31, 0, 500, 0, 12},  // kelvane_get_generic_alarms
    {32, 0, 500, 0, 12},  // kelvane_get_xpm2_alarms
    {33, 0, 500, 0, 12},  // no operation
    {34, 0, 500, 0, 44},  // kelvane_get_global_alarms
    {35, 0, 500, 0, 56},  // kelvane_enable_alarms_notify, and its notifications
    {36, 0, 500, 0, 44},  // kelvane_force_global_alarms_notify
    {37, 0, 500, 0, 12},  // from the firmware: a module was plugged or unplugged
    {38, 2, 500, 0, 240}, // kelvane_get_xpm2_inventory_inf
    {39, 0, 500, 0, 12},  // kelvane_set_xpm2_simulated_oir
    {40, 1, 500, 0, 128}, // kelvane_global_provisioned_config
    {41, 0, 500, 0, 8},   // from the firmware: it restarts
    {42, 0, 500, 0, 12},  // kelvane_set_tx_disable
    {43, 0, 500, 0, 12},  // kelvane_set_xpm2_led
    {44, 0, 500, 0, 12},  // kelvane_get_xpm2_led
    {45, 0, 500, 0, 12},  // kelvane_set_network_loopback
    {46, 0, 500, 0, 12},  // kelvane_set_host_loopback
    {47, 0, 500, 0, 12},  // kelvane_get_host_loopback
    {48, 0, 500, 0, 12},  // kelvane_get_network_loopback
    {49, 0, 500, 0, 12},  // kelvane_set_rx_cd_low_search_value
    {50, 0, 500, 0, 12},  // kelvane_set_rx_cd_high_search_value
    {51, 0, 500, 0, 12},  // kelvane_get_rx_cd_low_search_value
    {52, 0, 500, 0, 12},  // kelvane_get_rx_cd_high_search_value
    {53, 0, 500, 0, 156}, // kelvane_get_subsystem_status_info
    {54, 0, 500, 0, 0},   // DAP message; never looked up here
    {55, 0, 500, 0, 8},   // kelvane_enable_keep_alive_notify
    {56, 0, 500, 0, 8},   // kelvane_set_arm_trace_level
    {57, 0, 500, 0, 12},  // kelvane_get_config_optical_output_power
    {58, 0, 500, 0, 12},  // kelvane_set_runtime_optical_output_power
    {59, 0, 500, 0, 8},   // kelvane_recover_device
    {60, 0, 500, 0, 12},  // kelvane_get_xpm2_status
    {61, 0, 500, 0, 240}, // kelvane_dbg_get_hostport_pcs_counters
    {62, 0, 500, 0, 12},  // kelvane_get_zynq_rsa_check
    {63, 0, 500, 0, 16},  // kelvane_set_laser_channel_flex_grid
    {64, 0, 500, 0, 16},  // kelvane_get_laser_channel_flex_grid
    {65, 0, 500, 0, 16},  // kelvane_set_cons_action
};

namespace {

int32_t get_column(uint32_t command, uint32_t mbox_data_row::*column, uint32_t *out, const char *function)
{
    if (command >= COMMAND_COUNT) {
        TRACE_AS(function, LEVEL_ERROR, NO_HANDLE, NO_ADDRESS, "command %d not valid ",
                 static_cast<int>(command));
        return KELVANE_RET_CODE_GEN_ERR;
    }
    *out = mbox_data_table[command].*column;
    return KELVANE_EOK;
}

} // namespace

int32_t kelvane_get_mbox_data_max_data_size(uint32_t command, uint32_t *out)
{
    *out = 0xFFFFFFFF;
    return get_column(command, &mbox_data_row::max_data_size, out, __func__);
}

int32_t kelvane_get_mbox_data_command_version(uint32_t command, uint32_t *out)
{
    *out = 0xFFFFFFFF;
    return get_column(command, &mbox_data_row::version, out, __func__);
}

int32_t kelvane_get_mbox_data_command_timeout_sec(uint32_t command, uint32_t *out)
{
    return get_column(command, &mbox_data_row::timeout_sec, out, __func__);
}

int32_t kelvane_get_mbox_data_command_timeout_nsec(uint32_t command, uint32_t *out)
{
    return get_column(command, &mbox_data_row::timeout_nsec, out, __func__);
}
