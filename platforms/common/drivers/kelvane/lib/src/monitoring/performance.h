// Performance records: the repair of what older firmware sends, and their lines in the log.
#ifndef MONITORING_PERFORMANCE_H
#define MONITORING_PERFORMANCE_H

#include <cstdint>

#include "kelvane.h"
#include "kelvane_mbox.h"

// Bring a record of version 0 to the current layout, in place, and leave others alone. Return KELVANE_EOK.
int32_t kelvane_post_proc_get_sirane_port_pm(kelvane_handle handle, kelvane_sirane_port_pm *record,
                                             const mbox_data_header &response_header);
int32_t kelvane_post_proc_global_get_global_pm(kelvane_handle handle, kelvane_global_pm *record,
                                               const mbox_data_header &response_header);

// Extends the sign of the three powers, of which only the low 16 bits count. Returns KELVANE_EOK.
int32_t post_proc_xpm2_port_pm(kelvane_xpm2_port_pm *record_out, kelvane_xpm2_port_pm record);

void trace_host_pm(kelvane_handle handle, kelvane_device_address device_address, host_pm record);
void trace_kelvane_xpm2_port_pm(kelvane_handle handle, kelvane_device_address device_address,
                                kelvane_xpm2_port_pm record);
void trace_kelvane_sirane_port_pm(kelvane_handle handle, kelvane_device_address device_address,
                                  kelvane_sirane_port_pm record);
void trace_kelvane_generic_pm(kelvane_handle handle, kelvane_device_address device_address,
                              kelvane_generic_pm record);
void trace_kelvane_hostport_pcs_counters(kelvane_handle handle, kelvane_device_address device_address,
                                         const kelvane_hostport_pcs_counters *record);
void trace_kelvane_global_pm(kelvane_handle handle, kelvane_device_address device_address,
                             kelvane_global_pm record);

#endif
