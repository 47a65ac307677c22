// What a user sets on a port and reads back: traffic type, laser, wavelength, power, loopbacks.
//
// An operation is its command and its words. The library keeps and judges no value.
#include <bit>

#include "core/trace/trace.h"
#include "mbox/command.h"
#include "provisioning/value_names.h"

namespace {

uint32_t word(int32_t value)
{
    return static_cast<uint32_t>(value);
}

// The two words behind handle and address; a command of three words has no second.
int32_t run(command *c, const operation &op, uint32_t value, uint32_t second)
{
    TRACE_AS(op.function, LEVEL_INFO, op.handle, op.device_address, "start ");
    return command_run(c, op, {op.handle, op.device_address, value, second});
}

int32_t set(const operation &op, uint32_t value, uint32_t second = 0)
{
    command c;
    const int32_t rc = run(&c, op, value, second);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    TRACE_AS(op.function, LEVEL_INFO, op.handle, op.device_address, "end ");
    return command_result(c);
}

// `value` is what goes out in the place of the answer.
int32_t get(const operation &op, uint32_t *out, uint32_t value = 0, uint32_t second = 0)
{
    command c;
    const int32_t rc = run(&c, op, value, second);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    *out = c.response.word[2];
    TRACE_AS(op.function, LEVEL_INFO, op.handle, op.device_address, "end value = %08x ", *out);
    return command_result(c);
}

// Set laser and set traffic type: awaited without a callback, otherwise handed over and answered later.
// After a failed sending the request stays in its table and is reported as timed out.
int32_t set_or_request(const operation &op, uint32_t value, uint32_t transaction_id, asynch_callback fn_cb,
                       uint32_t mode_level)
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
                              KELVANE_ASYNCH_TYPE_OP_STANDARD_ASYNCH, fn_cb);
        if (rc == KELVANE_EOK) {
            rc = command_send(&c, op.handle, op.device_address, op.function);
        }
    }
    if (rc != KELVANE_EOK) {
        return rc;
    }
    TRACE_AS(op.function, LEVEL_INFO, op.handle, op.device_address, "end ");
    return command_result(c); // 0 for a request that was handed over
}

} // namespace

