#include "card_simulator/commands/command_handlers.h"

#include "platform/wait.h"

const command_row *command_row_of(uint32_t command)
{
    const command_family families[] = {
        alarm_commands,       card_control_commands, image_commands,  module_commands,
        performance_commands, port_commands,         sirane_commands, status_commands,
    };
    for (const command_family &family : families) {
        for (const command_row &row : family) {
            if (row.command == command) {
                return &row;
            }
        }
    }
    return nullptr;
}

int32_t find_device(const command_exchange &exchange, uint32_t *device)
{
    *device = device_of_address(exchange.words[DEVICE_ADDRESS_WORD]);
    if (*device == DEVICE_NONE) {
        return ORDUNE_NOT_EXISTING_DEVICE;
    }
    return is_module_device(*device) && !has_module(exchange.state, *device)
               ? static_cast<int32_t>(ORDUNE_XPM2_ENODEV)
               : 0;
}

int32_t find_module(const command_exchange &exchange, uint32_t *device)
{
    const int32_t result = find_device(exchange, device);
    if (result == 0 && !is_module_device(*device)) {
        return ORDUNE_INVALID_DEV;
    }
    return result;
}

int32_t find_network_port(const command_exchange &exchange, uint32_t *device)
{
    const int32_t result = find_module(exchange, device);
    return result == ORDUNE_XPM2_ENODEV ? 0 : result;
}

int32_t find_whole_sirane(const command_exchange &exchange, uint32_t *sirane_id)
{
    const uint32_t address = exchange.words[DEVICE_ADDRESS_WORD];
    const uint32_t device = device_of_address(address);
    if (device == DEVICE_NONE) {
        return ORDUNE_NOT_EXISTING_DEVICE;
    }
    if (!is_sirane_device(device) || (address & 0xFF) != 0xFF) {
        return ORDUNE_INVALID_DEV;
    }
    *sirane_id = sirane_of_device(device);
    return 0;
}

int32_t find_host_port(const command_exchange &exchange, uint32_t *sirane_id, uint32_t *host_port)
{
    const uint32_t address = exchange.words[DEVICE_ADDRESS_WORD];
    const uint32_t device = device_of_address(address);
    if (device == DEVICE_NONE) {
        return ORDUNE_NOT_EXISTING_DEVICE;
    }
    if (!is_sirane_device(device) || (address & 0xFF) == 0xFF) {
        return ORDUNE_INVALID_DEV;
    }
    *sirane_id = sirane_of_device(device);
    *host_port = address & 0xFF;
    return *host_port < HOST_PORTS_PER_SIRANE ? 0 : static_cast<int32_t>(ORDUNE_INVALID_PHY);
}

int32_t find_sirane(const command_exchange &exchange, uint32_t *sirane_id)
{
    const uint32_t device = device_of_address(exchange.words[DEVICE_ADDRESS_WORD]);
    if (device == DEVICE_NONE) {
        return ORDUNE_NOT_EXISTING_DEVICE;
    }
    *sirane_id = device == BOARD_DEVICE ? exchange.sirane_id : sirane_of_device(device);
    return 0;
}

subscription subscription_of(const command_exchange &exchange)
{
    return {
        exchange.words[VALUE_WORD],          exchange.request.ref_id, exchange.request.sy, exchange.words[0],
        exchange.words[DEVICE_ADDRESS_WORD], wait_monotonic()};
}
