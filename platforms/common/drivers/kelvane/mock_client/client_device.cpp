#include "mock_client/client_device.h"

#include <cerrno>
#include <cstdio>
#include <iterator>
#include <string>

#include "kelvane.h"
#include "mock_client/api_check.h"
#include "mock_client/client.h"
#include "mock_client/coh_hal.h"
#include "mock_client/console.h"
#include "mock_client/device_number.h"
#include "mock_client/device_table.h"
#include "mock_client/legend.h"
#include "mock_client/tokens.h"

namespace {

// Only -1 is a failure: a positive code is kept as the handle, and later calls then refuse it.
int32_t create_device(kelvane_init_device_t init_device)
{
    handler = kelvane_device_create(init_device);
    return handler == -1 ? ENODEV : 0;
}

bool parse_read(const char *text, int32_t &device, uint32_t &reg)
{
    if (text == nullptr) {
        console_error("No input received ");
        return false;
    }
    if (!next_device_number(text, device)) {
        return false;
    }
    std::string token;
    if (!next_token(text, token)) {
        console_error("Register address not found or invalid");
        return false;
    }
    reg = hexadecimal_of(token);
    return true;
}

bool parse_write(const char *text, int32_t &device, uint32_t &reg, uint32_t &value)
{
    std::string token;
    if (!next_token(text, token)) {
        return false;
    }
    device = decimal_of(token);
    if (!next_token(text, token)) {
        return false;
    }
    reg = hexadecimal_of(token);
    console_debug("Register address : 0x%08x", reg);
    if (!next_token(text, token)) {
        return false;
    }
    value = hexadecimal_of(token);
    return true;
}

struct register_setting {
    uint32_t reg;
    uint32_t value;
};

constexpr register_setting SIRANE_SETUP[] = {
    {0x9010, 0x0000}, // Device Setup Control
    {0x9100, 0x0082}, // Network Lane 0 FEC Mode Control
    {0x9101, 0x0082}, // Network Lane 1 FEC Mode Control
    {0x9020, 0x0249}, // Host Lanes Client Interface Definition Control
    {0x9200, 0x8080}, // Client Interface 0 General Control
    {0x9201, 0x8080}, // Client Interface 1 General Control
    {0x9202, 0x8080}, // Client Interface 2 General Control
    {0x9203, 0x8080}, // Client Interface 3 General Control
    {0x9030, 0x2301}, // Independent Lanes Client TX Interface x to Network Lane n Mapping
    {0x9040, 0x2301}, // Independent Lanes Network Lane n to Client RX Interface x Mapping
    {0x9020, 0xF249}, // Host Lanes Client Interface Definition Control
    {0x9018, 0x0003}, // Network Lanes Master Enable Control
};

int32_t set_power(uint32_t handle, uint32_t address, uint32_t diag_command, const char *failure)
{
    const int32_t result =
        client_api_check("kelvane_diag_command", kelvane_diag_command, handle, address, diag_command);
    if (result != 0) {
        console_failure(failure, result);
    }
    return result;
}

int32_t write_setting(uint32_t handle, uint32_t address, const register_setting &setting)
{
    const int32_t result = client_api_check("kelvane_write_register", kelvane_write_register, handle, address,
                                            setting.reg, setting.value);
    if (result != 0) {
        char failure[48];
        snprintf(failure, sizeof failure, "Write register 0x%04x with value 0x%04x", setting.reg,
                 setting.value);
        console_failure(failure, result);
    }
    return result;
}

} // namespace

int32_t hespera_hal_device_init()
{
    kelvane_init_device_t init_device = {};
    init_device.slot_id = 0;
    init_device.client_type = 1;
    init_device.subsystem_number = 0;
    init_device.notify_plugin_cb = coherent_oir_fn;
    init_device.pci_read_cb = coh_hal_pci_read_cb_fn;
    init_device.pci_write_cb = coh_hal_pci_write_cb_fn;
    init_device.pci_read_block_cb = coh_hal_pci_read_block_cb_fn;
    init_device.pci_write_block_cb = coh_hal_pci_write_block_cb_fn;
    return client_api_check("kelvane_device_create", create_device, init_device);
}

