#include "card_simulator/state/measurements.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

#include "card_simulator/state/durations.h"

namespace {

constexpr double DEGREE = TEMPERATURE_UNITS_PER_DEGREE;

// A quantity that swings slowly about a middle, which varies a little from device to device.
struct quantity {
    uint32_t id; // its own; the seed of its phases
    double middle;
    double spread; // of the middle
    double swing;
};

constexpr quantity SIRANE_TEMPERATURE = {1, 62 * DEGREE, 3 * DEGREE, 2 * DEGREE};
constexpr quantity CONTROLLER_TEMPERATURE = {2, 48 * DEGREE, 2 * DEGREE, 1 * DEGREE};
constexpr quantity MODULE_TEMPERATURE = {3, 44 * DEGREE, 3 * DEGREE, 2 * DEGREE};
constexpr quantity TRANSMIT_AGE = {4, 6, 3, 0};
constexpr quantity RECEIVE_AGE = {5, 4, 2, 0};
constexpr quantity OUTPUT_POWER_ERROR = {6, 0, 3, 5};
constexpr quantity INPUT_POWER = {7, -1100, 300, 20};
constexpr quantity SIGNAL_LOSS = {8, 60, 10, 5}; // of the wanted channel against all light
constexpr quantity DISPERSION = {9, 1200, 600, 12};
constexpr quantity GROUP_DELAY = {10, 6, 2, 3};
constexpr quantity SIGNAL_TO_NOISE = {11, 280, 15, 6};
constexpr quantity ERROR_EXPONENT = {12, -3.6, 0.3, 0.15}; // power of ten
constexpr quantity SECOND_ORDER_PMD = {13, 20, 6, 8};
constexpr quantity POLARISATION_CHI = {14, 0, 100, 300};
constexpr quantity POLARISATION_PHI = {15, 0, 400, 1300};
constexpr quantity POLARISATION_LOSS = {16, 8, 3, 4};
constexpr quantity CORRECTED_BITS_RATE = {17, 118000, 20000, 0}; // a second
constexpr quantity FRAME_RATE = {18, 10000, 1000, 0};            // a second
constexpr quantity FRAME_BURSTS = {19, 2500, 0, 2000};           // frames ahead of the rate
constexpr quantity HOST_ERROR_EXPONENT = {20, -7, 0.5, 0.3};
constexpr quantity OSCILLATOR = {21, 1.1, 0.05, 0.004}; // and the three after it

uint64_t mixed(uint64_t value)
{
    value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9;
    value = (value ^ value >> 27) * 0x94D049BB133111EB;
    return value ^ value >> 31;
}

// Number `index` of the random numbers in 0 to 1 that belong to a quantity of a place on the card.
double random_of(const card_state &state, uint32_t place, const quantity &it, uint32_t index)
{
    const uint64_t key = mixed(state.seed) + (uint64_t{place} << 40 | uint64_t{it.id} << 8 | index);
    return static_cast<double>(mixed(mixed(key)) >> 11) / 0x1p53;
}

double wave(double second, double period, double phase)
{
    return std::sin(2 * std::numbers::pi * (second / period + phase));
}

double value_of(const card_state &state, uint32_t place, const quantity &it, uint64_t second)
{
    const auto at = static_cast<double>(second);
    const double slow = wave(at, 300 + 300 * random_of(state, place, it, 0), random_of(state, place, it, 1));
    const double fast = wave(at, 40 + 40 * random_of(state, place, it, 2), random_of(state, place, it, 3));
    return it.middle + it.spread * (2 * random_of(state, place, it, 4) - 1) +
           it.swing * (0.7 * slow + 0.3 * fast);
}

int32_t whole(double value)
{
    return static_cast<int32_t>(std::lround(value));
}

uint64_t uptime_s(const card_state &state)
{
    return uptime_ns(state) / NS_PER_S;
}

// Host ports are places of their own, numbered after the devices.
uint32_t place_of_host_port(uint32_t sirane_id, uint32_t host_port)
{
    return DEVICE_COUNT + HOST_PORTS_PER_SIRANE * sirane_id + host_port;
}

bool has_light(const card_state &state, uint32_t device)
{
    return has_module(state, device) && state.devices[device].port.laser != 0 &&
           !state.devices[sirane_device(sirane_of_device(device))].low_power;
}

uint64_t counted_seconds(const signal_clock &clock, uint64_t now)
{
    return clock.before_s + (clock.runs ? now - clock.since_s : 0);
}

// The part of the measuring interval that is over, one sample a second.
struct interval {
    uint64_t first;
    uint64_t last;
};

interval interval_of(const card_state &state, uint32_t device, uint64_t now)
{
    const uint32_t length = pm_interval_s(state, sirane_of_device(device));
    return {std::max(now - now % length, state.signals[device].since_s), now};
}

template <typename number> struct summary {
    number current;
    number min;
    number max;
    number average;
};

template <typename number, typename sample_at> summary<number> summary_of(const interval &over, sample_at at)
{
    summary<number> it{at(over.last), at(over.last), at(over.last), 0};
    double sum = 0;
    for (uint64_t second = over.first; second <= over.last; second++) {
        const number sample = at(second);
        it.min = std::min(it.min, sample);
        it.max = std::max(it.max, sample);
        sum += sample;
    }
    const double average = sum / static_cast<double>(over.last - over.first + 1);
    it.average = std::clamp(static_cast<number>(average), it.min, it.max);
    return it;
}

uint64_t frames_until(const card_state &state, uint32_t place, uint64_t now)
{
    const double rate = value_of(state, place, FRAME_RATE, 0);
    return static_cast<uint64_t>(rate * static_cast<double>(now) + value_of(state, place, FRAME_BURSTS, now));
}

constexpr uint64_t SECONDS_PER_BAD_FRAME = 97;
constexpr uint32_t BAD_FRAME_BYTES = 64;

// Shares of the frame sizes, and a typical size of each.
struct frame_size {
    uint32_t percent;
    uint32_t bytes;
};

constexpr uint32_t FRAME_SIZES = 8;
constexpr frame_size GOOD_FRAMES[FRAME_SIZES] = {{30, 64},  {10, 100},  {8, 200},  {7, 400},
                                                 {10, 800}, {30, 1400}, {3, 1522}, {2, 9000}};

uint64_t good_octets(uint64_t frames)
{
    uint64_t octets = 0;
    for (const frame_size &size : GOOD_FRAMES) {
        octets += frames * size.percent / 100 * size.bytes;
    }
    return octets;
}

// The four groups of a port's frame counters have one layout, here in words.
constexpr uint32_t GROUP_WORDS = 14;
constexpr uint32_t GROUP_OCTETS = 2; // and 3
constexpr uint32_t GROUP_MULTICAST = 4;
constexpr uint32_t GROUP_BROADCAST = 5;
constexpr uint32_t GROUP_SIZES = 6;
enum frame_group : uint32_t { TX_GOOD, TX_BAD, RX_GOOD, RX_BAD, FRAME_GROUPS };

using frame_counter_words = uint32_t[sizeof(kelvane_hostport_pcs_counters) / sizeof(uint32_t)];

void put_group(frame_counter_words &words, frame_group group, uint64_t frames, uint64_t octets)
{
    uint32_t *const at = words + GROUP_WORDS * group;
    at[0] = static_cast<uint32_t>(frames);
    at[GROUP_OCTETS] = static_cast<uint32_t>(octets);
    at[GROUP_OCTETS + 1] = static_cast<uint32_t>(octets >> 32);
}

void put_good(frame_counter_words &words, frame_group group, uint64_t frames)
{
    put_group(words, group, frames, good_octets(frames));
    uint32_t *const at = words + GROUP_WORDS * group;
    at[GROUP_MULTICAST] = static_cast<uint32_t>(frames / 50);
    at[GROUP_BROADCAST] = static_cast<uint32_t>(frames / 200);
    for (uint32_t i = 0; i < FRAME_SIZES; i++) {
        at[GROUP_SIZES + i] = static_cast<uint32_t>(frames * GOOD_FRAMES[i].percent / 100);
    }
}

void put_bad(frame_counter_words &words, frame_group group, uint64_t frames)
{
    put_group(words, group, frames, frames * BAD_FRAME_BYTES);
    words[GROUP_WORDS * group + GROUP_SIZES] = static_cast<uint32_t>(frames);
}

void measure_line(const card_state &state, uint32_t device, const interval &over, kelvane_sirane_port_pm *pm)
{
    const auto integer = [&state, device, &over](const quantity &it) {
        return summary_of<int32_t>(over, [&state, device, &it](uint64_t second) {
            return whole(value_of(state, device, it, second));
        });
    };
    const auto put = [&integer](const quantity &it, int32_t *current, int32_t *min, int32_t *max,
                                int32_t *average) {
        const summary<int32_t> values = integer(it);
        *current = values.current;
        *min = values.min;
        *max = values.max;
        *average = values.average;
    };
    put(DISPERSION, &pm->rx_cd_curr, &pm->rx_cd_min, &pm->rx_cd_max, &pm->rx_cd_avg);
    put(GROUP_DELAY, &pm->rx_dgd_curr, &pm->rx_dgd_min, &pm->rx_dgd_max, &pm->rx_dgd_avg);
    put(SIGNAL_TO_NOISE, &pm->rx_osnr_curr, &pm->rx_osnr_min, &pm->rx_osnr_max, &pm->rx_osnr_avg);
    put(SECOND_ORDER_PMD, &pm->sopmd_cur, &pm->sopmd_min, &pm->sopmd_max, &pm->sopmd_ave);
    put(POLARISATION_LOSS, &pm->pdl_cur, &pm->pdl_min, &pm->pdl_max, &pm->pdl_ave);
    pm->sop_chi = whole(value_of(state, device, POLARISATION_CHI, over.last));
    pm->sop_phi = whole(value_of(state, device, POLARISATION_PHI, over.last));
    const summary<float> errors = summary_of<float>(over, [&state, device](uint64_t second) {
        return static_cast<float>(std::pow(10, value_of(state, device, ERROR_EXPONENT, second)));
    });
    pm->pre_fec_ber_est_curr = errors.current;
    pm->pre_fec_ber_est_min = errors.min;
    pm->pre_fec_ber_est_max = errors.max;
    pm->pre_fec_ber_est_avg = errors.average;
}

} // namespace

