#include "library/wire_rows.h"

namespace {

const wire_row rows[] = {
    {"kelvane_set_traffic_type", [](auto h, auto a, auto *) { return kelvane_set_traffic_type(h, a, 18, nullptr, 2); }, OWN, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {0, 0x1234, 4, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF, 18, 2}, {}, {}},
    {"kelvane_set_laser", [](auto h, auto a, auto *) { return kelvane_set_laser(h, a, 1, nullptr, 9); }, OWN, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {2, 0x1234, 4, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF, 1, 9}, {}, {}},
    {"kelvane_set_laser_channel", [](auto h, auto a, auto *) { return kelvane_set_laser_channel(h, a, -5, 1); }, OWN, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {4, 0x1234, 4, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF, 0xFFFFFFFB, 1}, {}, {}},
    {"kelvane_set_laser_bright_tuning", [](auto h, auto a, auto *) { return kelvane_set_laser_bright_tuning(h, a, 7, 2); }, OWN, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {6, 0x1234, 4, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF, 7, 2}, {}, {}},
    {"kelvane_set_optical_output_power", [](auto h, auto a, auto *) { return kelvane_set_optical_output_power(h, a, -2.5f); }, OWN, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {8, 0x1234, 3, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF, 0xC0200000}, {}, {}},
    {"kelvane_set_optical_output_power_v2", [](auto h, auto a, auto *) { return kelvane_set_optical_output_power_v2(h, a, 3); }, OWN, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {8, 0x1234, 3, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF, 0x40400000}, {}, {}},
    {"kelvane_set_runtime_optical_output_power", [](auto h, auto a, auto *) { return kelvane_set_runtime_optical_output_power(h, a, -3); }, OWN, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {58, 0x1234, 3, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF, 0xFFFFFFFD}, {}, {}},
    {"kelvane_set_xpm2_simulated_oir", [](auto h, auto a, auto *) { return kelvane_set_xpm2_simulated_oir(h, a, 1); }, SHARED, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {39, 0x1234, 3, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF, 1}, {}, {}},
    {"kelvane_set_tx_disable", [](auto h, auto a, auto *) { return kelvane_set_tx_disable(h, a, 1); }, SHARED, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {42, 0x1234, 3, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF, 1}, {}, {}},
    {"kelvane_set_xpm2_led", [](auto h, auto a, auto *) { return kelvane_set_xpm2_led(h, a, 3); }, SHARED, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {43, 0x1234, 3, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF, 3}, {}, {}},
    {"kelvane_set_network_loopback", [](auto h, auto a, auto *) { return kelvane_set_network_loopback(h, a, 2); }, SHARED, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {45, 0x1234, 3, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF, 2}, {}, {}},
    {"kelvane_set_host_loopback", [](auto h, auto a, auto *) { return kelvane_set_host_loopback(h, a, 2); }, SHARED, RETURNS_RC, DEVICE, 0xFF00FFFF, {46, 0x1234, 3, 0, 0xFF00FF00, 0}, {0, 0xFF00FFFF, 2}, {}, {}},
    {"kelvane_set_rx_cd_low_search_value", [](auto h, auto a, auto *) { return kelvane_set_rx_cd_low_search_value(h, a, -1000); }, SHARED, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {49, 0x1234, 3, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF, 0xFFFFFC18}, {}, {}},
    {"kelvane_set_rx_cd_high_search_value", [](auto h, auto a, auto *) { return kelvane_set_rx_cd_high_search_value(h, a, 1000); }, SHARED, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {50, 0x1234, 3, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF, 1000}, {}, {}},
    {"kelvane_set_laser_channel_flex_grid", [](auto h, auto a, auto *) { return kelvane_set_laser_channel_flex_grid(h, a, 1937000, 2); }, SHARED, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {63, 0x1234, 4, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF, 1937000, 2}, {}, {}},
    {"kelvane_get_traffic_type", [](auto h, auto a, auto *out) { return kelvane_get_traffic_type(h, a, static_cast<uint32_t *>(out)); }, OWN, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {1, 0x1234, 3, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF, 24}, {0x80001234, 5}, {0x80001234}},
    {"kelvane_get_laser", [](auto h, auto a, auto *out) { return kelvane_get_laser(h, a, static_cast<uint32_t *>(out)); }, OWN, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {3, 0x1234, 3, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF}, {0x80001234, 5}, {0x80001234}},
    {"kelvane_get_laser_channel", [](auto h, auto a, auto *out) { return kelvane_get_laser_channel(h, a, static_cast<uint32_t *>(out), 2); }, OWN, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {5, 0x1234, 4, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF, 0, 2}, {0x80001234, 5}, {0x80001234}},
    {"kelvane_get_laser_bright_tuning", [](auto h, auto a, auto *out) { return kelvane_get_laser_bright_tuning(h, a, static_cast<uint32_t *>(out), 1); }, OWN, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {7, 0x1234, 4, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF, 0, 1}, {0x80001234, 5}, {0x80001234}},
    {"kelvane_get_config_optical_output_power", [](auto h, auto a, auto *out) { return kelvane_get_config_optical_output_power(h, a, static_cast<uint32_t *>(out)); }, SHARED, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {57, 0x1234, 3, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF}, {0x80001234, 5}, {0x80001234}},
    {"kelvane_is_xpm2_present", [](auto h, auto a, auto *out) { return kelvane_is_xpm2_present(h, a, static_cast<uint32_t *>(out)); }, SHARED, RETURNS_RC, DEVICE, 0xFF00FFFF, {17, 0x1234, 4, 0, 0xFF00FF00, 0}, {0, 0xFF00FFFF}, {0x80001234, 5}, {0x80001234}},
    {"kelvane_get_xpm2_led", [](auto h, auto a, auto *out) { return kelvane_get_xpm2_led(h, a, static_cast<uint32_t *>(out)); }, SHARED, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {44, 0x1234, 3, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF}, {0x80001234, 5}, {0x80001234}},
    {"kelvane_get_host_loopback", [](auto h, auto a, auto *out) { return kelvane_get_host_loopback(h, a, static_cast<uint32_t *>(out)); }, SHARED, RETURNS_RC, DEVICE, 0xFF00FFFF, {47, 0x1234, 3, 0, 0xFF00FF00, 0}, {0, 0xFF00FFFF}, {0x80001234, 5}, {0x80001234}},
    {"kelvane_get_network_loopback", [](auto h, auto a, auto *out) { return kelvane_get_network_loopback(h, a, static_cast<uint32_t *>(out)); }, SHARED, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {48, 0x1234, 3, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF}, {0x80001234, 5}, {0x80001234}},
    {"kelvane_get_rx_cd_low_search_value", [](auto h, auto a, auto *out) { return kelvane_get_rx_cd_low_search_value(h, a, static_cast<uint32_t *>(out)); }, SHARED, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {51, 0x1234, 3, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF}, {0x80001234, 5}, {0x80001234}},
    {"kelvane_get_rx_cd_high_search_value", [](auto h, auto a, auto *out) { return kelvane_get_rx_cd_high_search_value(h, a, static_cast<uint32_t *>(out)); }, SHARED, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {52, 0x1234, 3, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF}, {0x80001234, 5}, {0x80001234}},
    {"kelvane_get_laser_channel_flex_grid", [](auto h, auto a, auto *out) { return kelvane_get_laser_channel_flex_grid(h, a, static_cast<uint32_t *>(out), 0); }, SHARED, RETURNS_RC, NETWORK_PORT, 0xFF0001FF, {64, 0x1234, 4, 0, 0xFF00FF00, 0}, {0, 0xFF0001FF}, {0x80001234, 5}, {0x80001234}},
    {"kelvane_set_cons_action", [](auto h, auto a, auto *) { return kelvane_set_cons_action(h, a, 3, -4); }, SHARED, IGNORES_RC, SIRANE, 0xFF00FFFF, {65, 0x1234, 4, 0, 0xFF00FF00, 0}, {0, 0xFF00FFFF, 3, 0xFFFFFFFC}, {}, {}},
    {"kelvane_global_provisioned_config", [](auto h, auto a, auto *out) { return kelvane_global_provisioned_config(h, a, static_cast<kelvane_provisioned_config_t *>(out)); }, SHARED, RETURNS_RC, SIRANE, 0xFF00FFFF, {40, 0x1234, 32, 1, 0xFF00FF00, 0}, {0, 0xFF00FFFF}, count_up(30), count_up(30)},
    {"kelvane_get_subsystem_status_info", [](auto h, auto a, auto *out) { return kelvane_get_subsystem_status_info(h, a, static_cast<kelvane_subsystem_status_t *>(out)); }, SHARED, RETURNS_RC, SIRANE, 0xFF00FFFF, {53, 0x1234, 39, 0, 0xFF00FF00, 0}, {0, 0xFF00FFFF}, count_up(37), count_up(37)},
};

} // namespace

const std::span<const wire_row> provisioning_rows = rows;