int32_t hespera_hal_device_deinit()
{
    return client_api_check("kelvane_device_delete", kelvane_device_delete, client_handle());
}

int32_t coherent_oir_fn(uint32_t, uint32_t, uint32_t)
{
    return 0;
}

int32_t client_read_register(const char *text)
{
    int32_t device = 0;
    uint32_t reg = 0;
    if (!parse_read(text, device, reg)) {
        console_error("Invalid input for register read ");
        return -1;
    }
    const uint32_t address = address_of_device(device);
    if (address == NO_DEVICE_ADDRESS) {
        console_error("Invalid device address, calculation failed. Enter one of number from : ");
        client_print_legend();
        console_error("Invalid input for register read ");
        return -1;
    }
    console_debug("Device address : %08x", address);
    console_debug("Register address : %08x", reg);

    uint32_t value = 0;
    if (client_api_check("kelvane_read_register", kelvane_read_register, client_handle(), address, reg,
                         &value) != 0) {
        console_error("Failed to read register %08x  ", reg);
        return -1;
    }
    console_line("Value of register 0x%08x on device 0x%08x is 0x%08x  ", reg, address, value);
    return 0;
}

int32_t client_write_register(const char *text)
{
    int32_t device = 0;
    uint32_t reg = 0;
    uint32_t value = 0;
    if (!parse_write(text, device, reg, value)) {
        console_error("Invalid input for register write");
        return -1;
    }
    const uint32_t address = address_of_device(device);
    console_debug("Device address : 0x%08x", address);
    if (address == NO_DEVICE_ADDRESS) {
        console_error("Invalid device address ");
        console_error("Invalid input for register write");
        return -1;
    }
    if (client_api_check("kelvane_write_register", kelvane_write_register, client_handle(), address, reg,
                         value) != 0) {
        console_error("Failed to write to register %08x  ", reg);
        return -1;
    }
    console_debug("Value of register written 0x%08x : 0x%08x  ", reg, value);
    return 0;
}

int32_t client_init_sirane(int32_t handle, int32_t device)
{
    const auto library_handle = static_cast<kelvane_handle>(handle);
    const uint32_t address = address_of_device(device);
    console_debug("Sirane init sequence for device (%d)", device);

    int32_t result =
        set_power(library_handle, address, KELVANE_DIAGNOSTIC_LOW_POWER, "Diag command (low power) failed");
    for (size_t i = 0; i < std::size(SIRANE_SETUP) && result == 0; i++) {
        result = write_setting(library_handle, address, SIRANE_SETUP[i]);
    }
    if (result != 0) {
        return result;
    }
    return set_power(library_handle, address, KELVANE_DIAGNOSTIC_HIGH_POWER,
                     "Diag command (high power) failed");
}

void client_print_running_version(int32_t device)
{
    uint32_t major = 0;
    uint32_t minor = 0;
    client_api_check("kelvane_get_software_running", kelvane_get_software_running, client_handle(),
                     address_of_device(device), &major, &minor);
    console_line("Running Firmware Version for device (%d): (%x.%x)", device, major, minor);
}

uint32_t client_check_compatibility()
{
    console_line("Checking if SDK is compatible with firmware...");
    uint32_t verdict = KELVANE_COMP_UNDEF;
    client_api_check("kelvane_software_version_comp_check", kelvane_software_version_comp_check,
                     client_handle(), &verdict);
    if (verdict == KELVANE_COMP_SW_ALIGNED) {
        console_line("SDK And Firmware are compatible");
    } else if (verdict == KELVANE_COMP_SW_WARNING_NOT_ALIGNED) {
        console_line("Warning: SDK not aligned update not needed");
    } else if (verdict == KELVANE_COMP_SW_FATAL_NOT_ALIGNED) {
        console_line("Incompatible: SDK not aligned update needed");
    }
    return verdict;
}
