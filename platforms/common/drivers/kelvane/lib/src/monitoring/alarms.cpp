#include "monitoring/alarms.h"

#include <cstddef>
#include <cstring>
#include <span>

#include "core/device_address.h"
#include "core/handle.h"
#include "core/trace/trace.h"
#include "kelvane_alarm_names.h"
#include "mbox/command.h"

static_assert(sizeof(global_alarms) == 36);
static_assert(offsetof(global_alarms, generic) == 32);

namespace {

void trace_word(kelvane_handle handle, kelvane_device_address device_address, const char *function,
                std::span<const kelvane_alarm_name> names, uint32_t word)
{
    if (!trace_is_on(LEVEL_ALARM)) {
        return;
    }
    TRACE_AS(function, LEVEL_ALARM, handle, device_address, "%s", "");
    TRACE_AS(function, LEVEL_ALARM, handle, device_address, "0x%08x", word);
    for (const kelvane_alarm_name &alarm : names) {
        if ((word >> alarm.bit & 1) != 0) {
            TRACE_AS(function, LEVEL_ALARM, handle, device_address, "%s", alarm.name);
        }
    }
}

using word_trace = void (*)(kelvane_handle handle, kelvane_device_address device_address, uint32_t word);

int32_t fetch_word(command_id id, kelvane_handle handle, kelvane_device_address device_address,
                   uint32_t *alarms, word_trace trace, const char *function)
{
    return command_fetch({id, CHECK_DEVICE, function, handle, device_address}, alarms,
                         [&](const mbox_data_header &) { trace(handle, device_address, *alarms); });
}

} // namespace

void kelvane_trace_host_alarms(kelvane_handle handle, kelvane_device_address device_address, uint32_t word)
{
    if (kelvane_get_client_type(handle) == CLIENT_TYPE_OTN) {
        trace_word(handle, device_address, __func__, kelvane_host_otn_alarm_names, word);
    } else {
        trace_word(handle, device_address, __func__, kelvane_host_pcs_alarm_names, word);
    }
}

void kelvane_trace_ntwk_port_alarms(kelvane_handle handle, kelvane_device_address device_address,
                                    uint32_t word)
{
    trace_word(handle, device_address, __func__, kelvane_ntwk_port_alarm_names, word);
}

void kelvane_trace_xpm2_alarms_t(kelvane_handle handle, kelvane_device_address device_address, uint32_t word)
{
    trace_word(handle, device_address, __func__, kelvane_xpm2_alarm_names, word);
}

void kelvane_trace_generic_alarms_t(kelvane_handle handle, kelvane_device_address device_address,
                                    uint32_t word)
{
    trace_word(handle, device_address, __func__, kelvane_generic_alarm_names, word);
}

void trace_kelvane_global_alarms(kelvane_handle handle, kelvane_device_address device_address,
                                 global_alarms record)
{
    const uint32_t sirane = fields_of(device_address).sirane;
    for (uint32_t i = 0; i < 4; i++) { // host ports, though logged under the network ports' addresses
        kelvane_trace_host_alarms(handle, KELVANE_ADDRESS_NETWORK_PORT(sirane, i), record.host[i]);
    }
    for (uint32_t j = 0; j < 2; j++) {
        const kelvane_device_address port = KELVANE_ADDRESS_NETWORK_PORT(sirane, j);
        kelvane_trace_ntwk_port_alarms(handle, port, record.ntwk_port[j]);
        kelvane_trace_xpm2_alarms_t(handle, port, record.xpm2[j]);
    }
    kelvane_trace_generic_alarms_t(handle, device_address, record.generic);
}

// The only word that is not traced.
int32_t kelvane_get_host_pcs_alarms(kelvane_handle handle, kelvane_device_address device_address,
                                    uint32_t *alarms)
{
    return command_fetch({CMD_GET_HOST_PCS_ALARMS, CHECK_DEVICE, __func__, handle, device_address}, alarms,
                         [](const mbox_data_header &) {});
}

int32_t kelvane_get_host_otn_alarms(kelvane_handle handle, kelvane_device_address device_address,
                                    uint32_t *alarms)
{
    return fetch_word(CMD_GET_HOST_OTN_ALARMS, handle, device_address, alarms, kelvane_trace_host_alarms,
                      __func__);
}

int32_t kelvane_get_nwtk_port_alarms(kelvane_handle handle, kelvane_device_address device_address,
                                     uint32_t *alarms)
{
    return fetch_word(CMD_GET_NWTK_PORT_ALARMS, handle, device_address, alarms,
                      kelvane_trace_ntwk_port_alarms, __func__);
}

int32_t kelvane_get_generic_alarms(kelvane_handle handle, kelvane_device_address device_address,
                                   uint32_t *alarms)
{
    return fetch_word(CMD_GET_GENERIC_ALARMS, handle, device_address, alarms, kelvane_trace_generic_alarms_t,
                      __func__);
}

int32_t kelvane_get_xpm2_alarms(kelvane_handle handle, kelvane_device_address device_address,
                                uint32_t *alarms)
{
    return fetch_word(CMD_GET_XPM2_ALARMS, handle, device_address, alarms, kelvane_trace_xpm2_alarms_t,
                      __func__);
}

int32_t kelvane_get_global_alarms(kelvane_handle handle, kelvane_device_address device_address,
                                  global_alarms *record)
{
    return command_fetch(
        {CMD_GET_GLOBAL_ALARMS, CHECK_DEVICE, __func__, handle, device_address}, record,
        [&](const mbox_data_header &) { trace_kelvane_global_alarms(handle, device_address, *record); });
}

int32_t kelvane_force_global_alarms_notify(kelvane_handle handle, kelvane_device_address device_address,
                                           const global_alarms *record)
{
    TRACE(LEVEL_INFO, handle, device_address, "start ");
    int32_t rc = check_address_and_handle(device_address, handle);
    command c;
    if (rc == KELVANE_EOK) {
        rc = command_prepare(&c, CMD_FORCE_GLOBAL_ALARMS_NOTIFY, {handle, device_address});
    }
    if (rc == KELVANE_EOK) {
        memcpy(&c.data[2], record, sizeof *record);
        rc = command_send(&c, handle, device_address, __func__);
    }
    return rc;
}
