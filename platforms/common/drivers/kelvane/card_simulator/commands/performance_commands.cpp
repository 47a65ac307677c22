// Measurements on request, and the subscription to batches of them.
#include <algorithm>

#include "card_simulator/commands/command_handlers.h"
#include "card_simulator/state/measurements.h"
#include "card_simulator/state/performance_layout.h"

namespace {

constexpr uint32_t PM_INTERVAL_S_MAX = 64;

int32_t set_parameters(command_exchange &exchange)
{
    const uint32_t device = device_of_address(exchange.words[DEVICE_ADDRESS_WORD]);
    if (device == DEVICE_NONE) {
        return ORDUNE_NOT_EXISTING_DEVICE;
    }
    if (exchange.words[VALUE_WORD] > PM_INTERVAL_S_MAX) {
        return ORDUNE_OPERATION_NOT_ALLOWED;
    }
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        if (device == BOARD_DEVICE || sirane_of_device(device) == sirane_id) {
            exchange.state.devices[sirane_device(sirane_id)].sirane.pm_interval_s =
                exchange.words[VALUE_WORD];
        }
    }
    return 0;
}

int32_t get_module(command_exchange &exchange)
{
    uint32_t device = DEVICE_NONE;
    const int32_t result = find_module(exchange, &device);
    if (result == 0) {
        put_record(exchange, module_pm_as_sent(measure_module(exchange.state, device)));
    }
    return result;
}

int32_t get_network_port(command_exchange &exchange)
{
    exchange.version = performance_layout_version(exchange.state);
    uint32_t device = DEVICE_NONE;
    const int32_t result = find_network_port(exchange, &device);
    if (result != 0) {
        return result;
    }
    put_record(exchange, measure_network_port(exchange.state, device));
    if (exchange.version == 0) {
        std::ranges::fill(exchange.words.subspan(RECORD_WORD + OLD_PORT_FIELDS_BYTES / sizeof(uint32_t)), 0);
    }
    return 0;
}

int32_t get_host_port(command_exchange &exchange)
{
    uint32_t sirane_id = 0;
    uint32_t host_port = 0;
    const int32_t result = find_host_port(exchange, &sirane_id, &host_port);
    if (result == 0) {
        put_record(exchange, measure_host_port(exchange.state, sirane_id, host_port));
    }
    return result;
}

int32_t get_generic(command_exchange &exchange)
{
    uint32_t sirane_id = 0;
    const int32_t result = find_sirane(exchange, &sirane_id);
    if (result == 0) {
        put_record(exchange, measure_generic(exchange.state, sirane_id));
    }
    return result;
}

int32_t get_global(command_exchange &exchange)
{
    exchange.version = performance_layout_version(exchange.state);
    uint32_t sirane_id = 0;
    const int32_t result = find_whole_sirane(exchange, &sirane_id);
    if (result != 0) {
        return result;
    }
    put_global_pm(exchange.state, sirane_id, exchange.words.subspan(RECORD_WORD));
    return 0;
}

int32_t get_frame_counters(command_exchange &exchange)
{
    uint32_t sirane_id = 0;
    uint32_t host_port = 0;
    const int32_t result = find_host_port(exchange, &sirane_id, &host_port);
    if (result != 0) {
        return result;
    }
    if (exchange.state.client != host_client::ethernet) {
        return ORDUNE_GENERIC_INTERF_SET;
    }
    put_record(exchange, count_frames(exchange.state, sirane_id, host_port));
    return 0;
}

int32_t enable_batches(command_exchange &exchange)
{
    uint32_t sirane_id = 0;
    const int32_t result = find_sirane(exchange, &sirane_id);
    if (result == 0) {
        exchange.state.pm_batches[sirane_id] = subscription_of(exchange);
    }
    return result;
}

constexpr command_row ROWS[] = {
    {CMD_SET_PM_PARAMETERS, 3, 0, set_parameters},
    {CMD_GET_XPM2_PORT_PM, 8, 0, get_module},
    {CMD_GET_SIRANE_PORT_PM, 34, 1, get_network_port},
    {CMD_GET_HOST_PORT_PM, 10, 0, get_host_port},
    {CMD_GET_GENERIC_PM, 4, 0, get_generic},
    {CMD_GET_GLOBAL_PM, 112, 1, get_global},
    {CMD_ENABLE_PM_NOTIFY, 116, 1, enable_batches, command_answer::none},
    {CMD_DBG_GET_HOSTPORT_PCS_COUNTERS, 60, 0, get_frame_counters},
};

} // namespace

constinit const command_family performance_commands = ROWS;
