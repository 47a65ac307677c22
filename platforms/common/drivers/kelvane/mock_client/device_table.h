// The numbers by which the operator names the card's devices.
#ifndef MOCK_CLIENT_DEVICE_TABLE_H
#define MOCK_CLIENT_DEVICE_TABLE_H

#include <cstdint>
#include <span>

constexpr uint32_t NO_DEVICE_ADDRESS = 0xFFFFFFFF;

// The device address of a number, or NO_DEVICE_ADDRESS when no device has it.
uint32_t client_dev_to_address(uint32_t device);

// The same for a number as it was typed; no device has a negative one.
inline uint32_t address_of_device(int32_t device)
{
    return client_dev_to_address(static_cast<uint32_t>(device));
}

struct module_port {
    int32_t number; // as the operator types it
    int32_t module; // index of the module on the card, 0 to 5
};

// A sirane's number stands for its two module ports, in this order. Any other number stands for none, even
// that of a module port itself.
std::span<const module_port> client_module_ports(int32_t device);

#endif
