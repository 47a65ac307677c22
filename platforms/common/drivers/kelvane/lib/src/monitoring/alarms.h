// Alarm words in the log, at ALARM level: an empty line, the word, then a line for each named bit that is
// set.
#ifndef MONITORING_ALARMS_H
#define MONITORING_ALARMS_H

#include <cstdint>

#include "kelvane.h"

// With the bit names of the application's kind of host ports, whichever command fetched the word.
void kelvane_trace_host_alarms(kelvane_handle handle, kelvane_device_address device_address, uint32_t word);
void kelvane_trace_ntwk_port_alarms(kelvane_handle handle, kelvane_device_address device_address,
                                    uint32_t word);
void kelvane_trace_xpm2_alarms_t(kelvane_handle handle, kelvane_device_address device_address, uint32_t word);
void kelvane_trace_generic_alarms_t(kelvane_handle handle, kelvane_device_address device_address,
                                    uint32_t word);
void trace_kelvane_global_alarms(kelvane_handle handle, kelvane_device_address device_address,
                                 global_alarms record);

#endif