uint32_t pm_interval_s(const card_state &state, uint32_t sirane_id)
{
    const uint32_t asked_s = state.devices[sirane_device(sirane_id)].sirane.pm_interval_s;
    return asked_s == 0 ? PM_INTERVAL_DEFAULT_S : asked_s;
}

void measurements_follow(card_state &state)
{
    const uint64_t now = uptime_s(state);
    for (uint32_t device = 0; device < DEVICE_COUNT; device++) {
        signal_clock &clock = state.signals[device];
        if (!is_module_device(device) || has_light(state, device) == clock.runs) {
            continue;
        }
        clock.before_s = counted_seconds(clock, now);
        clock.since_s = now;
        clock.runs = !clock.runs;
    }
}

kelvane_xpm2_port_pm measure_module(const card_state &state, uint32_t device)
{
    kelvane_xpm2_port_pm pm = {0, 0, NO_LIGHT_POWER, NO_LIGHT_POWER, NO_LIGHT_POWER, 0};
    if (!has_module(state, device)) {
        return pm;
    }
    const auto now = [&state, device, second = uptime_s(state)](const quantity &it) {
        return whole(value_of(state, device, it, second));
    };
    const port_settings &port = state.devices[device].port;
    pm.tx_laser_eol = now(TRANSMIT_AGE);
    pm.rx_laser_eol = now(RECEIVE_AGE);
    pm.xpm2_temperature = now(MODULE_TEMPERATURE);
    pm.optical_input_power = now(INPUT_POWER); // the far end shines, whatever happens here
    if (has_light(state, device)) {
        pm.optical_signal_power = pm.optical_input_power - now(SIGNAL_LOSS);
        if (port.tx_disable == 0) {
            pm.optical_output_power = port.target_power + now(OUTPUT_POWER_ERROR);
        }
    }
    return pm;
}

