// Configuring the module ports of a sirane: traffic type, laser channel and laser, and reading them back.
//
// Operations that take a device number act on its ports (client_module_ports), so that a number with no
// ports asks nothing of the library. Each failing call is reported; where the result is "always 0" its
// code goes no further.
#ifndef MOCK_CLIENT_CLIENT_TRAFFIC_H
#define MOCK_CLIENT_CLIENT_TRAFFIC_H

#include <cstdint>

#include "kelvane.h"

// Sets traffic type and channel and turns the laser on, once a run: when that has succeeded for any
// device, no other is configured. When `asynchronous` it waits for the first completion of each kind;
// for ever when no request was made or none completes. Returns 0 or the code of the laser.
int32_t client_init_device(int32_t device, bool asynchronous, int32_t laser_channel, uint32_t traffic_type);

// With a callback, the request is asynchronous and the operation waits until the first one of the run has
// completed. Always 0.
int32_t hespera_set_traffic_type(uint32_t handle, int32_t device, kelvane_set_traffic_type_cb callback,
                                 uint32_t traffic_type);
int32_t client_set_traffic_type_port(uint32_t handle, int32_t port, kelvane_set_traffic_type_cb callback,
                                     uint32_t traffic_type);

// The same channel for both directions. Always 0.
int32_t client_set_laser_channel(uint32_t handle, int32_t device, int32_t channel);
void client_set_laser_channel_port(uint32_t handle, int32_t port, int32_t channel);

// `laser` 1 is on. As hespera_set_traffic_type, but stops at the first port that fails, with its code.
int32_t hespera_set_laser(uint32_t handle, int32_t device, kelvane_set_laser_cb callback, int32_t laser);
int32_t client_set_laser_port(uint32_t handle, int32_t port, int32_t laser, kelvane_set_laser_cb callback);

// Show what is set. Always 0.
int32_t client_get_traffic_type(uint32_t handle, int32_t device);
int32_t client_get_laser_channel(uint32_t handle, int32_t device);
int32_t client_get_laser(uint32_t handle, int32_t device);

// A request has completed, with whatever result; on a library thread. They wake the waiting operation.
// Return 0.
int32_t coherent_set_traffic_type_cb_fn(uint32_t handle, uint32_t device_address, uint32_t transaction_id,
                                        int32_t result);
int32_t coherent_set_laser_cb_fn(uint32_t handle, uint32_t device_address, uint32_t transaction_id,
                                 int32_t result);

#endif