int32_t kelvane_set_traffic_type(kelvane_handle handle, kelvane_device_address device_address,
                                 uint32_t traffic_type, kelvane_set_traffic_type_cb fn_cb,
                                 uint32_t transaction_id)
{
    TRACE(LEVEL_INFO, handle, device_address, " start traffic_type = %s ", traffic_type_name(traffic_type));
    return set_or_request({0, OWN_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, traffic_type,
                          transaction_id, reinterpret_cast<asynch_callback>(fn_cb), LEVEL_INFO);
}

int32_t kelvane_set_laser(kelvane_handle handle, kelvane_device_address device_address, int32_t laser,
                          kelvane_set_laser_cb fn_cb, int32_t transaction_id)
{
    TRACE(LEVEL_INFO, handle, device_address, "start laser=%d transaction_id=%d ", laser, transaction_id);
    return set_or_request({2, OWN_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, word(laser),
                          word(transaction_id), reinterpret_cast<asynch_callback>(fn_cb), LEVEL_DEBUG);
}

int32_t kelvane_get_traffic_type(kelvane_handle handle, kelvane_device_address device_address,
                                 uint32_t *traffic_type)
{
    // Alone among the readings it sends a value, that of no traffic.
    return get({1, OWN_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, traffic_type,
               KELVANE_TRAFFIC_TYPE_NONE);
}

int32_t kelvane_get_laser(kelvane_handle handle, kelvane_device_address device_address, uint32_t *laser)
{
    return get({3, OWN_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, laser);
}

int32_t kelvane_set_laser_channel(kelvane_handle handle, kelvane_device_address device_address,
                                  int32_t channel, int32_t tx_rx)
{
    return set({4, OWN_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, word(channel),
               word(tx_rx));
}

int32_t kelvane_get_laser_channel(kelvane_handle handle, kelvane_device_address device_address,
                                  uint32_t *channel, int32_t tx_rx)
{
    return get({5, OWN_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, channel, 0, word(tx_rx));
}

int32_t kelvane_set_laser_bright_tuning(kelvane_handle handle, kelvane_device_address device_address,
                                        int32_t bright_tuning, int32_t tx_rx)
{
    return set({6, OWN_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, word(bright_tuning),
               word(tx_rx));
}

int32_t kelvane_get_laser_bright_tuning(kelvane_handle handle, kelvane_device_address device_address,
                                        uint32_t *bright_tuning, int32_t tx_rx)
{
    return get({7, OWN_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, bright_tuning, 0,
               word(tx_rx));
}

int32_t kelvane_set_optical_output_power(kelvane_handle handle, kelvane_device_address device_address,
                                         float power)
{
    return set({8, OWN_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address},
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
    return get({57, SHARED_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, power);
}

int32_t kelvane_set_runtime_optical_output_power(kelvane_handle handle, kelvane_device_address device_address,
                                                 int32_t power)
{
    return set({58, OWN_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, word(power));
}

int32_t kelvane_is_xpm2_present(kelvane_handle handle, kelvane_device_address device_address,
                                uint32_t *is_present)
{
    return get({17, SHARED_PATH, CHECK_NOTHING, __func__, handle, device_address}, is_present);
}

int32_t kelvane_set_xpm2_simulated_oir(kelvane_handle handle, kelvane_device_address device_address,
                                       uint32_t value)
{
    return set({39, SHARED_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, value);
}

int32_t kelvane_set_tx_disable(kelvane_handle handle, kelvane_device_address device_address, uint32_t enable)
{
    return set({42, SHARED_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, enable);
}

int32_t kelvane_set_xpm2_led(kelvane_handle handle, kelvane_device_address device_address, uint32_t led)
{
    TRACE(LEVEL_INFO, handle, device_address, "start led = %s ", led_name(led));
    return set({43, SHARED_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, led);
}

int32_t kelvane_get_xpm2_led(kelvane_handle handle, kelvane_device_address device_address, uint32_t *led)
{
    return get({44, SHARED_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, led);
}

int32_t kelvane_set_network_loopback(kelvane_handle handle, kelvane_device_address device_address,
                                     int32_t enable)
{
    return set({45, SHARED_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, word(enable));
}

int32_t kelvane_get_network_loopback(kelvane_handle handle, kelvane_device_address device_address,
                                     uint32_t *enable)
{
    return get({48, SHARED_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, enable);
}

int32_t kelvane_set_host_loopback(kelvane_handle handle, kelvane_device_address device_address,
                                  int32_t enable)
{
    return set({46, SHARED_PATH, CHECK_DEVICE, __func__, handle, device_address}, word(enable));
}

int32_t kelvane_get_host_loopback(kelvane_handle handle, kelvane_device_address device_address,
                                  uint32_t *enable)
{
    return get({47, SHARED_PATH, CHECK_DEVICE, __func__, handle, device_address}, enable);
}

int32_t kelvane_set_rx_cd_low_search_value(kelvane_handle handle, kelvane_device_address device_address,
                                           int32_t value)
{
    return set({49, SHARED_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, word(value));
}

int32_t kelvane_set_rx_cd_high_search_value(kelvane_handle handle, kelvane_device_address device_address,
                                            int32_t value)
{
    return set({50, SHARED_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, word(value));
}

int32_t kelvane_get_rx_cd_low_search_value(kelvane_handle handle, kelvane_device_address device_address,
                                           uint32_t *value)
{
    return get({51, SHARED_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, value);
}

int32_t kelvane_get_rx_cd_high_search_value(kelvane_handle handle, kelvane_device_address device_address,
                                            uint32_t *value)
{
    return get({52, SHARED_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, value);
}

int32_t kelvane_set_laser_channel_flex_grid(kelvane_handle handle, kelvane_device_address device_address,
                                            int32_t channel, int32_t tx_rx)
{
    return set({63, SHARED_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, word(channel),
               word(tx_rx));
}

int32_t kelvane_get_laser_channel_flex_grid(kelvane_handle handle, kelvane_device_address device_address,
                                            uint32_t *channel, int32_t tx_rx)
{
    return get({64, SHARED_PATH, CHECK_NETWORK_PORT, __func__, handle, device_address}, channel, 0,
               word(tx_rx));
}

int32_t kelvane_set_cons_action(kelvane_handle handle, kelvane_device_address device_address, int32_t ca,
                                int32_t status)
{
    command c; // the firmware's result is not looked at: only the transport's failures are told
    return run(&c, {65, SHARED_PATH, CHECK_SIRANE_ADDRESS, __func__, handle, device_address}, word(ca),
               word(status));
}
