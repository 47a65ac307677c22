// Alarm words on request, and the subscription to their changes.
#include "card_simulator/commands/command_handlers.h"
#include "card_simulator/state/alarms.h"

namespace {

// A host port's word, or those of all four at the whole sirane's address.
int32_t get_host_port(command_exchange &exchange)
{
    uint32_t sirane_id = 0;
    uint32_t host_port = 0;
    exchange.words[VALUE_WORD] = 0;
    if (find_whole_sirane(exchange, &sirane_id) == 0) {
        for (const uint32_t word : alarms_of(exchange.state, sirane_id).host) {
            exchange.words[VALUE_WORD] |= word;
        }
        return 0;
    }
    const int32_t result = find_host_port(exchange, &sirane_id, &host_port);
    if (result == 0) {
        exchange.words[VALUE_WORD] = alarms_of(exchange.state, sirane_id).host[host_port];
    }
    return result;
}

// A port's word of a pair, or both together at the whole sirane's address.
int32_t get_of_pair(command_exchange &exchange, uint32_t (global_alarms::*pair)[NETWORK_PORTS_PER_SIRANE],
                    bool needs_module)
{
    uint32_t sirane_id = 0;
    uint32_t device = DEVICE_NONE;
    exchange.words[VALUE_WORD] = 0;
    if (find_whole_sirane(exchange, &sirane_id) == 0) {
        const global_alarms alarms = alarms_of(exchange.state, sirane_id);
        exchange.words[VALUE_WORD] = (alarms.*pair)[0] | (alarms.*pair)[1];
        return 0;
    }
    const int32_t result =
        needs_module ? find_module(exchange, &device) : find_network_port(exchange, &device);
    if (result == 0) {
        const global_alarms alarms = alarms_of(exchange.state, sirane_of_device(device));
        exchange.words[VALUE_WORD] = (alarms.*pair)[network_port_of_device(device)];
    }
    return result;
}

int32_t get_network_port(command_exchange &exchange)
{
    return get_of_pair(exchange, &global_alarms::ntwk_port, false);
}

int32_t get_module(command_exchange &exchange)
{
    return get_of_pair(exchange, &global_alarms::xpm2, true);
}

int32_t get_generic(command_exchange &exchange)
{
    uint32_t sirane_id = 0;
    const int32_t result = find_sirane(exchange, &sirane_id);
    exchange.words[VALUE_WORD] = result == 0 ? alarms_of(exchange.state, sirane_id).generic : 0;
    return result;
}

int32_t get_global(command_exchange &exchange)
{
    uint32_t sirane_id = 0;
    const int32_t result = find_whole_sirane(exchange, &sirane_id);
    if (result == 0) {
        put_record(exchange, alarms_of(exchange.state, sirane_id));
    }
    return result;
}

int32_t enable_changes(command_exchange &exchange)
{
    uint32_t sirane_id = 0;
    const int32_t result = find_sirane(exchange, &sirane_id);
    if (result == 0) {
        exchange.state.alarm_changes[sirane_id] = subscription_of(exchange);
    }
    return result;
}

int32_t force_change(command_exchange &exchange)
{
    uint32_t sirane_id = 0;
    const int32_t result = find_sirane(exchange, &sirane_id);
    if (result == 0) {
        global_alarms alarms;
        std::memcpy(&alarms, &exchange.words[RECORD_WORD], sizeof alarms);
        exchange.state.forced_alarms[sirane_id] = alarms;
    }
    return result;
}

constexpr command_row ROWS[] = {
    {CMD_GET_HOST_PCS_ALARMS, 3, 0, get_host_port},
    {CMD_GET_HOST_OTN_ALARMS, 3, 0, get_host_port},
    {CMD_GET_NWTK_PORT_ALARMS, 3, 0, get_network_port},
    {CMD_GET_GENERIC_ALARMS, 3, 0, get_generic},
    {CMD_GET_XPM2_ALARMS, 3, 0, get_module},
    {CMD_GET_GLOBAL_ALARMS, 11, 0, get_global},
    {CMD_ENABLE_ALARMS_NOTIFY, 14, 0, enable_changes, command_answer::none},
    {CMD_FORCE_GLOBAL_ALARMS_NOTIFY, 11, 0, force_change, command_answer::none},
};

} // namespace

constinit const command_family alarm_commands = ROWS;
