#include "mock_client/commands.h"

#include <cstring>
#include <string>

#include "kelvane.h"
#include "mock_client/api_check.h"
#include "mock_client/client.h"
#include "mock_client/client_alarms.h"
#include "mock_client/client_device.h"
#include "mock_client/client_firmware.h"
#include "mock_client/client_pm.h"
#include "mock_client/client_status.h"
#include "mock_client/client_traffic.h"
#include "mock_client/console.h"
#include "mock_client/device_number.h"
#include "mock_client/device_table.h"
#include "mock_client/legend.h"
#include "mock_client/tokens.h"

namespace {

struct command_call {
    const char *line;     // whole
    const char *argument; // the line from the command's argument offset, "" beyond its end
    const client_options &options;
    int32_t &result;
};

constexpr size_t NO_ARGUMENT = SIZE_MAX;

struct command {
    const char *word;
    size_t length;   // this many characters of the word select it; what follows them is not looked at
    size_t argument; // fixed offset in the line
    command_outcome (*run)(const command_call &call);
};

bool device_of(const command_call &call, int32_t &device)
{
    const char *rest = call.argument;
    return next_device_number(rest, device);
}

// The first step of alarms and of version, whose messages are the same.
bool traced_number(const char *traced, const char *text, int32_t &number)
{
    console_debug("Input buffer: (%s)", traced);
    std::string token;
    if (!next_token(text, token)) {
        console_error("Invalid input. Enter a valid device number for version check");
        return false;
    }
    console_debug("Word after tokenize: (%s)", token.c_str());
    number = decimal_of(token);
    return true;
}

void configure(int32_t device, const client_options &options)
{
    client_init_device(device, options.asynchronous, options.laser_channel, options.traffic_type);
}

command_outcome run_help(const command_call &)
{
    client_print_legend();
    return command_outcome::go_on;
}

command_outcome run_alarms(const command_call &call)
{
    int32_t device = 0;
    // Traced from one character before the place where the number is looked for.
    if (!traced_number(call.line + strlen("alarms"), call.argument, device)) {
        return command_outcome::go_on;
    }
    console_line("Performing init...");
    configure(device, call.options);
    console_line("Getting Sirane Network Port Alarms...");
    client_print_network_alarms(device);
    console_line("Getting Generic Alarms...");
    client_print_generic_alarms(device);
    for (const module_port &port : client_module_ports(device)) {
        console_line("Getting XPM2 Alarms for XPM2 %d...", port.module);
        client_print_xpm2_alarms(port.number);
    }
    return command_outcome::go_on;
}

command_outcome run_version(const command_call &call)
{
    int32_t device = 0;
    if (traced_number(call.argument, call.argument, device)) {
        client_print_running_version(device);
    }
    return command_outcome::go_on;
}

command_outcome run_pm(const command_call &call)
{
    const client_options &options = call.options;
    client_pm(call.argument, options.asynchronous, options.laser_channel, options.traffic_type);
    return command_outcome::go_on;
}

command_outcome run_dump_arm_logs(const command_call &)
{
    console_line("Collecting logs, please wait...");
    if (client_api_check("kelvane_ps_print_trace", kelvane_ps_print_trace, client_handle()) == 0) {
        console_line("ARM log traces saved to /root/ordune.log");
    } else {
        console_error("Unable to get ARM logs");
    }
    return command_outcome::go_on;
}

command_outcome run_dump_status_info(const command_call &)
{
    console_line("Dumping Subsystem Status info");
    if (client_dump_status_info() == 0) {
        console_line("Done");
    } else {
        console_error("Unable to fetch Subsystem Status info");
    }
    return command_outcome::go_on;
}

command_outcome run_write(const command_call &call)
{
    if (client_write_register(call.argument) != 0) {
        console_error("Failed to write register ");
    }
    return command_outcome::go_on;
}

command_outcome run_read(const command_call &call)
{
    if (client_read_register(call.argument) != 0) {
        console_error("Failed to read register ");
    }
    return command_outcome::go_on;
}

command_outcome run_upgrade(const command_call &call)
{
    if (client_upgrade(call.argument) != 0) {
        console_error("Failed to upgrade FPGA ");
    }
    return command_outcome::go_on;
}

command_outcome run_activate(const command_call &call)
{
    if (client_activate(call.argument) != 0) {
        console_error("Failed to activate FPGA ");
    }
    return command_outcome::go_on;
}

command_outcome run_quit(const command_call &)
{
    return command_outcome::quit;
}

// Always the first sirane: an argument is asked for, but its value has no effect.
command_outcome run_init_sirane(const command_call &call)
{
    int32_t ignored = 0;
    if (device_of(call, ignored)) {
        const int32_t result = client_init_sirane(handler, 1);
        console_line("RC of sirane init sequence 0x%x", static_cast<uint32_t>(result));
    }
    return command_outcome::go_on;
}

command_outcome run_get(const command_call &call)
{
    int32_t device = 0;
    if (device_of(call, device)) {
        const kelvane_handle handle = client_handle();
        client_get_traffic_type(handle, device);
        client_get_laser_channel(handle, device);
        client_get_laser(handle, device);
    }
    return command_outcome::go_on;
}

command_outcome run_init(const command_call &call)
{
    int32_t device = 0;
    if (device_of(call, device)) {
        configure(device, call.options);
    }
    return command_outcome::go_on;
}

command_outcome run_deinit(const command_call &)
{
    if (hespera_hal_device_deinit() != 0) {
        console_error("Failed to a deinit hespera");
    }
    return command_outcome::go_on;
}

command_outcome run_laser_tout(const command_call &call)
{
    int32_t device = 0;
    if (!device_of(call, device)) {
        return command_outcome::go_on;
    }
    const uint32_t address = address_of_device(device);
    console_line("Calling laser timeout for device %d (0x%x)", device, address);
    const int32_t result = client_api_check("kelvane_diag_command", kelvane_diag_command, client_handle(),
                                            address, KELVANE_DIAGNOSTIC_LASER_TIMEOUT);
    if (result != 0) {
        console_failure("Diag command (laser timeout err) failed\n", result);
        call.result = result;
        return command_outcome::leave;
    }
    return command_outcome::go_on;
}

command_outcome run_sirane_reset(const command_call &call)
{
    int32_t device = 0;
    if (!device_of(call, device)) {
        return command_outcome::go_on;
    }
    const uint32_t address = address_of_device(device);
    console_line("Calling sirane reset for device %d (0x%x)", device, address);
    const int32_t result = kelvane_recover_device(client_handle(), address);
    if (result == 0) {
        console_line("Successfully reset the sirane %d", device);
    } else {
        console_error("Failed to reset the sirane %d, rc=0x%x", device, static_cast<uint32_t>(result));
    }
    return command_outcome::go_on;
}

// The first row that matches wins.
constexpr command COMMANDS[] = {
    {"help", 4, NO_ARGUMENT, run_help},
    {"alarms", 6, 7, run_alarms},
    {"version", 7, 7, run_version},
    {"pm", 2, 2, run_pm},
    {"dump_arm_logs", 13, NO_ARGUMENT, run_dump_arm_logs},
    {"dump_status_info", 16, NO_ARGUMENT, run_dump_status_info},
    {"write", 5, 5, run_write},
    {"read", 4, 4, run_read},
    {"upgrade", 7, 7, run_upgrade},
    {"activate", 8, 8, run_activate},
    {"quit", 4, NO_ARGUMENT, run_quit},
    {"exit", 4, NO_ARGUMENT, run_quit},
    {"init_sirane", 10, 10, run_init_sirane}, // the word's last letter already counts as its argument
    {"get", 3, 3, run_get},
    {"init", 4, 4, run_init},
    {"deinit", 6, NO_ARGUMENT, run_deinit},
    {"laser_tout", 10, 10, run_laser_tout},
    {"sirane_reset", 12, 12, run_sirane_reset},
};

} // namespace

command_outcome command_run(const char *line, const client_options &options, int32_t &result)
{
    const size_t length = strlen(line);
    for (const command &row : COMMANDS) {
        if (strncmp(line, row.word, row.length) == 0) {
            const char *argument = row.argument <= length ? line + row.argument : "";
            return row.run({line, argument, options, result});
        }
    }
    console_error_text(">>> ERROR <<<Invalid input <<<< %s >>>> ", line);
    client_print_legend();
    return command_outcome::go_on;
}
