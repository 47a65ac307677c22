#include "card_simulator/state/card_state.h"

#include <algorithm>

#include "card_simulator/state/durations.h"
#include "card_simulator/state/registers.h"
#include "platform/wait.h"

namespace {

constexpr uint32_t TRACE_LEVEL_AT_START = 0x00000003;

} // namespace

bool firmware_is_before(const card_state &state, uint32_t major, uint32_t minor)
{
    return state.running < firmware_version{major, minor};
}

bool has_module(const card_state &state, uint32_t device)
{
    return state.devices[device].plugged && !state.devices[device].simulated_out;
}

uint32_t register_start(uint32_t device, uint32_t number)
{
    if (!is_sirane_device(device)) {
        return 0;
    }
    const auto *named = std::ranges::find(SIRANE_REGISTERS, number, &named_register::number);
    return named == std::end(SIRANE_REGISTERS) ? 0 : named->start;
}

uint32_t register_value(const card_state &state, uint32_t device, uint32_t number)
{
    const auto written = state.devices[device].registers.find(number);
    return written == state.devices[device].registers.end() ? register_start(device, number)
                                                            : written->second;
}

void reset_device(card_state &state, uint32_t device)
{
    device_state &it = state.devices[device];
    it.registers.clear();
    it.last_diagnostic = 0;
    it.low_power = false;
    it.laser_times_out = false;
    state.tables_changed = state.tables_changed || it.simulated_out;
    it.simulated_out = false;
    it.port = {};
    it.sirane = {};
    it.resets++;
}

void card_state_firmware_start(card_state &state)
{
    state.trace_level = TRACE_LEVEL_AT_START;
    state.watch_on = false;
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        state.pm_batches[sirane_id] = {};
        state.alarm_changes[sirane_id] = {};
        state.forced_alarms[sirane_id].reset();
    }
    const bool spoiled = state.memory.logic_is_spoiled;
    state.memory = {};
    state.memory.logic_is_spoiled = spoiled;
    state.started_ns = wait_monotonic();
    state.starts++;
}

void card_state_power_on(card_state &state)
{
    for (device_state &device : state.devices) {
        const bool plugged = device.plugged;
        device = {};
        device.plugged = plugged;
    }
    std::ranges::fill(state.signals, signal_clock{});
    state.power_on_ns = wait_monotonic();
    state.memory = {}; // the logic is loaded anew
    card_state_firmware_start(state);
}

void note_event(card_state &state, event_kind kind, uint32_t device, event_values values, int32_t code)
{
    state.events.push_back({kind, device, values, static_cast<uint32_t>(code), uptime_ns(state) / NS_PER_MS});
}

uint64_t uptime_ns(const card_state &state)
{
    return wait_monotonic() - state.power_on_ns;
}
