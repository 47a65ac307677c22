// What the card knows about itself: its firmware's version, its devices with their registers, what the
// host has set. The firmware's commands work on this and on nothing else.
#ifndef CARD_SIMULATOR_STATE_CARD_STATE_H
#define CARD_SIMULATOR_STATE_CARD_STATE_H

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "card_simulator/state/card_events.h"
#include "card_simulator/state/card_options.h"
#include "card_simulator/state/devices.h"
#include "card_simulator/state/firmware_images.h"
#include "kelvane.h"

enum direction : uint32_t { TRANSMIT = 0, RECEIVE = 1, DIRECTIONS = 2 };

// What the host sets on a network port and the module in it.
struct port_settings {
    uint32_t traffic_type = KELVANE_TRAFFIC_TYPE_NONE;
    uint32_t laser = 0;
    uint32_t channel[DIRECTIONS] = {1931000, 1931000}; // 0.1 GHz; a legacy channel is ten of them
    uint32_t bright_tuning[DIRECTIONS] = {};
    uint32_t power = 0;       // bits of a float, dBm
    int32_t target_power = 0; // 0.01 dBm; what the latest of both ways to set it said
    uint32_t tx_disable = 0;
    uint32_t led = KELVANE_LED_OFF;
    uint32_t network_loopback = 0;
    uint32_t cd_low_search = static_cast<uint32_t>(-2000); // ps/nm, signed
    uint32_t cd_high_search = 60000;
};

constexpr uint32_t PM_INTERVAL_DEFAULT_S = 10;

// And on a sirane.
struct sirane_settings {
    uint32_t host_loopback[HOST_PORTS_PER_SIRANE] = {};
    uint32_t consequent_action = 0;
    uint32_t consequent_status = 0;
    uint32_t pm_interval_s = PM_INTERVAL_DEFAULT_S; // 0: the default
};

struct device_state {
    std::map<uint32_t, uint32_t> registers; // those that were written since the last reset
    uint32_t resets = 0;
    uint32_t last_diagnostic = 0;
    bool plugged = true;        // modules
    bool simulated_out = false; // modules: treated as pulled out, because the host says so
    bool low_power = false;     // siranes
    bool laser_times_out = false;
    port_settings port;     // modules
    sirane_settings sirane; // siranes
};

// How long a port's receiver has had its signal.
struct signal_clock {
    bool runs = false;
    uint64_t since_s = 0;  // when it started, if it runs
    uint64_t before_s = 0; // what it had counted by then
};

// A subscription to batches or alarms: the latest enable of a sirane.
struct subscription {
    uint32_t enable = 0; // as sent; 0 is off
    uint32_t ref_id = 0;
    uint32_t sync_word = 0;
    uint32_t handle = 0;
    uint32_t device_address = 0;
    uint64_t since_ns = 0; // wait_monotonic, of the enable or of the latest message that is due regularly
    uint64_t number = 0;   // of the latest message
};

// Memory errors, and upsets of the programmable logic, by the operator.
struct memory_errors {
    uint32_t corrected = 0;
    uint32_t uncorrected = 0;
    uint32_t corrected_upsets = 0;
    bool logic_is_spoiled = false; // by an upset that could not be corrected
    bool changed = false;          // since they were published
};

struct card_state {
    firmware_version running = {}; // the firmware's
    uint64_t seed = 0;
    host_client client = host_client::ethernet;
    device_state devices[DEVICE_COUNT];
    uint32_t trace_level = 0;
    bool watch_on = false;       // the host watches the firmware's life sign
    uint32_t starts = 0;         // of the firmware
    bool tables_changed = false; // what they tell, since they were published
    uint64_t power_on_ns = 0;    // of wait_monotonic
    uint64_t started_ns = 0;     // the firmware
    signal_clock signals[DEVICE_COUNT];
    global_alarms raised[SIRANE_COUNT] = {}; // by the operator
    subscription pm_batches[SIRANE_COUNT];
    subscription alarm_changes[SIRANE_COUNT];
    std::optional<global_alarms> forced_alarms[SIRANE_COUNT]; // to be sent as if changed; by the host
    memory_errors memory;
    firmware_images images;
    std::vector<card_event> events; // not in the logs yet
    uint64_t unanswered_errors = 0; // of commands that get no answer
};

bool firmware_is_before(const card_state &state, uint32_t major, uint32_t minor);

bool has_module(const card_state &state, uint32_t device);

uint32_t register_value(const card_state &state, uint32_t device, uint32_t number);
uint32_t register_start(uint32_t device, uint32_t number);
void reset_device(card_state &state, uint32_t device);

// The firmware starts: what it keeps only in its memory is gone. The devices' registers stay.
void card_state_firmware_start(card_state &state);

// Power comes: everything is as delivered, but the modules stay where they are.
void card_state_power_on(card_state &state);

// Remembers what happened until the logs take it.
void note_event(card_state &state, event_kind kind, uint32_t device, event_values values = {},
                int32_t code = 0);

uint64_t uptime_ns(const card_state &state); // since power came

#endif
