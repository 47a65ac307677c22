#include "mock_client/client_pm.h"

#include <string>

#include "kelvane.h"
#include "mock_client/api_check.h"
#include "mock_client/client.h"
#include "mock_client/client_traffic.h"
#include "mock_client/console.h"
#include "mock_client/device_table.h"
#include "mock_client/tokens.h"

namespace {

void print_network_port(const kelvane_sirane_port_pm &pm)
{
    console_line("[rx_cd_curr   -> (%d) ps/nm] [rx_cd_min   -> (%d) ps/nm]", pm.rx_cd_curr, pm.rx_cd_min);
    console_line("[rx_cd_max    -> (%d) ps/nm] [rx_cd_avg   -> (%d) ps/nm]", pm.rx_cd_max, pm.rx_cd_avg);
    console_line("[rx_dgd_curr  -> (%d) ps]    [rx_dgd_min  -> (%d) ps]", pm.rx_dgd_curr, pm.rx_dgd_min);
    console_line("[rx_dgd_max   -> (%d) ps]    [rx_dgd_avg  -> (%d) ps]", pm.rx_dgd_max, pm.rx_dgd_avg);
    console_line("[rx_osnr_curr -> (%d) dB]    [rx_osnr_min -> (%d) dB]", pm.rx_osnr_curr, pm.rx_osnr_min);
    console_line("[rx_osnr_max  -> (%d) dB]    [rx_osnr_avg -> (%d) dB]", pm.rx_osnr_max, pm.rx_osnr_avg);
    console_line("[pre_fec_ber_est_curr        -> (%f)] [pre_fec_ber_est_min -> (%f)]",
                 static_cast<double>(pm.pre_fec_ber_est_curr), static_cast<double>(pm.pre_fec_ber_est_min));
    console_line("[pre_fec_ber_est_max         -> (%f)] [pre_fec_ber_est_avg -> (%f)]",
                 static_cast<double>(pm.pre_fec_ber_est_max), static_cast<double>(pm.pre_fec_ber_est_avg));
    console_line("[corrected_bits_count_pm_int -> (%lu)] [uncorrectable_fec_code_block_pm_int -> (%d)]",
                 static_cast<unsigned long>(pm.corrected_bits_count_pm_int),
                 pm.uncorrectable_fec_code_block_pm_int);
    console_line("[bip8_error_counter          -> (%d)", pm.bip8_error_counter);
}

void print_module(const kelvane_xpm2_port_pm &pm)
{
    console_line("[tx_laser_eol         -> (%d) %%]  [rx_laser_eol -> (%d) %%]", pm.tx_laser_eol,
                 pm.rx_laser_eol);
    console_debug("XPM2 Temperature (%x)", static_cast<uint32_t>(pm.xpm2_temperature));
    console_line("[optical_output_power -> (%d) dBm] [optical_input_power -> (%d) dBm]",
                 pm.optical_output_power, pm.optical_input_power);
    // The degrees of a positive temperature, times 256.
    console_line("[optical_signal_power -> (%d) dBm] [xpm2_temperature -> (%i) Celcius]",
                 pm.optical_signal_power, pm.xpm2_temperature & 0xFF00);
}

// Of a word in 1/256 degree these are the fractions, not the degrees.
int32_t signed_low_byte(int32_t word)
{
    return static_cast<int8_t>(word & 0xFF);
}

void print_generic(int32_t device, const kelvane_generic_pm &pm)
{
    console_line("PM values for generic sirane (%d)", device);
    console_debug("Sirane Temperature (%x)", static_cast<uint32_t>(pm.sirane_temperature));
    console_line("Sirane temperature (%i) celcius", signed_low_byte(pm.sirane_temperature));
    console_debug("Hespera Temperature (%x)", static_cast<uint32_t>(pm.ordune_temperature));
    console_line("Hespera temperature (%i) celcius", signed_low_byte(pm.ordune_temperature));
}

} // namespace

void client_pm(const char *text, bool asynchronous, int32_t laser_channel, uint32_t traffic_type)
{
    console_debug("Input buffer: (%s)", text);
    std::string token;
    if (!next_token(text, token)) {
        return;
    }
    console_debug("Word after tokenize: (%s)", token.c_str());
    const int32_t device = decimal_of(token);
    const uint32_t address = address_of_device(device);
    if (address == NO_DEVICE_ADDRESS) {
        return;
    }
    console_line("NOTE: PM information can be obtained only if corresponding host/network port");
    console_line("      has traffic already configured. This operation will turn on laser for the device");
    console_line("Setting Traffic Type and turning ON laser for XPM2 port (%d)", device);
    client_init_device(device, asynchronous, laser_channel, traffic_type);

    for (const module_port &port : client_module_ports(device)) {
        client_print_port_pm(port.number);
    }
    kelvane_generic_pm generic = {};
    if (client_api_check("kelvane_get_generic_pm", kelvane_get_generic_pm, client_handle(), address,
                         &generic) != 0) {
        console_error("Unable to retrieve generic PM values on network port sirane (%d) side", device);
        return;
    }
    print_generic(device, generic);
}

void client_print_port_pm(int32_t port)
{
    console_line("...XPM2 PORT INFO (%d)...", port);
    const kelvane_handle handle = client_handle();
    const uint32_t address = address_of_device(port);

    kelvane_sirane_port_pm network_port = {};
    if (client_api_check("kelvane_get_sirane_port_pm", kelvane_get_sirane_port_pm, handle, address,
                         &network_port) != 0) {
        console_error("Unable to retrieve PM values on network port sirane (%d) side", port);
        return;
    }
    print_network_port(network_port);

    kelvane_xpm2_port_pm module = {};
    if (client_api_check("kelvane_get_xpm2_port_pm", kelvane_get_xpm2_port_pm, handle, address, &module) !=
        0) {
        console_error("Unable to retrieve PM values on network port sirane (%d) side", port);
        return;
    }
    print_module(module);
}
