// The pluggable modules: whether they are there, what they are, and the host's simulated removal of one.
#include <algorithm>
#include <string_view>

#include "card_simulator/commands/command_handlers.h"

namespace {

constexpr size_t VERSION_ID_BYTES = 4; // of a version identifier, for firmware from 2.7 on
constexpr unsigned char ERASED = 0xFF; // what a module's memory holds where nothing was written

// One module's label. The texts fill their fields, up to all 16 characters, or end in 0.
struct module_label {
    std::string_view serial_number;
    std::string_view date_code;
    std::string_view vendor;
    std::string_view vendor_part;
    std::string_view description;
    std::string_view product;
    std::string_view version; // as long as older firmware sends it
    uint16_t hardware;
    uint16_t running_firmware;
    int32_t type;
};

constexpr module_label MODULES[SIRANE_COUNT * NETWORK_PORTS_PER_SIRANE] = {
    {"SMX2316A0J4T", "2023041700", "ARDENNE OPTICS", "AO-200G-LR-C", "Pluggable 100/200G coherent, C band",
     "XPM2-200-C", "V03", 0x0203, 0x0112, KELVANE_XPM2_TYPE_OPTICAL},
    {"SMX2316A0J51", "2023041700", "ARDENNE OPTICS", "AO-200G-LR-C", "Pluggable 100/200G coherent, C band",
     "XPM2-200-C", "V03", 0x0203, 0x0112, KELVANE_XPM2_TYPE_OPTICAL},
    {"8842019-00713-02", "2021112300", "Borealis Phot.", "BP4470-C-2", "Coherent line module 200G, tunable",
     "XPM2-200-C", "V02-REV-B0000001", 0x0201, 0x0112, KELVANE_XPM2_TYPE_OPTICAL},
    {"8842019-00745-02", "2021112300", "Borealis Phot.", "BP4470-C-2", "Coherent line module 200G, tunable",
     "XPM2-200-C", "V02-REV-B0000001", 0x0201, 0x0112, KELVANE_XPM2_TYPE_OPTICAL},
    {"SMX2402A11QK", "2024010800", "ARDENNE OPTICS", "AO-150G-ULH-C",
     "Pluggable 100/150G coherent, C band, extended reach, narrow line", "XPM2-150-C-ULH", "V01", 0x0300,
     0x0112, KELVANE_XPM2_TYPE_OPTICAL},
    {"LT0000000042", "2020060100", "CALDER TEST", "CT-LOOP-2", "Electrical loopback plug", "XPM2-LOOP", "V01",
     0x0100, 0x0100, KELVANE_XPM2_TYPE_ELECTRICAL},
};

template <size_t bytes> void put_text(char (&field)[bytes], std::string_view text)
{
    text.copy(field, bytes);
}

kelvane_xpm2_inventory_t inventory_of(const card_state &state, uint32_t device)
{
    const uint32_t port = network_port_of_device(device);
    const module_label &label = MODULES[NETWORK_PORTS_PER_SIRANE * sirane_of_device(device) + port];
    kelvane_xpm2_inventory_t it = {};
    put_text(it.deviation, "D000000");
    put_text(it.part_number, "73-20416-05");
    put_text(it.serial_number, label.serial_number);
    put_text(it.date_code_number, label.date_code);
    put_text(it.CLEI_code_number, "WMXA0Q2BAA");
    it.module_hardware_version_number = label.hardware;
    const auto programmed = state.images.modules[device];
    const auto software = programmed.has_value()
                              ? static_cast<uint16_t>(programmed->major << 8 | (programmed->minor & 0xFF))
                              : label.running_firmware;
    it.module_firmware_running_version_number = software;
    it.module_firmware_committed_version_number = software;
    put_text(it.vendorname, label.vendor);
    put_text(it.description, label.description);
    put_text(it.pid, label.product);
    put_text(it.vid, label.version);
    if (!firmware_is_before(state, 2, 7)) {
        std::memset(it.vid + VERSION_ID_BYTES, ERASED, sizeof it.vid - VERSION_ID_BYTES);
    }
    it.type = label.type;
    it.oif_aco_bool = label.type == KELVANE_XPM2_TYPE_OPTICAL ? 1 : 0;
    put_text(it.nolva_part_number, label.vendor_part);
    put_text(it.nolva_serial_number, label.serial_number);
    it.nolva_supplied_vendor_id = 0x00A1;
    return it;
}

uint32_t inventory_version(const card_state &state)
{
    return firmware_is_before(state, 2, 7) ? 0 : firmware_is_before(state, 4, 1) ? 1 : 2;
}

// What a version does not have yet is 0 on the wire.
void forget_newer_fields(kelvane_xpm2_inventory_t &it, uint32_t version)
{
    if (version < 2) {
        std::ranges::fill(it.nolva_part_number, '\0');
        std::ranges::fill(it.nolva_serial_number, '\0');
        it.nolva_supplied_vendor_id = 0;
    }
    if (version < 1) {
        it.oif_aco_bool = 0;
    }
}

int32_t get_inventory(command_exchange &exchange)
{
    exchange.version = inventory_version(exchange.state);
    uint32_t device = DEVICE_NONE;
    const int32_t result = find_module(exchange, &device);
    kelvane_xpm2_inventory_t it = {};
    if (result == 0) {
        it = inventory_of(exchange.state, device);
        forget_newer_fields(it, exchange.version);
    }
    put_record(exchange, it);
    return result;
}

int32_t is_present(command_exchange &exchange)
{
    uint32_t device = DEVICE_NONE;
    const int32_t result = find_network_port(exchange, &device);
    exchange.words[VALUE_WORD] = result == 0 && has_module(exchange.state, device) ? 1 : 0;
    return result;
}

// 1 has the module treated as pulled out, 0 as put back. Either way it starts anew.
int32_t simulate_removal(command_exchange &exchange)
{
    uint32_t device = DEVICE_NONE;
    const int32_t result = find_network_port(exchange, &device);
    if (result != 0) {
        return result;
    }
    if (!exchange.state.devices[device].plugged) {
        return ORDUNE_XPM2_ENODEV;
    }
    const uint32_t out = exchange.words[VALUE_WORD];
    if (out > 1) {
        return ORDUNE_OPERATION_NOT_ALLOWED;
    }
    if (exchange.state.devices[device].simulated_out != (out == 1)) {
        reset_device(exchange.state, device);
        exchange.state.devices[device].simulated_out = out == 1;
        exchange.state.tables_changed = true;
    }
    return 0;
}

constexpr command_row ROWS[] = {
    {CMD_IS_XPM2_PRESENT, 4, 0, is_present},
    {CMD_GET_XPM2_INVENTORY_INF, 60, 2, get_inventory},
    {CMD_SET_XPM2_SIMULATED_OIR, 3, 0, simulate_removal},
};

} // namespace

constinit const command_family module_commands = ROWS;
