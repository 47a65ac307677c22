// What a user sets on a port and reads back: traffic type, laser, wavelength, power, loopbacks.
//
// An operation is its command and its words. The library neither keeps nor judges a value.
#include <bit>

#include "core/trace/trace.h"
#include "mbox/command.h"
#include "provisioning/value_names.h"

namespace {

uint32_t word(int32_t value)
{
    return static_cast<uint32_t>(value);
}

int32_t set(const operation &op, uint32_t value, uint32_t second = 0)
{
    return command_set(op, {op.handle, op.device_address, value, second});
}

// `value` goes out in the word in which the answer comes back.
int32_t get(const operation &op, uint32_t *out, uint32_t value = 0, uint32_t second = 0)
{
    return command_get(op, {op.handle, op.device_address, value, second}, out);
}

// Set laser and set traffic type: awaited if there is no callback, otherwise handed over and answered later.
// After a failed send the request stays in its table, and will be reported as timed out.
int32_t set_or_request(const operation &op, uint32_t value, uint32_t transaction_id,
                       kelvane_set_laser_cb fn_cb, uint32_t mode_level)
{
    int32_t rc = command_check(op);
    command c;
    if (rc == KELVANE_EOK) {
        rc = command_prepare(&c, op.command, {op.handle, op.device_address, value, transaction_id});
    }
    if (rc == KELVANE_EOK && fn_cb == nullptr) {
        rc = command_exchange(&c, op);
    } else if (rc == KELVANE_EOK) {
        TRACE_AS(op.function, mode_level, op.handle, op.device_address, "asynch mode ");
        rc = command_register(&c, op.handle, op.device_address, MBOX_RESPONSE,
                              KELVANE_ASYNCH_TYPE_OP_STANDARD_ASYNCH, {.completion = fn_cb});
        if (rc == KELVANE_EOK) {
            rc = command_send(&c, op.handle, op.device_address, op.function);
        }
    }
    if (rc != KELVANE_EOK) {
        return rc;
    }
    TRACE_AS(op.function, LEVEL_INFO, op.handle, op.device_address, "end ");
    return command_result(c); // KELVANE_EOK for a request that was handed over
}

} // namespace

int32_t kelvane_set_traffic_type(kelvane_handle handle, kelvane_device_address device_address,
                                 uint32_t traffic_type, kelvane_set_traffic_type_cb fn_cb,
                                 uint32_t transaction_id)
{
    TRACE(LEVEL_INFO, handle, device_address, " start traffic_type = %s ", traffic_type_name(traffic_type));
    return set_or_request({CMD_SET_TRAFFIC_TYPE, CHECK_NETWORK_PORT, __func__, handle, device_address},
                          traffic_type, transaction_id, fn_cb, LEVEL_INFO);
}

int32_t kelvane_set_laser(kelvane_handle handle, kelvane_device_address device_address, int32_t laser,
                          kelvane_set_laser_cb fn_cb, int32_t transaction_id)
{
    TRACE(LEVEL_INFO, handle, device_address, "start laser=%d transaction_id=%d ", laser, transaction_id);
    return set_or_request({CMD_SET_LASER, CHECK_NETWORK_PORT, __func__, handle, device_address}, word(laser),
                          word(transaction_id), fn_cb, LEVEL_DEBUG);
}

int32_t kelvane_get_traffic_type(kelvane_handle handle, kelvane_device_address device_address,
                                 uint32_t *traffic_type)
{
    // The only reading that sends a value: that of no traffic.
    return get({CMD_GET_TRAFFIC_TYPE, CHECK_NETWORK_PORT, __func__, handle, device_address}, traffic_type,
               KELVANE_TRAFFIC_TYPE_NONE);
}

int32_t kelvane_get_laser(kelvane_handle handle, kelvane_device_address device_address, uint32_t *laser)
{
    return get({CMD_GET_LASER, CHECK_NETWORK_PORT, __func__, handle, device_address}, laser);
}

