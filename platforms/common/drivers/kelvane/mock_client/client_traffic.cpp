#include "mock_client/client_traffic.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "mock_client/api_check.h"
#include "mock_client/client.h"
#include "mock_client/console.h"
#include "mock_client/device_table.h"
#include "platform/thread.h"

namespace {

// The library only hands them back to the callbacks.
constexpr uint32_t TRAFFIC_TYPE_TRANSACTION = 2;
constexpr int32_t LASER_TRANSACTION = 1;

constexpr int32_t LASER_ON = 1;
constexpr int32_t READ_BACK_RX = 0; // not KELVANE_RX: what the card answers to it is not shown

// At the end of the program the mutex is destroyed, which EINVAL tells: nobody waits any more, and a
// completion that comes as late as that is nothing to report.
bool lock_flags(const char *function, int line)
{
    const int error = thread_lock(&mutex, function, line);
    if (error != 0 && error != EINVAL) {
        console_error("Cannot lock the completion flags: %s", strerror(error));
    }
    return error == 0;
}

void set_flag(uint32_t &flag)
{
    if (lock_flags(__func__, __LINE__)) {
        flag = 1;
        pthread_cond_broadcast(&cond);
        pthread_mutex_unlock(&mutex);
    }
}

// No flag is ever cleared, so that only the first configuration really waits.
void wait_for_flag(const uint32_t &flag)
{
    if (!lock_flags(__func__, __LINE__)) {
        return;
    }
    while (flag == 0) {
        thread_debug_mark_syscall_block(THREAD_DEBUG_SYSCALL_CONDITION, &cond, 0, 0);
        pthread_cond_wait(&cond, &mutex);
        thread_debug_clear_syscall_block();
    }
    pthread_mutex_unlock(&mutex);
}

} // namespace

int32_t coherent_set_traffic_type_cb_fn(uint32_t, uint32_t, uint32_t transaction_id, int32_t)
{
    console_text("mock_client:set traffic type callback id(%d)\n", transaction_id);
    set_flag(traffic_done);
    return 0;
}

int32_t coherent_set_laser_cb_fn(uint32_t, uint32_t, uint32_t, int32_t)
{
    console_text("mock_client:laser config done\n");
    set_flag(laser_done);
    return 0;
}

int32_t client_init_device(int32_t device, bool asynchronous, int32_t laser_channel, uint32_t traffic_type)
{
    if (init_complete == 1) {
        console_line("Init has been performed. Returning...");
        return 0;
    }
    const kelvane_handle handle = client_handle();

    int32_t result = hespera_set_traffic_type(
        handle, device, asynchronous ? coherent_set_traffic_type_cb_fn : nullptr, traffic_type);
    if (result != 0) {
        console_error("Init failed. set_traffic_type RC = %x ", static_cast<uint32_t>(result));
        init_complete = 0;
        return result;
    }
    result = client_set_laser_channel(handle, device, laser_channel);
    if (result != 0) {
        console_error("Init failed. set_laser_channel RC = %x", static_cast<uint32_t>(result));
        init_complete = 0;
        return result;
    }
    result = hespera_set_laser(handle, device, asynchronous ? coherent_set_laser_cb_fn : nullptr, LASER_ON);
    if (result != 0) {
        console_error("Init failed. set_laser RC = %x ", static_cast<uint32_t>(result));
        init_complete = 0;
        return result;
    }
    init_complete = 1;
    return 0;
}

int32_t hespera_set_traffic_type(uint32_t handle, int32_t device, kelvane_set_traffic_type_cb callback,
                                 uint32_t traffic_type)
{
    for (const module_port &port : client_module_ports(device)) {
        client_set_traffic_type_port(handle, port.number, callback, traffic_type);
    }
    if (callback != nullptr) {
        wait_for_flag(traffic_done);
    }
    return 0;
}

int32_t client_set_traffic_type_port(uint32_t handle, int32_t port, kelvane_set_traffic_type_cb callback,
                                     uint32_t traffic_type)
{
    const int32_t result =
        client_api_check("kelvane_set_traffic_type", kelvane_set_traffic_type, handle,
                         address_of_device(port), traffic_type, callback, TRAFFIC_TYPE_TRANSACTION);
    if (result != 0) {
        console_error("Error setting traffic type for device (%d). rc = (%d)", port, result);
    }
    return result;
}