kelvane_sirane_port_pm measure_network_port(const card_state &state, uint32_t device)
{
    kelvane_sirane_port_pm pm = {};
    const uint64_t now = uptime_s(state);
    const uint64_t seconds = counted_seconds(state.signals[device], now);
    pm.bip8_error_counter = static_cast<int32_t>(seconds / 211);
    pm.bei_error_counter = static_cast<int32_t>(seconds / 307);
    if (has_light(state, device)) {
        const interval over = interval_of(state, device, now);
        measure_line(state, device, over, &pm);
        const double rate = value_of(state, device, CORRECTED_BITS_RATE, 0);
        pm.corrected_bits_count_pm_int =
            static_cast<uint64_t>(rate * static_cast<double>(over.last - over.first + 1));
    }
    return pm;
}

host_pm measure_host_port(const card_state &state, uint32_t sirane_id, uint32_t host_port)
{
    const uint64_t now = uptime_s(state);
    const uint32_t place = place_of_host_port(sirane_id, host_port);
    const uint64_t frames = frames_until(state, place, now);
    host_pm pm = {};
    if (state.client == host_client::ethernet) {
        const uint64_t bad = now / SECONDS_PER_BAD_FRAME;
        pm.frames.rx_good_frame = static_cast<uint32_t>(frames);
        pm.frames.rx_good_octects = good_octets(frames);
        pm.frames.rx_bad_frame = static_cast<uint32_t>(bad);
        pm.frames.rx_bad_octects = bad * BAD_FRAME_BYTES;
    } else {
        pm.otn.fec_frame_counter = frames;
        pm.otn.corrected_bits_counter = static_cast<uint32_t>(frames / 40);
        pm.otn.pre_fec_ber_est =
            static_cast<float>(std::pow(10, value_of(state, place, HOST_ERROR_EXPONENT, now)));
        pm.otn.otn_sm_bei_counter = static_cast<uint32_t>(now / 401);
        pm.otn.otn_sm_bip_8_violation_counter = static_cast<uint32_t>(now / 499);
        pm.otn.otn_pm_bei_count = static_cast<uint32_t>(now / 601);
        pm.otn.otn_pm_bip_8_violation_counter = static_cast<uint32_t>(now / 701);
    }
    return pm;
}

