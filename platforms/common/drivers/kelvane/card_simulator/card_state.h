// What the card knows of itself: its firmware's version, its devices with their registers, what the
// host has set. The firmware's commands work on this and on nothing else.
#ifndef CARD_SIMULATOR_CARD_STATE_H
#define CARD_SIMULATOR_CARD_STATE_H

#include <cstdint>
#include <map>

#include "card_simulator/bar.h"
#include "kelvane_mbox.h"

// Devices by the numbers that the operator uses: 0 the board; then for each sirane the sirane itself
// (1, 4, 7) and the modules in its two ports (2 and 3, 5 and 6, 8 and 9).
constexpr uint32_t DEVICE_COUNT = 10;
constexpr uint32_t DEVICE_NONE = DEVICE_COUNT;
constexpr uint32_t BOARD_DEVICE = 0;
constexpr uint32_t DEVICES_PER_SIRANE = 3;

constexpr uint32_t sirane_device(uint32_t sirane_id)
{
    return 1 + DEVICES_PER_SIRANE * sirane_id;
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

struct device_state {
    std::map<uint32_t, uint32_t> registers; // those that were written since the last reset
    uint32_t resets = 0;
    uint32_t last_diagnostic = 0;
    bool plugged = true;    // modules
    bool low_power = false; // siranes
    bool laser_times_out = false;
};

struct card_state {
    uint32_t firmware_major = 0;
    uint32_t firmware_minor = 0;
    uint64_t seed = 0;
    device_state devices[DEVICE_COUNT];
    uint32_t trace_level = 0;
    bool watch_on = false; // the host watches the firmware's life sign
    uint32_t starts = 0;   // of the firmware
};

// The device of a device address as it travels in a command, DEVICE_NONE when there is no such device.
// A host port counts as its sirane.
uint32_t device_of_address(uint32_t device_address);

uint32_t register_value(const card_state &state, uint32_t device, uint32_t number);
uint32_t register_start(uint32_t device, uint32_t number);
void reset_device(card_state &state, uint32_t device);

// The firmware starts: what it keeps only in its memory is gone. The devices' registers stay.
void card_state_firmware_start(card_state &state);

// Power comes: everything is as it was delivered, but for the modules, which stay where they are.
void card_state_power_on(card_state &state);

// Writes the tables that tell the host what this card is and runs.
void publish_tables(const card_state &state, bar &bar);

#endif
