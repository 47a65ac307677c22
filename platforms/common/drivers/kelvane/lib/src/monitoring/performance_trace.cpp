// The performance records in the log, at PM level: one line per field, in the order of the record.
#include <cstddef>

#include "core/device_address.h"
#include "core/field_trace.h"
#include "core/handle.h"
#include "core/trace/trace.h"
#include "monitoring/performance.h"

namespace {

constexpr traced_field host_frames_fields[] = {
    {"rx_good_frame   %08d", offsetof(kelvane_host_frames_pm_t, rx_good_frame), FIELD_WORD},
    {"rx_good_octects %lu", offsetof(kelvane_host_frames_pm_t, rx_good_octects), FIELD_COUNTER},
    {"rx_bad_frame    %08d", offsetof(kelvane_host_frames_pm_t, rx_bad_frame), FIELD_WORD},
    {"rx_bad_octects  %lu", offsetof(kelvane_host_frames_pm_t, rx_bad_octects), FIELD_COUNTER},
};

constexpr traced_field host_otn_fields[] = {
    {"fec_frame_counter              %lu", offsetof(kelvane_host_otn_pm_t, fec_frame_counter), FIELD_COUNTER},
    {"corrected_bits_counter         %u", offsetof(kelvane_host_otn_pm_t, corrected_bits_counter),
     FIELD_WORD},
    {"pre_fec_ber_est                %f %E ", offsetof(kelvane_host_otn_pm_t, pre_fec_ber_est),
     FIELD_FLOAT_TWICE},
    {"otn_sm_bei_counter             %u", offsetof(kelvane_host_otn_pm_t, otn_sm_bei_counter), FIELD_WORD},
    {"otn_sm_bip_8_violation_counter %u", offsetof(kelvane_host_otn_pm_t, otn_sm_bip_8_violation_counter),
     FIELD_WORD},
    {"otn_pm_bei_count               %u", offsetof(kelvane_host_otn_pm_t, otn_pm_bei_count), FIELD_WORD},
    {"otn_pm_bip_8_violation_counter %u", offsetof(kelvane_host_otn_pm_t, otn_pm_bip_8_violation_counter),
     FIELD_WORD},
};

constexpr traced_field xpm2_port_fields[] = {
    {"tx_laser_eol           %d %%", offsetof(kelvane_xpm2_port_pm, tx_laser_eol), FIELD_WORD},
    {"rx_laser_eol           %d %%", offsetof(kelvane_xpm2_port_pm, rx_laser_eol), FIELD_WORD},
    {"optical_output_power   %08d (0,01 dBm)", offsetof(kelvane_xpm2_port_pm, optical_output_power),
     FIELD_WORD},
    {"optical_input_power    %08d (0,01 dBm)", offsetof(kelvane_xpm2_port_pm, optical_input_power),
     FIELD_WORD},
    {"optical_signal_power   %08d (0,01 dBm)", offsetof(kelvane_xpm2_port_pm, optical_signal_power),
     FIELD_WORD},
    {"xpm2_temperature       0x%08x %d C", offsetof(kelvane_xpm2_port_pm, xpm2_temperature),
     FIELD_TEMPERATURE},
};

constexpr traced_field sirane_port_fields[] = {
    {"rx_cd_curr   /* ps/nm  */ %d ", offsetof(kelvane_sirane_port_pm, rx_cd_curr), FIELD_WORD},
    {"rx_cd_min    /* ps/nm  */ %d ", offsetof(kelvane_sirane_port_pm, rx_cd_min), FIELD_WORD},
    {"rx_cd_max    /* ps/nm  */ %d ", offsetof(kelvane_sirane_port_pm, rx_cd_max), FIELD_WORD},
    {"rx_cd_avg    /* ps/nm  */ %d ", offsetof(kelvane_sirane_port_pm, rx_cd_avg), FIELD_WORD},
    {"rx_dgd_curr  /* ps     */ %d ", offsetof(kelvane_sirane_port_pm, rx_dgd_curr), FIELD_WORD},
    {"rx_dgd_min   /* ps     */ %d ", offsetof(kelvane_sirane_port_pm, rx_dgd_min), FIELD_WORD},
    {"rx_dgd_max   /* ps     */ %d ", offsetof(kelvane_sirane_port_pm, rx_dgd_max), FIELD_WORD},
    {"rx_dgd_avg   /* ps     */ %d ", offsetof(kelvane_sirane_port_pm, rx_dgd_avg), FIELD_WORD},
    {"rx_osnr_curr /* 0.1 dB */ %d ", offsetof(kelvane_sirane_port_pm, rx_osnr_curr), FIELD_WORD},
    {"rx_osnr_min  /* 0.1 dB */ %d ", offsetof(kelvane_sirane_port_pm, rx_osnr_min), FIELD_WORD},
    {"rx_osnr_max  /* 0.1 dB */ %d ", offsetof(kelvane_sirane_port_pm, rx_osnr_max), FIELD_WORD},
    {"rx_osnr_avg  /* 0.1 dB */ %d ", offsetof(kelvane_sirane_port_pm, rx_osnr_avg), FIELD_WORD},
    {"pre_fec_ber_est_curr      %f %E ", offsetof(kelvane_sirane_port_pm, pre_fec_ber_est_curr),
     FIELD_FLOAT_TWICE},
    {"pre_fec_ber_est_min       %f %E ", offsetof(kelvane_sirane_port_pm, pre_fec_ber_est_min),
     FIELD_FLOAT_TWICE},
    {"pre_fec_ber_est_max       %f %E ", offsetof(kelvane_sirane_port_pm, pre_fec_ber_est_max),
     FIELD_FLOAT_TWICE},
    {"pre_fec_ber_est_avg       %f %E ", offsetof(kelvane_sirane_port_pm, pre_fec_ber_est_avg),
     FIELD_FLOAT_TWICE},
    {"corrected_bits_count_pm_int     %lu", offsetof(kelvane_sirane_port_pm, corrected_bits_count_pm_int),
     FIELD_COUNTER},
    {"uncorrectable_fec_code_block_pm_int %d ",
     offsetof(kelvane_sirane_port_pm, uncorrectable_fec_code_block_pm_int), FIELD_WORD},
    {"bip8_error_counter                  %d ", offsetof(kelvane_sirane_port_pm, bip8_error_counter),
     FIELD_WORD},
    {"bei_error_counter                   %d ", offsetof(kelvane_sirane_port_pm, bei_error_counter),
     FIELD_WORD},
    {"sopmd_cur    /* ps^2    */ %d ", offsetof(kelvane_sirane_port_pm, sopmd_cur), FIELD_WORD},
    {"sopmd_ave    /* ps^2    */ %d ", offsetof(kelvane_sirane_port_pm, sopmd_ave), FIELD_WORD},
    {"sopmd_min    /* ps^2    */ %d ", offsetof(kelvane_sirane_port_pm, sopmd_min), FIELD_WORD},
    {"sopmd_max    /* ps^2    */ %d ", offsetof(kelvane_sirane_port_pm, sopmd_max), FIELD_WORD},
    {"sop_chi      /* 0.1 deg */ %d ", offsetof(kelvane_sirane_port_pm, sop_chi), FIELD_WORD},
    {"sop_phi      /* 0.1 deg */ %d ", offsetof(kelvane_sirane_port_pm, sop_phi), FIELD_WORD},
    {"pdl_cur      /* 0.1 dB  */ %d ", offsetof(kelvane_sirane_port_pm, pdl_cur), FIELD_WORD},
    {"pdl_ave      /* 0.1 dB  */ %d ", offsetof(kelvane_sirane_port_pm, pdl_ave), FIELD_WORD},
    {"pdl_min      /* 0.1 dB  */ %d ", offsetof(kelvane_sirane_port_pm, pdl_min), FIELD_WORD},
    {"pdl_max      /* 0.1 dB  */ %d ", offsetof(kelvane_sirane_port_pm, pdl_max), FIELD_WORD},
};

constexpr traced_field generic_fields[] = {
    {"sirane_temperature     0x%08x %d C", offsetof(kelvane_generic_pm, sirane_temperature),
     FIELD_TEMPERATURE},
    {"ordune_temperature     0x%08x %d C", offsetof(kelvane_generic_pm, ordune_temperature),
     FIELD_TEMPERATURE},
};

constexpr traced_field pcs_counter_fields[] = {
    {"TX_GOOD_FRAMES_CNT         %10u   ", offsetof(kelvane_hostport_pcs_counters, TX_GOOD_FRAMES_CNT),
     FIELD_WORD},
    {"TX_GOOD_OCTETS_CNT         %10lu   ", offsetof(kelvane_hostport_pcs_counters, TX_GOOD_OCTETS_CNT),
     FIELD_COUNTER},
    {"TX_GOOD_MULTICAST_CNT      %10u   ", offsetof(kelvane_hostport_pcs_counters, TX_GOOD_MULTICAST_CNT),
     FIELD_WORD},
    {"TX_GOOD_BROADCAST_CNT      %10u   ", offsetof(kelvane_hostport_pcs_counters, TX_GOOD_BROADCAST_CNT),
     FIELD_WORD},
    {"TX_GOOD_64B_PKT_CNT        %10u   ", offsetof(kelvane_hostport_pcs_counters, TX_GOOD_64B_PKT_CNT),
     FIELD_WORD},
    {"TX_GOOD_65B_127B_PKT_CNT   %10u   ", offsetof(kelvane_hostport_pcs_counters, TX_GOOD_65B_127B_PKT_CNT),
     FIELD_WORD},
    {"TX_GOOD_128B_255B_PKT_CNT  %10u   ", offsetof(kelvane_hostport_pcs_counters, TX_GOOD_128B_255B_PKT_CNT),
     FIELD_WORD},
    {"TX_GOOD_256B_511B_PKT_CNT  %10u   ", offsetof(kelvane_hostport_pcs_counters, TX_GOOD_256B_511B_PKT_CNT),
     FIELD_WORD},
    {"TX_GOOD_512B_1023B_PKT_CNT %10u   ",
     offsetof(kelvane_hostport_pcs_counters, TX_GOOD_512B_1023B_PKT_CNT), FIELD_WORD},
    {"TX_GOOD_1024B_1518B_PKT_CNT %10u   ",
     offsetof(kelvane_hostport_pcs_counters, TX_GOOD_1024B_1518B_PKT_CNT), FIELD_WORD},
    {"TX_GOOD_1519B_LTJ_PKT_CNT  %10u   ", offsetof(kelvane_hostport_pcs_counters, TX_GOOD_1519B_LTJ_PKT_CNT),
     FIELD_WORD},
    {"TX_GOOD_JUMBO_PKT_CNT      %10u   ", offsetof(kelvane_hostport_pcs_counters, TX_GOOD_JUMBO_PKT_CNT),
     FIELD_WORD},
    {"TX_BAD_FRAMES_CNT          %10u   ", offsetof(kelvane_hostport_pcs_counters, TX_BAD_FRAMES_CNT),
     FIELD_WORD},
    {"TX_BAD_OCTETS_CNT          %10lu   ", offsetof(kelvane_hostport_pcs_counters, TX_BAD_OCTETS_CNT),
     FIELD_COUNTER},
    {"TX_BAD_MULTICAST_CNT       %10u   ", offsetof(kelvane_hostport_pcs_counters, TX_BAD_MULTICAST_CNT),
     FIELD_WORD},
    {"TX_BAD_BROADCAST_CNT       %10u   ", offsetof(kelvane_hostport_pcs_counters, TX_BAD_BROADCAST_CNT),
     FIELD_WORD},
    {"TX_BAD_64B_PKT_CNT         %10u   ", offsetof(kelvane_hostport_pcs_counters, TX_BAD_64B_PKT_CNT),
     FIELD_WORD},
    {"TX_BAD_65B_127B_PKT_CNT    %10u   ", offsetof(kelvane_hostport_pcs_counters, TX_BAD_65B_127B_PKT_CNT),
     FIELD_WORD},
    {"TX_BAD_128B_255B_PKT_CNT   %10u   ", offsetof(kelvane_hostport_pcs_counters, TX_BAD_128B_255B_PKT_CNT),
     FIELD_WORD},
    {"TX_BAD_256B_511B_PKT_CNT   %10u   ", offsetof(kelvane_hostport_pcs_counters, TX_BAD_256B_511B_PKT_CNT),
     FIELD_WORD},
    {"TX_BAD_512B_1023B_PKT_CNT  %10u   ", offsetof(kelvane_hostport_pcs_counters, TX_BAD_512B_1023B_PKT_CNT),
     FIELD_WORD},
    {"TX_BAD_1024B_1518B_PKT_CNT %10u   ",
     offsetof(kelvane_hostport_pcs_counters, TX_BAD_1024B_1518B_PKT_CNT), FIELD_WORD},
    {"TX_BAD_1519B_LTJ_PKT_CNT   %10u   ", offsetof(kelvane_hostport_pcs_counters, TX_BAD_1519B_LTJ_PKT_CNT),
     FIELD_WORD},
    {"TX_BAD_JUMBO_PKT_CNT       %10u   ", offsetof(kelvane_hostport_pcs_counters, TX_BAD_JUMBO_PKT_CNT),
     FIELD_WORD},
    {"RX_GOOD_FRAMES_CNT         %10u   ", offsetof(kelvane_hostport_pcs_counters, RX_GOOD_FRAMES_CNT),
     FIELD_WORD},
    {"RX_GOOD_OCTETS_CNT         %10lu   ", offsetof(kelvane_hostport_pcs_counters, RX_GOOD_OCTETS_CNT),
     FIELD_COUNTER},
    {"RX_GOOD_MULTICAST_CNT      %10u   ", offsetof(kelvane_hostport_pcs_counters, RX_GOOD_MULTICAST_CNT),
     FIELD_WORD},
    {"RX_GOOD_BROADCAST_CNT      %10u   ", offsetof(kelvane_hostport_pcs_counters, RX_GOOD_BROADCAST_CNT),
     FIELD_WORD},
    {"RX_GOOD_64B_PKT_CNT        %10u   ", offsetof(kelvane_hostport_pcs_counters, RX_GOOD_64B_PKT_CNT),
     FIELD_WORD},
    {"RX_GOOD_65B_127B_PKT_CNT   %10u   ", offsetof(kelvane_hostport_pcs_counters, RX_GOOD_65B_127B_PKT_CNT),
     FIELD_WORD},
    {"RX_GOOD_128B_255B_PKT_CNT  %10u   ", offsetof(kelvane_hostport_pcs_counters, RX_GOOD_128B_255B_PKT_CNT),
     FIELD_WORD},
    {"RX_GOOD_256B_511B_PKT_CNT  %10u   ", offsetof(kelvane_hostport_pcs_counters, RX_GOOD_256B_511B_PKT_CNT),
     FIELD_WORD},
    {"RX_GOOD_512B_1023B_PKT_CNT %10u   ",
     offsetof(kelvane_hostport_pcs_counters, RX_GOOD_512B_1023B_PKT_CNT), FIELD_WORD},
    {"RX_GOOD_1024B_1518B_PKT_CNT %10u   ",
     offsetof(kelvane_hostport_pcs_counters, RX_GOOD_1024B_1518B_PKT_CNT), FIELD_WORD},
    {"RX_GOOD_1519B_LTJ_PKT_CNT  %10u   ", offsetof(kelvane_hostport_pcs_counters, RX_GOOD_1519B_LTJ_PKT_CNT),
     FIELD_WORD},
    {"RX_GOOD_JUMBO_PKT_CNT      %10u   ", offsetof(kelvane_hostport_pcs_counters, RX_GOOD_JUMBO_PKT_CNT),
     FIELD_WORD},
    {"RX_BAD_FRAMES_CNT          %10u   ", offsetof(kelvane_hostport_pcs_counters, RX_BAD_FRAMES_CNT),
     FIELD_WORD},
    {"RX_BAD_OCTETS_CNT          %10lu   ", offsetof(kelvane_hostport_pcs_counters, RX_BAD_OCTETS_CNT),
     FIELD_COUNTER},
    {"RX_BAD_MULTICAST_CNT       %10u   ", offsetof(kelvane_hostport_pcs_counters, RX_BAD_MULTICAST_CNT),
     FIELD_WORD},
    {"RX_BAD_BROADCAST_CNT       %10u   ", offsetof(kelvane_hostport_pcs_counters, RX_BAD_BROADCAST_CNT),
     FIELD_WORD},
    {"RX_BAD_64B_PKT_CNT         %10u   ", offsetof(kelvane_hostport_pcs_counters, RX_BAD_64B_PKT_CNT),
     FIELD_WORD},
    {"RX_BAD_65B_127B_PKT_CNT    %10u   ", offsetof(kelvane_hostport_pcs_counters, RX_BAD_65B_127B_PKT_CNT),
     FIELD_WORD},
    {"RX_BAD_128B_255B_PKT_CNT   %10u   ", offsetof(kelvane_hostport_pcs_counters, RX_BAD_128B_255B_PKT_CNT),
     FIELD_WORD},
    {"RX_BAD_256B_511B_PKT_CNT   %10u   ", offsetof(kelvane_hostport_pcs_counters, RX_BAD_256B_511B_PKT_CNT),
     FIELD_WORD},
    {"RX_BAD_512B_1023B_PKT_CNT  %10u   ", offsetof(kelvane_hostport_pcs_counters, RX_BAD_512B_1023B_PKT_CNT),
     FIELD_WORD},
    {"RX_BAD_1024B_1518B_PKT_CNT %10u   ",
     offsetof(kelvane_hostport_pcs_counters, RX_BAD_1024B_1518B_PKT_CNT), FIELD_WORD},
    {"RX_BAD_1519B_LTJ_PKT_CNT   %10u   ", offsetof(kelvane_hostport_pcs_counters, RX_BAD_1519B_LTJ_PKT_CNT),
     FIELD_WORD},
    {"RX_BAD_JUMBO_PKT_CNT       %10u   ", offsetof(kelvane_hostport_pcs_counters, RX_BAD_JUMBO_PKT_CNT),
     FIELD_WORD},
    {"PM_COUNTER                 %10u   ", offsetof(kelvane_hostport_pcs_counters, PM_COUNTER), FIELD_WORD},
};

} // namespace

