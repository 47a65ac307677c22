#include "mbox/catalogue.h"

#include "core/trace/trace.h"
#include "kelvane.h"

const mbox_data_row mbox_data_table[COMMAND_COUNT] = {
    {.command = CMD_SET_TRAFFIC_TYPE, .max_data_size = 16, .path = OWN_PATH, .answer = ANSWER_TRAFFIC_TYPE},
    {.command = CMD_GET_TRAFFIC_TYPE, .max_data_size = 12, .path = OWN_PATH},
    {.command = CMD_SET_LASER, .max_data_size = 16, .path = OWN_PATH, .answer = ANSWER_LASER},
    {.command = CMD_GET_LASER, .max_data_size = 12, .path = OWN_PATH},
    {.command = CMD_SET_LASER_CHANNEL, .max_data_size = 16, .path = OWN_PATH},
    {.command = CMD_GET_LASER_CHANNEL, .max_data_size = 16, .path = OWN_PATH},
    {.command = CMD_SET_LASER_BRIGHT_TUNING, .max_data_size = 16, .path = OWN_PATH},
    {.command = CMD_GET_LASER_BRIGHT_TUNING, .max_data_size = 16, .path = OWN_PATH},
    {.command = CMD_SET_OPTICAL_OUTPUT_POWER, .max_data_size = 12, .path = OWN_PATH},
    {.command = CMD_READ_REGISTER, .max_data_size = 16, .path = SPACED_PATH},
    {.command = CMD_WRITE_REGISTER, .max_data_size = 16, .path = SPACED_PATH},
    {.command = CMD_UNUSED_11, .max_data_size = 12},
    {.command = CMD_UNUSED_12, .max_data_size = 12},
    {.command = CMD_DIAG_COMMAND, .max_data_size = 12, .path = SPACED_PATH},
    {.command = CMD_DOWNLOAD_SOFTWARE, .max_data_size = 12},
    {.command = CMD_PROGRAM_ACTIVATE_SOFTWARE, .max_data_size = 12},
    {.command = CMD_DEFAULT_INITIALIZE, .max_data_size = 4},
    {.command = CMD_IS_XPM2_PRESENT, .max_data_size = 16},
    {.command = CMD_SET_PM_PARAMETERS, .max_data_size = 12},
    {.command = CMD_GET_XPM2_PORT_PM, .max_data_size = 32},
    {.command = CMD_GET_SIRANE_PORT_PM, .version = 1, .max_data_size = 136},
    {.command = CMD_GET_HOST_PORT_PM, .max_data_size = 40},
    {.command = CMD_GET_GENERIC_PM, .max_data_size = 16},
    {.command = CMD_GET_GLOBAL_PM, .version = 1, .max_data_size = 448},
    {.command = CMD_ENABLE_PM_NOTIFY, .version = 1, .max_data_size = 464, .answer = ANSWER_PERFORMANCE},
    {.command = CMD_UNUSED_25, .max_data_size = 12},
    {.command = CMD_GET_HOST_PCS_ALARMS, .max_data_size = 12},
    {.command = CMD_GET_HOST_OTN_ALARMS, .max_data_size = 12},
    {.command = CMD_GET_NWTK_PORT_ALARMS, .max_data_size = 12},
    {.command = CMD_UNUSED_29, .max_data_size = 12},
    {.command = CMD_UNUSED_30, .max_data_size = 12},
    {.command = CMD_GET_GENERIC_ALARMS, .max_data_size = 12},
    {.command = CMD_GET_XPM2_ALARMS, .max_data_size = 12},
    {.command = CMD_UNUSED_33, .max_data_size = 12},
    {.command = CMD_GET_GLOBAL_ALARMS, .max_data_size = 44},
    {.command = CMD_ENABLE_ALARMS_NOTIFY, .max_data_size = 56, .answer = ANSWER_ALARMS},
    {.command = CMD_FORCE_GLOBAL_ALARMS_NOTIFY, .max_data_size = 44},
    {.command = CMD_NOTIFY_PLUGIN, .max_data_size = 12, .answer = ANSWER_PLUGIN},
    {.command = CMD_GET_XPM2_INVENTORY_INF, .version = 2, .max_data_size = 240, .path = OWN_PATH},
    {.command = CMD_SET_XPM2_SIMULATED_OIR, .max_data_size = 12},
    {.command = CMD_GLOBAL_PROVISIONED_CONFIG, .version = 1, .max_data_size = 128},
    {.command = CMD_APP_ZYNQ_RESTART_NOTIFY, .max_data_size = 8, .answer = ANSWER_RESTART},
    {.command = CMD_SET_TX_DISABLE, .max_data_size = 12},
    {.command = CMD_SET_XPM2_LED, .max_data_size = 12},
    {.command = CMD_GET_XPM2_LED, .max_data_size = 12},
    {.command = CMD_SET_NETWORK_LOOPBACK, .max_data_size = 12},
    {.command = CMD_SET_HOST_LOOPBACK, .max_data_size = 12},
    {.command = CMD_GET_HOST_LOOPBACK, .max_data_size = 12},
    {.command = CMD_GET_NETWORK_LOOPBACK, .max_data_size = 12},
    {.command = CMD_SET_RX_CD_LOW_SEARCH_VALUE, .max_data_size = 12},
    {.command = CMD_SET_RX_CD_HIGH_SEARCH_VALUE, .max_data_size = 12},
    {.command = CMD_GET_RX_CD_LOW_SEARCH_VALUE, .max_data_size = 12},
    {.command = CMD_GET_RX_CD_HIGH_SEARCH_VALUE, .max_data_size = 12},
    {.command = CMD_GET_SUBSYSTEM_STATUS_INFO, .max_data_size = 156},
    {.command = CMD_DAP_MESSAGE, .max_data_size = 0},
    {.command = CMD_ENABLE_KEEP_ALIVE_NOTIFY, .max_data_size = 8},
    {.command = CMD_SET_ARM_TRACE_LEVEL, .max_data_size = 8},
    {.command = CMD_GET_CONFIG_OPTICAL_OUTPUT_POWER, .max_data_size = 12},
    {.command = CMD_SET_RUNTIME_OPTICAL_OUTPUT_POWER, .max_data_size = 12, .path = OWN_PATH},
    {.command = CMD_RECOVER_DEVICE, .max_data_size = 8},
    {.command = CMD_GET_XPM2_STATUS, .max_data_size = 12},
    {.command = CMD_DBG_GET_HOSTPORT_PCS_COUNTERS, .max_data_size = 240},
    {.command = CMD_GET_ZYNQ_RSA_CHECK, .max_data_size = 12},
    {.command = CMD_SET_LASER_CHANNEL_FLEX_GRID, .max_data_size = 16},
    {.command = CMD_GET_LASER_CHANNEL_FLEX_GRID, .max_data_size = 16},
    {.command = CMD_SET_CONS_ACTION, .max_data_size = 16},
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
