/* Operations that do nothing: they are reserved, and none is served. Each writes one line to the log and
 * returns 0, whatever its arguments. What many of their names promise is in the records of
 * kelvane_get_xpm2_port_pm, kelvane_get_sirane_port_pm and kelvane_get_generic_pm. Part of kelvane.h. */
#ifndef KELVANE_RESERVED_H
#define KELVANE_RESERVED_H

#include <stdint.h>

/* clang-format off */

/* (handle, device address, value, callback word, transaction id) */
#define KELVANE_RESERVED_SETTERS(operation) \
    operation(kelvane_set_host_unframed_prbs) \
    operation(kelvane_set_host_framed_prbs) \
    operation(kelvane_set_network_framed_prbs)

/* (handle, device address, ...): an output, or whatever else is passed, is neither read nor written */
#define KELVANE_RESERVED_OPERATIONS(operation) \
    operation(kelvane_get_host_unframed_prbs) \
    operation(kelvane_get_host_framed_prbs) \
    operation(kelvane_get_network_framed_prbs) \
    operation(kelvane_get_optical_output_power) \
    operation(kelvane_get_optical_input_power) \
    operation(kelvane_get_optical_signal_power) \
    operation(kelvane_get_tx_modulator_bias_xi) \
    operation(kelvane_get_tx_modulator_bias_xq) \
    operation(kelvane_get_tx_modulator_bias_yi) \
    operation(kelvane_get_tx_modulator_bias_yq) \
    operation(kelvane_get_tx_modulator_bias_phase_x) \
    operation(kelvane_get_tx_modulator_bias_phase_y) \
    operation(kelvane_get_tx_laser_output_power) \
    operation(kelvane_get_tx_laser_eol) \
    operation(kelvane_get_tx_laser_case_temperature) \
    operation(kelvane_get_tx_host_unframed_prbs_ber) \
    operation(kelvane_get_tx_host_framed_prbs_ber) \
    operation(kelvane_get_rx_cd_cur) \
    operation(kelvane_get_rx_cd_min) \
    operation(kelvane_get_rx_cd_max) \
    operation(kelvane_get_rx_cd_avg) \
    operation(kelvane_get_rx_dgd_cur) \
    operation(kelvane_get_rx_dgd_min) \
    operation(kelvane_get_rx_dgd_max) \
    operation(kelvane_get_rx_dgd_avg) \
    operation(kelvane_get_rx_good_frame) \
    operation(kelvane_get_rx_good_octects) \
    operation(kelvane_get_rx_bad_frame) \
    operation(kelvane_get_rx_bad_octects) \
    operation(kelvane_get_rx_lo_sig_freq_offset_cur) \
    operation(kelvane_get_rx_lo_sig_freq_offset_min) \
    operation(kelvane_get_rx_lo_sig_freq_offset_max) \
    operation(kelvane_get_rx_lo_sig_freq_offset_avg) \
    operation(kelvane_get_rx_osnr_cur) \
    operation(kelvane_get_rx_osnr_min) \
    operation(kelvane_get_rx_osnr_max) \
    operation(kelvane_get_rx_osnr_avg) \
    operation(kelvane_get_rx_snr_cur) \
    operation(kelvane_get_rx_snr_min) \
    operation(kelvane_get_rx_snr_max) \
    operation(kelvane_get_rx_snr_avg) \
    operation(kelvane_get_rx_q_cur) \
    operation(kelvane_get_rx_q_min) \
    operation(kelvane_get_rx_q_max) \
    operation(kelvane_get_rx_q_avg) \
    operation(kelvane_get_rx_laser_output_power) \
    operation(kelvane_get_rx_laser_eol) \
    operation(kelvane_get_rx_laser_case_temperature) \
    operation(kelvane_get_rx_amplitude_ratio) \
    operation(kelvane_get_rx_network_prbs_ber) \
    operation(kelvane_get_rx_network_pre_fec_ber_est_cur) \
    operation(kelvane_get_rx_network_pre_fec_ber_est_min) \
    operation(kelvane_get_rx_network_pre_fec_ber_est_max) \
    operation(kelvane_get_rx_network_pre_fec_ber_est_avg) \
    operation(kelvane_get_rx_network_corrected_bits_count_acc) \
    operation(kelvane_get_rx_network_corrected_bits_pm_int) \
    operation(kelvane_get_rx_network_uncorrectable_fec_code_block) \
    operation(kelvane_get_rx_network_uncorrectable_fec_code_block_pm_int) \
    operation(kelvane_get_rx_network_bip8_error_counter) \
    operation(kelvane_reset_network_port_counters) \
    operation(kelvane_get_sirane_power_supply_voltage) \
    operation(kelvane_get_sirane_temperature) \
    operation(kelvane_get_xpm2_external_power_supply_voltage) \
    operation(kelvane_get_xpm2_temperature) \
    operation(kelvane_get_ordune_temperature) \
    operation(kelvane_get_host_diag_alarms) \
    operation(kelvane_get_nwtk_port_diag_alarms) \
    operation(kelvane_get_generic_diag_alarms) \
    operation(kelvane_get_xpm2_diag_alarms) \
    operation(kelvane_set_CPR) \
    operation(kelvane_get_CPR) \
    operation(kelvane_get_module_state) \
    operation(kelvane_dap_read_register) \
    operation(kelvane_dap_write_register) \
    operation(kelvane_get_sirane_inventory_inf)

/* clang-format on */

#ifdef __cplusplus
extern "C" {
#endif

#define KELVANE_DECLARE_RESERVED_SETTER(name)                                                                \
    int32_t name(uint32_t handle, uint32_t device_address, uint32_t value, uint64_t callback,                \
                 uint32_t transaction_id);
#define KELVANE_DECLARE_RESERVED_OPERATION(name) int32_t name(uint32_t handle, uint32_t device_address, ...);

KELVANE_RESERVED_SETTERS(KELVANE_DECLARE_RESERVED_SETTER)
KELVANE_RESERVED_OPERATIONS(KELVANE_DECLARE_RESERVED_OPERATION)

#undef KELVANE_DECLARE_RESERVED_SETTER
#undef KELVANE_DECLARE_RESERVED_OPERATION

#ifdef __cplusplus
}
#endif
#endif
