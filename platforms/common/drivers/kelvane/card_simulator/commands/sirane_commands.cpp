// What the host sets on a sirane and its host ports, and all that is set on one as a record.
#include "card_simulator/commands/command_handlers.h"

namespace {

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
    {CMD_GLOBAL_PROVISIONED_CONFIG, 32, 1, get_provisioned_config},
    {CMD_SET_HOST_LOOPBACK, 3, 0, set_host_loopback},
    {CMD_GET_HOST_LOOPBACK, 3, 0, get_host_loopback},
    {CMD_SET_CONS_ACTION, 4, 0, set_consequent_action},
};

} // namespace

constinit const command_family sirane_commands = ROWS;
