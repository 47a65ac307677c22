// What the host sets on network ports, host ports and siranes: kept, judged and given back.
#include <algorithm>
#include <cassert>
#include <cmath>

#include "card_simulator/commands/command_handlers.h"
#include "card_simulator/state/measurements.h"

namespace {

constexpr uint32_t NO_COMMAND = COMMAND_COUNT;
constexpr uint32_t CHANNEL_MIN = 1913000; // 191.3 THz, in 0.1 GHz
constexpr uint32_t CHANNEL_MAX = 1961000;
constexpr uint32_t CHANNELS_PER_LEGACY_CHANNEL = 10;
constexpr int32_t CD_SEARCH_MAX = 280000; // ps/nm, of either sign
constexpr float POWER_DBM_MIN = -25;      // dBm
constexpr float POWER_DBM_MAX = 10;

// A word of a network port: the commands that set and get it, its range, and the error word for anything
// outside.
struct single_value {
    uint32_t set;
    uint32_t get;
    uint32_t port_settings::*place;
    int32_t min;
    int32_t max;
    int32_t refusal;
};

constexpr single_value SINGLE_VALUES[] = {
    {CMD_SET_TRAFFIC_TYPE, CMD_GET_TRAFFIC_TYPE, &port_settings::traffic_type, 0, KELVANE_TRAFFIC_TYPE_NONE,
     ORDUNE_INVALID_RATE},
    {CMD_SET_LASER, CMD_GET_LASER, &port_settings::laser, 0, 1, ORDUNE_SIRANE_SETLASER_ERROR},
    {CMD_SET_TX_DISABLE, NO_COMMAND, &port_settings::tx_disable, 0, 1, ORDUNE_OPERATION_NOT_ALLOWED},
    {CMD_SET_XPM2_LED, CMD_GET_XPM2_LED, &port_settings::led, KELVANE_LED_GREEN, KELVANE_LED_OFF,
     ORDUNE_OPERATION_NOT_ALLOWED},
    {CMD_SET_NETWORK_LOOPBACK, CMD_GET_NETWORK_LOOPBACK, &port_settings::network_loopback, 0, 1,
     ORDUNE_OPERATION_NOT_ALLOWED},
    {CMD_SET_RX_CD_LOW_SEARCH_VALUE, CMD_GET_RX_CD_LOW_SEARCH_VALUE, &port_settings::cd_low_search,
     -CD_SEARCH_MAX, CD_SEARCH_MAX, ORDUNE_OPERATION_NOT_ALLOWED},
    {CMD_SET_RX_CD_HIGH_SEARCH_VALUE, CMD_GET_RX_CD_HIGH_SEARCH_VALUE, &port_settings::cd_high_search,
     -CD_SEARCH_MAX, CD_SEARCH_MAX, ORDUNE_OPERATION_NOT_ALLOWED},
};

const single_value &value_of_command(uint32_t command)
{
    const auto *it = std::ranges::find_if(SINGLE_VALUES, [command](const single_value &value) {
        return value.set == command || value.get == command;
    });
    assert(it != std::end(SINGLE_VALUES));
    return *it;
}

int32_t find_port(const command_exchange &exchange, port_settings **port)
{
    uint32_t device = DEVICE_NONE;
    const int32_t result = find_module(exchange, &device);
    *port = result == 0 ? &exchange.state.devices[device].port : nullptr;
    return result;
}

int32_t set_single_value(command_exchange &exchange)
{
    port_settings *port = nullptr;
    const int32_t result = find_port(exchange, &port);
    if (result != 0) {
        return result;
    }
    const single_value &it = value_of_command(exchange.request.cmd);
    const auto value = static_cast<int32_t>(exchange.words[VALUE_WORD]);
    if (value < it.min || value > it.max) {
        return it.refusal;
    }
    port->*it.place = exchange.words[VALUE_WORD];
    return 0;
}

// A reading that fails reads 0.
int32_t get_single_value(command_exchange &exchange)
{
    port_settings *port = nullptr;
    const int32_t result = find_port(exchange, &port);
    const single_value &it = value_of_command(exchange.request.cmd);
    exchange.words[VALUE_WORD] = result == 0 ? port->*it.place : 0;
    return result;
}

// ---- the laser

// The laser time-out diagnostic of the module, of its sirane or of the board spoils one switch of a laser.
bool laser_times_out(card_state &state, uint32_t device)
{
    for (const uint32_t armed : {device, sirane_device(sirane_of_device(device)), BOARD_DEVICE}) {
        if (state.devices[armed].laser_times_out) {
            state.devices[armed].laser_times_out = false;
            return true;
        }
    }
    return false;
}

int32_t set_laser(command_exchange &exchange)
{
    uint32_t device = DEVICE_NONE;
    const int32_t result = find_module(exchange, &device);
    if (result != 0) {
        return result;
    }
    if (laser_times_out(exchange.state, device)) {
        return ORDUNE_TIMEOUT;
    }
    if (exchange.words[VALUE_WORD] == 1 &&
        exchange.state.devices[sirane_device(sirane_of_device(device))].low_power) {
        return ORDUNE_SIRANE_SETLASER_PWRFAIL2START;
    }
    return set_single_value(exchange);
}

// ---- what a port has for each direction

// The second word: 1 is transmit, 2 and 0 are receive.
int32_t find_direction(const command_exchange &exchange, port_settings **port, direction *which)
{
    const int32_t result = find_port(exchange, port);
    const uint32_t tx_rx = exchange.words[SECOND_VALUE_WORD];
    *which = tx_rx == KELVANE_TX ? TRANSMIT : RECEIVE;
    if (result == 0 && tx_rx > KELVANE_RX) {
        return ORDUNE_INDEX_MISMATCH;
    }
    return result;
}

bool is_channel(uint32_t channel)
{
    return channel >= CHANNEL_MIN && channel <= CHANNEL_MAX;
}

int32_t set_channel_in_steps(command_exchange &exchange, uint32_t step)
{
    port_settings *port = nullptr;
    direction which = RECEIVE;
    const int32_t result = find_direction(exchange, &port, &which);
    if (result != 0) {
        return result;
    }
    const uint32_t channel = exchange.words[VALUE_WORD];
    if (channel > CHANNEL_MAX || !is_channel(channel * step)) {
        return ORDUNE_XPM2_WLFAIL;
    }
    port->channel[which] = channel * step;
    return 0;
}

int32_t get_channel_in_steps(command_exchange &exchange, uint32_t step)
{
    port_settings *port = nullptr;
    direction which = RECEIVE;
    const int32_t result = find_direction(exchange, &port, &which);
    exchange.words[VALUE_WORD] = result == 0 ? port->channel[which] / step : 0;
    return result;
}

int32_t set_channel(command_exchange &exchange)
{
    return set_channel_in_steps(exchange, CHANNELS_PER_LEGACY_CHANNEL);
}

int32_t get_channel(command_exchange &exchange)
{
    return get_channel_in_steps(exchange, CHANNELS_PER_LEGACY_CHANNEL);
}

bool knows_flex_grid(const card_state &state)
{
    return !firmware_is_before(state, 4, 1);
}

int32_t set_channel_flex_grid(command_exchange &exchange)
{
    return knows_flex_grid(exchange.state) ? set_channel_in_steps(exchange, 1)
                                           : static_cast<int32_t>(ORDUNE_INVALID_CMD);
}

int32_t get_channel_flex_grid(command_exchange &exchange)
{
    return knows_flex_grid(exchange.state) ? get_channel_in_steps(exchange, 1)
                                           : static_cast<int32_t>(ORDUNE_INVALID_CMD);
}

int32_t set_bright_tuning(command_exchange &exchange)
{
    port_settings *port = nullptr;
    direction which = RECEIVE;
    const int32_t result = find_direction(exchange, &port, &which);
    if (result != 0) {
        return result;
    }
    if (exchange.words[VALUE_WORD] > 1) {
        return ORDUNE_OPERATION_NOT_ALLOWED;
    }
    port->bright_tuning[which] = exchange.words[VALUE_WORD];
    return 0;
}

int32_t get_bright_tuning(command_exchange &exchange)
{
    port_settings *port = nullptr;
    direction which = RECEIVE;
    const int32_t result = find_direction(exchange, &port, &which);
    exchange.words[VALUE_WORD] = result == 0 ? port->bright_tuning[which] : 0;
    return result;
}

// ---- output power: configured in dBm as a float, trimmed at run time in 0.01 dBm

int32_t set_power(command_exchange &exchange)
{
    port_settings *port = nullptr;
    const int32_t result = find_port(exchange, &port);
    if (result != 0) {
        return result;
    }
    float power = 0;
    std::memcpy(&power, &exchange.words[VALUE_WORD], sizeof power);
    if (!(power >= POWER_DBM_MIN && power <= POWER_DBM_MAX)) { // NaN is refused, too
        return ORDUNE_XPM2_POUTFAIL;
    }
    port->power = exchange.words[VALUE_WORD];
    port->target_power = static_cast<int32_t>(std::lround(power * POWER_UNITS_PER_DBM));
    return 0;
}

int32_t get_power(command_exchange &exchange)
{
    port_settings *port = nullptr;
    const int32_t result = find_port(exchange, &port);
    exchange.words[VALUE_WORD] = result == 0 ? port->power : 0;
    return result;
}

int32_t set_runtime_power(command_exchange &exchange)
{
    port_settings *port = nullptr;
    const int32_t result = find_port(exchange, &port);
    if (result != 0) {
        return result;
    }
    const auto power = static_cast<int32_t>(exchange.words[VALUE_WORD]);
    if (power < static_cast<int32_t>(POWER_DBM_MIN) * POWER_UNITS_PER_DBM ||
        power > static_cast<int32_t>(POWER_DBM_MAX) * POWER_UNITS_PER_DBM) {
        return ORDUNE_XPM2_POUTFAIL;
    }
    port->target_power = power;
    return 0;
}

// ---- host ports and siranes

// A host port, or the whole sirane for all four.
int32_t find_host_ports(const command_exchange &exchange, std::span<uint32_t> *loopbacks)
{
    uint32_t sirane_id = 0;
    uint32_t host_port = 0;
    if (find_whole_sirane(exchange, &sirane_id) == 0) {
        *loopbacks = exchange.state.devices[sirane_device(sirane_id)].sirane.host_loopback;
        return 0;
    }
    const int32_t result = find_host_port(exchange, &sirane_id, &host_port);
    if (result == 0) {
        *loopbacks = {&exchange.state.devices[sirane_device(sirane_id)].sirane.host_loopback[host_port], 1};
    }
    return result;
}

int32_t set_host_loopback(command_exchange &exchange)
{
    std::span<uint32_t> loopbacks;
    const int32_t result = find_host_ports(exchange, &loopbacks);
    if (result == 0 && exchange.words[VALUE_WORD] > 1) {
        return ORDUNE_OPERATION_NOT_ALLOWED;
    }
    for (uint32_t &loopback : loopbacks) {
        loopback = exchange.words[VALUE_WORD];
    }
    return result;
}

int32_t get_host_loopback(command_exchange &exchange)
{
    std::span<uint32_t> loopbacks;
    const int32_t result = find_host_ports(exchange, &loopbacks);
    exchange.words[VALUE_WORD] = 0;
    for (const uint32_t loopback : loopbacks) {
        exchange.words[VALUE_WORD] |= loopback;
    }
    return result;
}

int32_t set_consequent_action(command_exchange &exchange)
{
    uint32_t sirane_id = 0;
    const int32_t result = find_whole_sirane(exchange, &sirane_id);
    if (result == 0) {
        sirane_settings &sirane = exchange.state.devices[sirane_device(sirane_id)].sirane;
        sirane.consequent_action = exchange.words[VALUE_WORD];
        sirane.consequent_status = exchange.words[SECOND_VALUE_WORD];
    }
    return result;
}

// ---- all of a sirane

void put_port(kelvane_provisioned_config_t &config, uint32_t i, const port_settings &port)
{
    config.traffic_type[i] = port.traffic_type;
    config.laser[i] = port.laser;
    config.tx_channel[i] = port.channel[TRANSMIT] / CHANNELS_PER_LEGACY_CHANNEL;
    config.rx_channel[i] = port.channel[RECEIVE] / CHANNELS_PER_LEGACY_CHANNEL;
    config.tx_bright_tuning[i] = port.bright_tuning[TRANSMIT];
    config.rx_bright_tuning[i] = port.bright_tuning[RECEIVE];
    config.power[i] = port.power;
    config.rx_cd_low_search_value[i] = port.cd_low_search;
    config.rx_cd_high_search_value[i] = port.cd_high_search;
    config.xpm2_led[i] = port.led;
    config.network_loopback[i] = port.network_loopback;
    config.tx_channel_flex_grid[i] = port.channel[TRANSMIT];
    config.rx_channel_flex_grid[i] = port.channel[RECEIVE];
}

// Firmware that does not know the flex grid leaves its words 0; from 2.7 on it claims the newer version
// anyway.
int32_t get_provisioned_config(command_exchange &exchange)
{
    exchange.version = firmware_is_before(exchange.state, 2, 7) ? 0 : 1;
    uint32_t sirane_id = 0;
    const int32_t result = find_whole_sirane(exchange, &sirane_id);
    kelvane_provisioned_config_t config = {};
    if (result == 0) {
        for (uint32_t i = 0; i < NETWORK_PORTS_PER_SIRANE; i++) {
            put_port(config, i, exchange.state.devices[module_device(sirane_id, i)].port);
            if (!knows_flex_grid(exchange.state)) {
                config.tx_channel_flex_grid[i] = 0;
                config.rx_channel_flex_grid[i] = 0;
            }
        }
        const sirane_settings &sirane = exchange.state.devices[sirane_device(sirane_id)].sirane;
        std::memcpy(config.host_loopback, sirane.host_loopback, sizeof config.host_loopback);
    }
    put_record(exchange, config);
    return result;
}

constexpr command_row ROWS[] = {
    {CMD_SET_TRAFFIC_TYPE, 4, 0, set_single_value, command_answer::when_done},
    {CMD_GET_TRAFFIC_TYPE, 3, 0, get_single_value},
    {CMD_SET_LASER, 4, 0, set_laser, command_answer::when_done},
    {CMD_GET_LASER, 3, 0, get_single_value},
    {CMD_SET_LASER_CHANNEL, 4, 0, set_channel},
    {CMD_GET_LASER_CHANNEL, 4, 0, get_channel},
    {CMD_SET_LASER_BRIGHT_TUNING, 4, 0, set_bright_tuning},
    {CMD_GET_LASER_BRIGHT_TUNING, 4, 0, get_bright_tuning},
    {CMD_SET_OPTICAL_OUTPUT_POWER, 3, 0, set_power},
    {CMD_GLOBAL_PROVISIONED_CONFIG, 32, 1, get_provisioned_config},
    {CMD_SET_TX_DISABLE, 3, 0, set_single_value},
    {CMD_SET_XPM2_LED, 3, 0, set_single_value},
    {CMD_GET_XPM2_LED, 3, 0, get_single_value},
    {CMD_SET_NETWORK_LOOPBACK, 3, 0, set_single_value},
    {CMD_SET_HOST_LOOPBACK, 3, 0, set_host_loopback},
    {CMD_GET_HOST_LOOPBACK, 3, 0, get_host_loopback},
    {CMD_GET_NETWORK_LOOPBACK, 3, 0, get_single_value},
    {CMD_SET_RX_CD_LOW_SEARCH_VALUE, 3, 0, set_single_value},
    {CMD_SET_RX_CD_HIGH_SEARCH_VALUE, 3, 0, set_single_value},
    {CMD_GET_RX_CD_LOW_SEARCH_VALUE, 3, 0, get_single_value},
    {CMD_GET_RX_CD_HIGH_SEARCH_VALUE, 3, 0, get_single_value},
    {CMD_GET_CONFIG_OPTICAL_OUTPUT_POWER, 3, 0, get_power},
    {CMD_SET_RUNTIME_OPTICAL_OUTPUT_POWER, 3, 0, set_runtime_power},
    {CMD_SET_LASER_CHANNEL_FLEX_GRID, 4, 0, set_channel_flex_grid},
    {CMD_GET_LASER_CHANNEL_FLEX_GRID, 4, 0, get_channel_flex_grid},
    {CMD_SET_CONS_ACTION, 4, 0, set_consequent_action},
};

} // namespace

constinit const command_family provisioning_commands = ROWS;