int32_t kelvane_set_laser_channel(kelvane_handle handle, kelvane_device_address device_address,
                                  int32_t channel, int32_t tx_rx)
{
    return set({CMD_SET_LASER_CHANNEL, CHECK_NETWORK_PORT, __func__, handle, device_address}, word(channel),
               word(tx_rx));
}

int32_t kelvane_get_laser_channel(kelvane_handle handle, kelvane_device_address device_address,
                                  uint32_t *channel, int32_t tx_rx)
{
    return get({CMD_GET_LASER_CHANNEL, CHECK_NETWORK_PORT, __func__, handle, device_address}, channel, 0,
               word(tx_rx));
}

int32_t kelvane_set_laser_bright_tuning(kelvane_handle handle, kelvane_device_address device_address,
                                        int32_t bright_tuning, int32_t tx_rx)
{
    return set({CMD_SET_LASER_BRIGHT_TUNING, CHECK_NETWORK_PORT, __func__, handle, device_address},
               word(bright_tuning), word(tx_rx));
}

int32_t kelvane_get_laser_bright_tuning(kelvane_handle handle, kelvane_device_address device_address,
                                        uint32_t *bright_tuning, int32_t tx_rx)
{
    return get({CMD_GET_LASER_BRIGHT_TUNING, CHECK_NETWORK_PORT, __func__, handle, device_address},
               bright_tuning, 0, word(tx_rx));
}

int32_t kelvane_set_optical_output_power(kelvane_handle handle, kelvane_device_address device_address,
                                         float power)
{
    return set({CMD_SET_OPTICAL_OUTPUT_POWER, CHECK_NETWORK_PORT, __func__, handle, device_address},
               std::bit_cast<uint32_t>(power));
}

int32_t kelvane_set_optical_output_power_v2(kelvane_handle handle, kelvane_device_address device_address,
                                            int32_t power)
{
    const auto power_f = static_cast<float>(power);
    TRACE(LEVEL_INFO, handle, device_address, "start power %d power_f=%f ", power,
          static_cast<double>(power_f));
    return kelvane_set_optical_output_power(handle, device_address, power_f);
}

int32_t kelvane_get_config_optical_output_power(kelvane_handle handle, kelvane_device_address device_address,
                                                uint32_t *power)
{
    return get({CMD_GET_CONFIG_OPTICAL_OUTPUT_POWER, CHECK_NETWORK_PORT, __func__, handle, device_address},
               power);
}

int32_t kelvane_set_runtime_optical_output_power(kelvane_handle handle, kelvane_device_address device_address,
                                                 int32_t power)
{
    return set({CMD_SET_RUNTIME_OPTICAL_OUTPUT_POWER, CHECK_NETWORK_PORT, __func__, handle, device_address},
               word(power));
}

int32_t kelvane_is_xpm2_present(kelvane_handle handle, kelvane_device_address device_address,
                                uint32_t *is_present)
{
    return get({CMD_IS_XPM2_PRESENT, CHECK_NOTHING, __func__, handle, device_address}, is_present);
}

int32_t kelvane_set_xpm2_simulated_oir(kelvane_handle handle, kelvane_device_address device_address,
                                       uint32_t value)
{
    return set({CMD_SET_XPM2_SIMULATED_OIR, CHECK_NETWORK_PORT, __func__, handle, device_address}, value);
}

int32_t kelvane_set_tx_disable(kelvane_handle handle, kelvane_device_address device_address, uint32_t enable)
{
    return set({CMD_SET_TX_DISABLE, CHECK_NETWORK_PORT, __func__, handle, device_address}, enable);
}

int32_t kelvane_set_xpm2_led(kelvane_handle handle, kelvane_device_address device_address, uint32_t led)
{
    TRACE(LEVEL_INFO, handle, device_address, "start led = %s ", led_name(led));
    return set({CMD_SET_XPM2_LED, CHECK_NETWORK_PORT, __func__, handle, device_address}, led);
}

