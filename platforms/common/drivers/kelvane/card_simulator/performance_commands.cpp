// Measurements on request, and the subscription to batches of them.
#include <algorithm>
#include <cstddef>

#include "card_simulator/command_handlers.h"
#include "card_simulator/measurements.h"

namespace {

constexpr uint32_t INTERVAL_MOST = 64;

// Firmware before 4.1 knows nothing of polarisation.
constexpr size_t OLD_PORT_BYTES = 88;
constexpr size_t OLD_GLOBAL_BYTES = 360;
constexpr size_t OLD_PORT_FIELDS_BYTES = offsetof(kelvane_sirane_port_pm, sopmd_cur);

uint32_t layout_version(const card_state &state)
{
    return firmware_is_before(state, 4, 1) ? 0 : 1;
}

// A power is a half word; what the module's bus left in the other half comes along.
int32_t half_word_of(int32_t power)
{
    return static_cast<int32_t>(0x5A5A0000u | (static_cast<uint32_t>(power) & 0xFFFF));
}

kelvane_xpm2_port_pm as_sent(kelvane_xpm2_port_pm pm)
{
    pm.optical_output_power = half_word_of(pm.optical_output_power);
    pm.optical_input_power = half_word_of(pm.optical_input_power);
    pm.optical_signal_power = half_word_of(pm.optical_signal_power);
    return pm;
}

int32_t set_parameters(command_exchange &exchange)
{
    const uint32_t device = device_of_address(exchange.words[DEVICE_ADDRESS_WORD]);
    if (device == DEVICE_NONE) {
        return ORDUNE_NOT_EXISTING_DEVICE;
    }
    if (exchange.words[VALUE_WORD] > INTERVAL_MOST) {
        return ORDUNE_OPERATION_NOT_ALLOWED;
    }
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        if (device == BOARD_DEVICE || sirane_of_device(device) == sirane_id) {
            exchange.state.devices[sirane_device(sirane_id)].sirane.pm_interval = exchange.words[VALUE_WORD];
        }
    }
    return 0;
}

int32_t get_module(command_exchange &exchange)
{
    uint32_t device = DEVICE_NONE;
    const int32_t result = find_module(exchange, &device);
    if (result == 0) {
        put_record(exchange, as_sent(measure_module(exchange.state, device)));
    }
    return result;
}

int32_t get_network_port(command_exchange &exchange)
{
    exchange.version = layout_version(exchange.state);
    uint32_t device = DEVICE_NONE;
    const int32_t result = find_network_port(exchange, &device);
    if (result != 0) {
        return result;
    }
    put_record(exchange, measure_network_port(exchange.state, device));
    if (exchange.version == 0) {
        std::ranges::fill(exchange.words.subspan(RECORD_WORD + OLD_PORT_FIELDS_BYTES / sizeof(uint32_t)), 0);
    }
    return 0;
}

int32_t get_host_port(command_exchange &exchange)
{
    uint32_t sirane_id = 0;
    uint32_t host_port = 0;
    const int32_t result = find_host_port(exchange, &sirane_id, &host_port);
    if (result == 0) {
        put_record(exchange, measure_host_port(exchange.state, sirane_id, host_port));
    }
    return result;
}

int32_t get_generic(command_exchange &exchange)
{
    uint32_t sirane_id = 0;
    const int32_t result = find_sirane(exchange, &sirane_id);
    if (result == 0) {
        put_record(exchange, measure_generic(exchange.state, sirane_id));
    }
    return result;
}

struct old_global_pm {
    unsigned char bytes[OLD_GLOBAL_BYTES];
};

old_global_pm in_old_layout(const kelvane_global_pm &pm)
{
    old_global_pm old = {};
    unsigned char *at = old.bytes;
    const auto put = [&at](const void *piece, size_t bytes, size_t room) {
        std::memcpy(at, piece, bytes);
        at += room;
    };
    put(pm.host, sizeof pm.host, sizeof pm.host);
    for (const kelvane_sirane_port_pm &port : pm.sirane_port) {
        put(&port, OLD_PORT_FIELDS_BYTES, OLD_PORT_BYTES);
    }
    put(pm.xpm2_port, sizeof pm.xpm2_port, sizeof pm.xpm2_port);
    put(&pm.generic, sizeof pm.generic, sizeof pm.generic);
    return old;
}

int32_t get_global(command_exchange &exchange)
{
    exchange.version = layout_version(exchange.state);
    uint32_t sirane_id = 0;
    const int32_t result = find_whole_sirane(exchange, &sirane_id);
    if (result != 0) {
        return result;
    }
    kelvane_global_pm pm = measure_sirane(exchange.state, sirane_id);
    for (kelvane_xpm2_port_pm &module : pm.xpm2_port) {
        module = as_sent(module);
    }
    if (exchange.version == 0) {
        put_record(exchange, in_old_layout(pm));
    } else {
        put_record(exchange, pm);
    }
    return 0;
}

int32_t get_frame_counters(command_exchange &exchange)
{
    uint32_t sirane_id = 0;
    uint32_t host_port = 0;
    const int32_t result = find_host_port(exchange, &sirane_id, &host_port);
    if (result != 0) {
        return result;
    }
    if (exchange.state.client != host_client::ethernet) {
        return ORDUNE_GENERIC_INTERF_SET;
    }
    put_record(exchange, count_frames(exchange.state, sirane_id, host_port));
    return 0;
}

int32_t enable_batches(command_exchange &exchange)
{
    uint32_t sirane_id = 0;
    const int32_t result = find_sirane(exchange, &sirane_id);
    if (result == 0) {
        exchange.state.pm_batches[sirane_id] = subscription_of(exchange);
    }
    return result;
}

constexpr command_row ROWS[] = {
    {18, 3, 0, set_parameters},          {19, 8, 0, get_module},          {20, 34, 1, get_network_port},
    {21, 10, 0, get_host_port},          {22, 4, 0, get_generic},         {23, 112, 1, get_global},
    {24, 116, 1, enable_batches, false}, {61, 60, 0, get_frame_counters},
};

} // namespace

constinit const command_family performance_commands = ROWS;
