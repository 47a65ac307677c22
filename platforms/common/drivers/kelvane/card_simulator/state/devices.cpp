#include "card_simulator/state/devices.h"

uint32_t device_of_address(uint32_t device_address)
{
    const uint32_t type = device_address >> 24 & 0xF;
    const uint32_t sirane_id = device_address >> 16 & 0xFF;
    const uint32_t network_port = device_address >> 8 & 0xFF;
    const uint32_t host_port = device_address & 0xFF;
    if (type != 0xF) {
        return (device_address & 0x00FFFFFF) == 0x00FFFFFF ? BOARD_DEVICE : DEVICE_NONE;
    }
    if (sirane_id >= SIRANE_COUNT) {
        return DEVICE_NONE;
    }
    if (network_port == 0xFF) {
        return sirane_device(sirane_id);
    }
    return network_port < DEVICES_PER_SIRANE - 1 && host_port == 0xFF
               ? sirane_device(sirane_id) + 1 + network_port
               : DEVICE_NONE;
}