kelvane_generic_pm measure_generic(const card_state &state, uint32_t sirane_id)
{
    const uint64_t now = uptime_s(state);
    return {whole(value_of(state, sirane_device(sirane_id), SIRANE_TEMPERATURE, now)),
            whole(value_of(state, BOARD_DEVICE, CONTROLLER_TEMPERATURE, now))};
}

kelvane_global_pm measure_sirane(const card_state &state, uint32_t sirane_id)
{
    kelvane_global_pm pm = {};
    for (uint32_t port = 0; port < HOST_PORTS_PER_SIRANE; port++) {
        pm.host[port] = measure_host_port(state, sirane_id, port);
    }
    for (uint32_t port = 0; port < NETWORK_PORTS_PER_SIRANE; port++) {
        pm.sirane_port[port] = measure_network_port(state, module_device(sirane_id, port));
        pm.xpm2_port[port] = measure_module(state, module_device(sirane_id, port));
    }
    pm.generic = measure_generic(state, sirane_id);
    return pm;
}

kelvane_hostport_pcs_counters count_frames(const card_state &state, uint32_t sirane_id, uint32_t host_port)
{
    const uint64_t now = uptime_s(state);
    const uint64_t received = frames_until(state, place_of_host_port(sirane_id, host_port), now);
    frame_counter_words words = {};
    put_good(words, RX_GOOD, received);
    put_good(words, TX_GOOD, received - received / 16); // the line brings a little less
    put_bad(words, RX_BAD, now / SECONDS_PER_BAD_FRAME);
    put_bad(words, TX_BAD, 0);
    words[GROUP_WORDS * FRAME_GROUPS] = static_cast<uint32_t>(now);
    kelvane_hostport_pcs_counters counters;
    static_assert(sizeof counters == sizeof words);
    std::memcpy(&counters, words, sizeof counters);
    return counters;
}

float measure_oscillator(const card_state &state, uint32_t sirane_id, uint32_t oscillator)
{
    quantity it = OSCILLATOR;
    it.id += oscillator;
    return static_cast<float>(value_of(state, sirane_device(sirane_id), it, uptime_s(state)));
}
