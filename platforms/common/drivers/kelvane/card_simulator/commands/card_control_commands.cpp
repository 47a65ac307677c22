// Registers, diagnostics, resets, the watch over the firmware, the module's status.
#include "card_simulator/commands/command_handlers.h"
#include "card_simulator/state/registers.h"

namespace {

constexpr size_t ENABLE_OR_LEVEL_WORD = 1; // of commands without a device address

constexpr uint32_t MODULE_PRESENT = 0x00000001;
constexpr uint32_t MODULE_READY = 0x00000002;

int32_t find_register(const command_exchange &exchange, uint32_t *device)
{
    const int32_t result = find_device(exchange, device);
    if (result != 0) {
        return result;
    }
    return exchange.words[VALUE_WORD] <= REGISTER_MAX ? 0 : static_cast<int32_t>(ORDUNE_INVALID_PAGE);
}

int32_t read_register(command_exchange &exchange)
{
    uint32_t device = DEVICE_NONE;
    const int32_t result = find_register(exchange, &device);
    if (result != 0) {
        return result;
    }
    exchange.words[SECOND_VALUE_WORD] = register_value(exchange.state, device, exchange.words[VALUE_WORD]);
    return 0;
}

int32_t write_register(command_exchange &exchange)
{
    uint32_t device = DEVICE_NONE;
    const int32_t result = find_register(exchange, &device);
    if (result != 0) {
        return result;
    }
    exchange.state.devices[device].registers[exchange.words[VALUE_WORD]] = exchange.words[SECOND_VALUE_WORD];
    return 0;
}

void low_power(device_state &device)
{
    device.low_power = true;
}

void high_power(device_state &device)
{
    device.low_power = false;
}

void laser_times_out(device_state &device)
{
    device.laser_times_out = true;
}

void change_nothing(device_state &)
{
}

enum diagnostic_number : uint32_t {
    SELF_TEST = 1,
    MEMORY_TEST = 2,
    BUS_TEST = 3,
    HIGH_POWER = 4,
    LOW_POWER = 5,
    LASER_TIME_OUT = 34, // of the next laser operation
};

struct diagnostic {
    diagnostic_number number;
    bool of_sirane_only;
    void (*run)(device_state &device);
};

constexpr diagnostic DIAGNOSTICS[] = {
    {SELF_TEST, false, change_nothing}, {MEMORY_TEST, false, change_nothing},
    {BUS_TEST, true, change_nothing},   {HIGH_POWER, true, high_power},
    {LOW_POWER, true, low_power},       {LASER_TIME_OUT, false, laser_times_out},
};

int32_t run_diagnostic(command_exchange &exchange)
{
    uint32_t device = DEVICE_NONE;
    const int32_t result = find_device(exchange, &device);
    if (result != 0) {
        return result;
    }
    for (const diagnostic &diagnostic : DIAGNOSTICS) {
        if (diagnostic.number == exchange.words[VALUE_WORD]) {
            if (diagnostic.of_sirane_only && !is_sirane_device(device)) {
                return ORDUNE_INVALID_DEV;
            }
            diagnostic.run(exchange.state.devices[device]);
            exchange.state.devices[device].last_diagnostic = diagnostic.number;
            return 0;
        }
    }
    return ORDUNE_INVALID_CMD;
}

int32_t default_initialize(command_exchange &exchange)
{
    for (uint32_t device = 0; device < DEVICE_COUNT; device++) {
        reset_device(exchange.state, device);
    }
    note_event(exchange.state, event_kind::defaults_set, BOARD_DEVICE);
    return 0;
}

int32_t enable_keep_alive(command_exchange &exchange)
{
    const uint32_t enable = exchange.words[ENABLE_OR_LEVEL_WORD];
    if (enable > 1) {
        return ORDUNE_OPERATION_NOT_ALLOWED;
    }
    if (enable == 1 && exchange.state.watch_on) {
        return ORDUNE_MBOX_BUSY;
    }
    exchange.state.watch_on = enable == 1;
    return 0;
}

int32_t set_trace_level(command_exchange &exchange)
{
    exchange.state.trace_level = exchange.words[ENABLE_OR_LEVEL_WORD];
    return 0;
}

int32_t recover_device(command_exchange &exchange)
{
    const uint32_t device = device_of_address(exchange.words[DEVICE_ADDRESS_WORD]);
    if (device == DEVICE_NONE) {
        return ORDUNE_NOT_EXISTING_DEVICE;
    }
    if (device == BOARD_DEVICE) {
        return ORDUNE_INVALID_DEV;
    }
    const uint32_t sirane = sirane_device(sirane_of_device(device));
    reset_device(exchange.state, sirane);
    note_event(exchange.state, event_kind::device_reset, sirane);
    return 0;
}

int32_t get_module_status(command_exchange &exchange)
{
    uint32_t device = DEVICE_NONE;
    const int32_t result = find_module(exchange, &device);
    exchange.words[VALUE_WORD] = 0;
    if (result != 0) {
        return result;
    }
    const bool powered = !exchange.state.devices[sirane_device(sirane_of_device(device))].low_power;
    exchange.words[VALUE_WORD] = powered ? MODULE_PRESENT | MODULE_READY : MODULE_PRESENT;
    return 0;
}

constexpr command_row ROWS[] = {
    {CMD_READ_REGISTER, 4, 0, read_register},
    {CMD_WRITE_REGISTER, 4, 0, write_register},
    {CMD_DIAG_COMMAND, 3, 0, run_diagnostic},
    {CMD_DEFAULT_INITIALIZE, 1, 0, default_initialize},
    {CMD_ENABLE_KEEP_ALIVE_NOTIFY, 2, 0, enable_keep_alive},
    {CMD_SET_ARM_TRACE_LEVEL, 2, 0, set_trace_level},
    {CMD_RECOVER_DEVICE, 2, 0, recover_device},
    {CMD_GET_XPM2_STATUS, 3, 0, get_module_status},
};

} // namespace

constinit const command_family card_control_commands = ROWS;
