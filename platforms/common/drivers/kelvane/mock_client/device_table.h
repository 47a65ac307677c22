// The numbers by which the operator names the card's devices.
#ifndef MOCK_CLIENT_DEVICE_TABLE_H
#define MOCK_CLIENT_DEVICE_TABLE_H

#include <cstdint>

constexpr uint32_t NO_DEVICE_ADDRESS = 0xFFFFFFFF;

// The device address of a number, or NO_DEVICE_ADDRESS when no device has it.
uint32_t client_dev_to_address(uint32_t device);

#endif