// The same bytes are frame or OTN counters, depending on the application's kind of host ports.
void trace_host_pm(kelvane_handle handle, kelvane_device_address device_address, host_pm record)
{
    if (kelvane_get_client_type(handle) == CLIENT_TYPE_OTN) {
        trace_fields(LEVEL_PM, handle, device_address, __func__, host_otn_fields, &record);
    } else {
        trace_fields(LEVEL_PM, handle, device_address, __func__, host_frames_fields, &record);
    }
}

void trace_kelvane_xpm2_port_pm(kelvane_handle handle, kelvane_device_address device_address,
                                kelvane_xpm2_port_pm record)
{
    trace_fields(LEVEL_PM, handle, device_address, __func__, xpm2_port_fields, &record);
}

void trace_kelvane_sirane_port_pm(kelvane_handle handle, kelvane_device_address device_address,
                                  kelvane_sirane_port_pm record)
{
    trace_fields(LEVEL_PM, handle, device_address, __func__, sirane_port_fields, &record);
}

void trace_kelvane_generic_pm(kelvane_handle handle, kelvane_device_address device_address,
                              kelvane_generic_pm record)
{
    trace_fields(LEVEL_PM, handle, device_address, __func__, generic_fields, &record);
}

void trace_kelvane_hostport_pcs_counters(kelvane_handle handle, kelvane_device_address device_address,
                                         const kelvane_hostport_pcs_counters *record)
{
    trace_fields(LEVEL_PM, handle, device_address, __func__, pcs_counter_fields, record);
}

void trace_kelvane_global_pm(kelvane_handle handle, kelvane_device_address device_address,
                             kelvane_global_pm record)
{
    const uint32_t sirane = fields_of(device_address).sirane;
    for (uint32_t i = 0; i < 4; i++) {
        trace_host_pm(handle, KELVANE_ADDRESS_HOST_PORT(sirane, i), record.host[i]);
    }
    for (uint32_t j = 0; j < 2; j++) {
        const kelvane_device_address port = KELVANE_ADDRESS_NETWORK_PORT(sirane, j);
        trace_kelvane_sirane_port_pm(handle, port, record.sirane_port[j]);
        trace_kelvane_xpm2_port_pm(handle, port, record.xpm2_port[j]);
    }
    trace_kelvane_generic_pm(handle, device_address, record.generic);
}
