#include "card_simulator/console/device_show.h"

#include <cinttypes>
#include <cstring>

#include "card_simulator/state/append_text.h"
#include "card_simulator/state/measurements.h"

namespace {

constexpr double DEGREE = TEMPERATURE_UNITS_PER_DEGREE;
constexpr double DBM = POWER_UNITS_PER_DBM;

float float_of(uint32_t bits)
{
    float value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

struct module_line {
    const char *name;
    uint32_t port_settings::*value;
};

constexpr module_line MODULE_LINES[] = {
    {"traffic type", &port_settings::traffic_type},
    {"laser", &port_settings::laser},
    {"tx disable", &port_settings::tx_disable},
    {"led", &port_settings::led},
    {"network loopback", &port_settings::network_loopback},
    {"cd low search", &port_settings::cd_low_search},
    {"cd high search", &port_settings::cd_high_search},
};

void append_settings(std::string &text, const port_settings &port)
{
    for (const module_line &line : MODULE_LINES) {
        append(text, "    %s %d\n", line.name, static_cast<int32_t>(port.*line.value));
    }
    append(text, "    channel tx %u rx %u (0.1 GHz), bright tuning tx %u rx %u\n", port.channel[TRANSMIT],
           port.channel[RECEIVE], port.bright_tuning[TRANSMIT], port.bright_tuning[RECEIVE]);
    append(text, "    power configured %.2f dBm, in use %.2f dBm\n",
           static_cast<double>(float_of(port.power)), port.target_power / DBM);
}

// One measured quantity of a network port, over the interval.
struct line_measure {
    const char *name;
    const char *unit;
    int32_t kelvane_sirane_port_pm::*current;
    int32_t kelvane_sirane_port_pm::*min;
    int32_t kelvane_sirane_port_pm::*max;
    int32_t kelvane_sirane_port_pm::*average;
};

using port_pm = kelvane_sirane_port_pm;

constexpr line_measure LINE_MEASURES[] = {
    {"rx cd", "ps/nm", &port_pm::rx_cd_curr, &port_pm::rx_cd_min, &port_pm::rx_cd_max, &port_pm::rx_cd_avg},
    {"rx dgd", "ps", &port_pm::rx_dgd_curr, &port_pm::rx_dgd_min, &port_pm::rx_dgd_max, &port_pm::rx_dgd_avg},
    {"rx osnr", "dB/10", &port_pm::rx_osnr_curr, &port_pm::rx_osnr_min, &port_pm::rx_osnr_max,
     &port_pm::rx_osnr_avg},
    {"sopmd", "ps^2", &port_pm::sopmd_cur, &port_pm::sopmd_min, &port_pm::sopmd_max, &port_pm::sopmd_ave},
    {"pdl", "dB/10", &port_pm::pdl_cur, &port_pm::pdl_min, &port_pm::pdl_max, &port_pm::pdl_ave},
};

void append_measurements(std::string &text, const card_state &state, uint32_t device)
{
    const kelvane_xpm2_port_pm module = measure_module(state, device);
    append(text, "    output %.2f input %.2f signal %.2f dBm, %.1f degree C\n",
           module.optical_output_power / DBM, module.optical_input_power / DBM,
           module.optical_signal_power / DBM, module.xpm2_temperature / DEGREE);
    const port_pm port = measure_network_port(state, device);
    append(text, "    %d parity errors here, %d at the far end%s\n", port.bip8_error_counter,
           port.bei_error_counter, state.signals[device].runs ? "" : ", no signal");
    if (!state.signals[device].runs) {
        return;
    }
    for (const line_measure &it : LINE_MEASURES) {
        append(text, "    %s %d, from %d to %d, average %d %s\n", it.name, port.*it.current, port.*it.min,
               port.*it.max, port.*it.average, it.unit);
    }
    append(text, "    errors before FEC %.3e, corrected bits of the interval %" PRIu64 "\n",
           static_cast<double>(port.pre_fec_ber_est_curr), port.corrected_bits_count_pm_int);
}

void append_subscription(std::string &text, const char *name, const subscription &it)
{
    append(text, "    %s %s, reference 0x%08x, sync word 0x%08x, number %" PRIu64 "\n", name,
           it.enable != 0 ? "on" : "off", it.ref_id, it.sync_word, it.number);
}

void append_sirane(std::string &text, const card_state &state, uint32_t sirane_id)
{
    const sirane_settings &sirane = state.devices[sirane_device(sirane_id)].sirane;
    append(text, "    consequent action 0x%x status 0x%x, pm interval %u s\n", sirane.consequent_action,
           sirane.consequent_status, sirane.pm_interval_s);
    append_subscription(text, "pm batches", state.pm_batches[sirane_id]);
    append_subscription(text, "alarm changes", state.alarm_changes[sirane_id]);
    for (uint32_t port = 0; port < HOST_PORTS_PER_SIRANE; port++) {
        const host_pm pm = measure_host_port(state, sirane_id, port);
        append(text, "    host port %u: loopback %u, ", port, sirane.host_loopback[port]);
        if (state.client == host_client::ethernet) {
            append(text, "%u good and %u bad frames\n", pm.frames.rx_good_frame, pm.frames.rx_bad_frame);
        } else {
            append(text, "%" PRIu64 " FEC frames, %u corrected bits\n", pm.otn.fec_frame_counter,
                   pm.otn.corrected_bits_counter);
        }
    }
    append(text, "    %.1f degree C\n", measure_generic(state, sirane_id).sirane_temperature / DEGREE);
}

} // namespace

std::string device_show(const card_state &state, uint32_t device)
{
    std::string text;
    if (device == BOARD_DEVICE) {
        append(text, "device 0, board: firmware %u.%u, %s host ports\n", state.running.major,
               state.running.minor, state.client == host_client::ethernet ? "ethernet" : "otn");
        append(text, "    %.1f degree C\n", measure_generic(state, 0).ordune_temperature / DEGREE);
    } else if (is_sirane_device(device)) {
        append(text, "device %u, sirane %u\n", device, sirane_of_device(device));
        append_sirane(text, state, sirane_of_device(device));
    } else if (has_module(state, device)) {
        append(text, "device %u, module in port %u of sirane %u\n", device, network_port_of_device(device),
               sirane_of_device(device));
        append_settings(text, state.devices[device].port);
        append_measurements(text, state, device);
    } else {
        append(text, "device %u, empty port %u of sirane %u\n", device, network_port_of_device(device),
               sirane_of_device(device));
    }
    return text;
}