int32_t kelvane_get_xpm2_led(kelvane_handle handle, kelvane_device_address device_address, uint32_t *led)
{
    return get({CMD_GET_XPM2_LED, CHECK_NETWORK_PORT, __func__, handle, device_address}, led);
}

int32_t kelvane_set_network_loopback(kelvane_handle handle, kelvane_device_address device_address,
                                     int32_t enable)
{
    return set({CMD_SET_NETWORK_LOOPBACK, CHECK_NETWORK_PORT, __func__, handle, device_address},
               word(enable));
}

int32_t kelvane_get_network_loopback(kelvane_handle handle, kelvane_device_address device_address,
                                     uint32_t *enable)
{
    return get({CMD_GET_NETWORK_LOOPBACK, CHECK_NETWORK_PORT, __func__, handle, device_address}, enable);
}

int32_t kelvane_set_host_loopback(kelvane_handle handle, kelvane_device_address device_address,
                                  int32_t enable)
{
    return set({CMD_SET_HOST_LOOPBACK, CHECK_DEVICE, __func__, handle, device_address}, word(enable));
}

int32_t kelvane_get_host_loopback(kelvane_handle handle, kelvane_device_address device_address,
                                  uint32_t *enable)
{
    return get({CMD_GET_HOST_LOOPBACK, CHECK_DEVICE, __func__, handle, device_address}, enable);
}

int32_t kelvane_set_rx_cd_low_search_value(kelvane_handle handle, kelvane_device_address device_address,
                                           int32_t value)
{
    return set({CMD_SET_RX_CD_LOW_SEARCH_VALUE, CHECK_NETWORK_PORT, __func__, handle, device_address},
               word(value));
}

int32_t kelvane_set_rx_cd_high_search_value(kelvane_handle handle, kelvane_device_address device_address,
                                            int32_t value)
{
    return set({CMD_SET_RX_CD_HIGH_SEARCH_VALUE, CHECK_NETWORK_PORT, __func__, handle, device_address},
               word(value));
}

int32_t kelvane_get_rx_cd_low_search_value(kelvane_handle handle, kelvane_device_address device_address,
                                           uint32_t *value)
{
    return get({CMD_GET_RX_CD_LOW_SEARCH_VALUE, CHECK_NETWORK_PORT, __func__, handle, device_address}, value);
}

int32_t kelvane_get_rx_cd_high_search_value(kelvane_handle handle, kelvane_device_address device_address,
                                            uint32_t *value)
{
    return get({CMD_GET_RX_CD_HIGH_SEARCH_VALUE, CHECK_NETWORK_PORT, __func__, handle, device_address},
               value);
}

int32_t kelvane_set_laser_channel_flex_grid(kelvane_handle handle, kelvane_device_address device_address,
                                            int32_t channel, int32_t tx_rx)
{
    return set({CMD_SET_LASER_CHANNEL_FLEX_GRID, CHECK_NETWORK_PORT, __func__, handle, device_address},
               word(channel), word(tx_rx));
}

int32_t kelvane_get_laser_channel_flex_grid(kelvane_handle handle, kelvane_device_address device_address,
                                            uint32_t *channel, int32_t tx_rx)
{
    return get({CMD_GET_LASER_CHANNEL_FLEX_GRID, CHECK_NETWORK_PORT, __func__, handle, device_address},
               channel, 0, word(tx_rx));
}

int32_t kelvane_set_cons_action(kelvane_handle handle, kelvane_device_address device_address, int32_t ca,
                                int32_t status)
{
    TRACE(LEVEL_INFO, handle, device_address, "start ");
    command c; // the firmware's result is ignored: only failures of the exchange are returned
    return command_run(&c, {CMD_SET_CONS_ACTION, CHECK_SIRANE_ADDRESS, __func__, handle, device_address},
                       {handle, device_address, word(ca), word(status)});
}