int32_t client_set_laser_channel(uint32_t handle, int32_t device, int32_t channel)
{
    for (const module_port &port : client_module_ports(device)) {
        client_set_laser_channel_port(handle, port.number, channel);
    }
    console_line("Configured rx wavelength : %d ", channel);
    return 0;
}

void client_set_laser_channel_port(uint32_t handle, int32_t port, int32_t channel)
{
    const uint32_t address = address_of_device(port);
    int32_t result =
        client_api_check("kelvane_set_laser_channel_flex_grid", kelvane_set_laser_channel_flex_grid, handle,
                         address, channel, KELVANE_TX);
    if (result != 0) {
        console_error("Error setting Tx wavelength for device (%x). rc = %d", address, result);
    }
    result = client_api_check("kelvane_set_laser_channel_flex_grid", kelvane_set_laser_channel_flex_grid,
                              handle, address, channel, KELVANE_RX);
    if (result != 0) {
        console_error("Error setting Rx wavelength for device (%x). rc = %d", address, result);
    }
}

int32_t hespera_set_laser(uint32_t handle, int32_t device, kelvane_set_laser_cb callback, int32_t laser)
{
    for (const module_port &port : client_module_ports(device)) {
        const int32_t result = client_set_laser_port(handle, port.number, laser, callback);
        if (result != 0) {
            char failure[48];
            snprintf(failure, sizeof failure, "Set laser operation failed for XPM2 %d", port.module);
            console_failure(failure, result);
            return result;
        }
    }
    if (callback != nullptr) {
        wait_for_flag(laser_done);
    }
    return 0;
}

int32_t client_set_laser_port(uint32_t handle, int32_t port, int32_t laser, kelvane_set_laser_cb callback)
{
    console_line("setting laser for device id %d", port);
    return client_api_check("kelvane_set_laser", kelvane_set_laser, handle, address_of_device(port), laser,
                            callback, LASER_TRANSACTION);
}

int32_t client_get_traffic_type(uint32_t handle, int32_t device)
{
    for (const module_port &port : client_module_ports(device)) {
        uint32_t traffic_type = 0;
        const int32_t result = client_api_check("kelvane_get_traffic_type", kelvane_get_traffic_type, handle,
                                                address_of_device(port.number), &traffic_type);
        if (result == 0) {
            console_line("Traffic type for device (%d)", traffic_type);
        } else {
            console_error("Error getting traffic type for device (%d). rc = %d", port.number, result);
        }
    }
    return 0;
}

// Shows whether the channels can be read, not the channels.
int32_t client_get_laser_channel(uint32_t handle, int32_t device)
{
    for (const module_port &port : client_module_ports(device)) {
        const uint32_t address = address_of_device(port.number);
        uint32_t channel = 0;
        int32_t result =
            client_api_check("kelvane_get_laser_channel_flex_grid", kelvane_get_laser_channel_flex_grid,
                             handle, address, &channel, KELVANE_TX);
        if (result == 0) {
            console_line("Got Tx wavelength for device (%d). rc = (%d)", port.number, result);
        } else {
            console_error("Error getting Tx wavelength for device (%d). rc = (%d)", port.number, result);
        }
        result = client_api_check("kelvane_get_laser_channel_flex_grid", kelvane_get_laser_channel_flex_grid,
                                  handle, address, &channel, READ_BACK_RX);
        if (result == 0) {
            console_line("Got Rx wavelength for device (%d). rc = (%d)", port.number, result);
        } else {
            console_error("Error getting Rx wavelength for device (%d). rc = %d", port.number, result);
        }
    }
    return 0;
}

int32_t client_get_laser(uint32_t handle, int32_t device)
{
    for (const module_port &port : client_module_ports(device)) {
        uint32_t laser = 0;
        const int32_t result = client_api_check("kelvane_get_laser", kelvane_get_laser, handle,
                                                address_of_device(port.number), &laser);
        if (result == 0) {
            console_line("Got laser op for device (%d)", laser);
        } else {
            console_error("Error getting laser op for device (%d). rc = %d", port.number, result);
        }
    }
    return 0;
}
