// The card's devices, by the numbers that the operator uses.
#ifndef CARD_SIMULATOR_STATE_DEVICES_H
#define CARD_SIMULATOR_STATE_DEVICES_H

#include <cstdint>

#include "kelvane_mbox.h"

// 0 the board; then for each sirane the sirane itself (1, 4, 7) and the modules in its two ports (2 and 3,
// 5 and 6, 8 and 9).
constexpr uint32_t DEVICE_COUNT = 10;
constexpr uint32_t DEVICE_NONE = DEVICE_COUNT;
constexpr uint32_t BOARD_DEVICE = 0;
constexpr uint32_t DEVICES_PER_SIRANE = 3;
constexpr uint32_t NETWORK_PORTS_PER_SIRANE = 2;
constexpr uint32_t HOST_PORTS_PER_SIRANE = 4;

constexpr uint32_t sirane_device(uint32_t sirane_id)
{
    return 1 + DEVICES_PER_SIRANE * sirane_id;
}

constexpr uint32_t module_device(uint32_t sirane_id, uint32_t network_port)
{
    return sirane_device(sirane_id) + 1 + network_port;
}

constexpr uint32_t sirane_of_device(uint32_t device)
{
    return (device - 1) / DEVICES_PER_SIRANE;
}

constexpr bool is_sirane_device(uint32_t device)
{
    return device < DEVICE_COUNT && device % DEVICES_PER_SIRANE == 1;
}

constexpr bool is_module_device(uint32_t device)
{
    return device != BOARD_DEVICE && device < DEVICE_COUNT && !is_sirane_device(device);
}

constexpr uint32_t network_port_of_device(uint32_t device)
{
    return device - sirane_device(sirane_of_device(device)) - 1;
}

// The device of a device address as it travels in a command, DEVICE_NONE when there is no such device.
// A host port counts as its sirane.
uint32_t device_of_address(uint32_t device_address);

#endif
