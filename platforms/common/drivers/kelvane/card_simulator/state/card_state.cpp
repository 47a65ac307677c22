#include "card_simulator/state/card_state.h"

#include <algorithm>
#include <utility>

#include "card_simulator/state/registers.h"
#include "kelvane_bar.h"
#include "platform/wait.h"

namespace {

constexpr uint32_t BOARD_ID = 0x21040003; // real hardware: the top byte is not above 0x32
constexpr uint32_t TRACE_LEVEL_AT_START = 0x00000003;
constexpr uint32_t FIRST_IMAGE_VERSION = 6; // words of the controller's table
constexpr uint32_t LAST_IMAGE_VERSION = 7;

constexpr uint32_t dated_version(uint32_t major, uint32_t minor, uint32_t year, uint32_t month, uint32_t day)
{
    return major << 24 | minor << 16 | year << 9 | month << 5 | day;
}

// Words of a sirane's information table; those of images are written with the images.
enum sirane_info_word : uint32_t {
    FIRST_MODULE_SOFTWARE = 64,
    SECOND_MODULE_SOFTWARE = 128,
    MODULE_VERSION = 1, // relative to the two above
};

uint32_t module_version(const card_state &state, uint32_t device)
{
    return has_module(state, device) ? bundle_version(module_software(state, device)) : 0;
}

void publish_sirane(const card_state &state, bar &bar, uint32_t sirane_id)
{
    const uint32_t table = sirane_info_table(sirane_id);
    const auto put = [&bar, table](uint32_t word, uint32_t value) {
        bar_write(bar, table + 4 * word, value);
    };
    const uint32_t module = module_device(sirane_id, 0);
    put(FIRST_MODULE_SOFTWARE + MODULE_VERSION, module_version(state, module));
    put(SECOND_MODULE_SOFTWARE + MODULE_VERSION, module_version(state, module + 1));
}

} // namespace

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

bool firmware_is_before(const card_state &state, uint32_t major, uint32_t minor)
{
    return std::pair(state.firmware_major, state.firmware_minor) < std::pair(major, minor);
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

void publish_tables(card_state &state, bar &bar)
{
    state.tables_changed = false;
    const uint32_t major = state.firmware_major;
    const uint32_t minor = state.firmware_minor;
    const uint32_t controller[ZYNQ_INFO_WORDS] = {
        ZYNQ_WORKING_IMAGE_RUNS,
        bundle_version({major, minor}),
        dated_version(1, 4, 20, 2, 11), // first stage boot loader
        dated_version(major & 0xFF, minor & 0xFF, 21, 8, 3),
        ZYNQ_IS_BARE_METAL,
        0x20210803, // programmable logic
        0,          // working and golden image
        0,
        ZYNQ_SECURE_BOOT,
        0x00000001,
        0x0000C0A2, // card
        0x00000002,
        0x00000051, // board of the siranes
        0x00000003,
        0,
        0,
    };
    bar_write(bar, BOARD_ID_REG, BOARD_ID);
    for (uint32_t i = 0; i < ZYNQ_INFO_WORDS; i++) {
        if (i < FIRST_IMAGE_VERSION || i > LAST_IMAGE_VERSION) {
            bar_write(bar, ZYNQ_INFO_TABLE + 4 * i, controller[i]);
        }
    }
    publish_images(state, bar);
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        publish_sirane(state, bar, sirane_id);
    }
}
