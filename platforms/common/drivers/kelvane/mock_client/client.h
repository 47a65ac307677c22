// The console test client: what its commands share, and its main.
#ifndef MOCK_CLIENT_CLIENT_H
#define MOCK_CLIENT_CLIENT_H

#include <cstdint>
#include <pthread.h>

#include "kelvane.h"

extern int32_t handler;            // what kelvane_device_create returned: the card's handle, or -1
extern uint32_t init_complete;     // 1: traffic type, channel and laser are configured
extern uint32_t laser_done;        // set by the completion callback, under `mutex`
extern uint32_t traffic_done;      // likewise
extern uint32_t sirane_downloaded; // 1: this run has downloaded a sirane image
extern uint32_t api_count;         // checked library calls so far
extern pthread_mutex_t mutex;      // with `cond`: waiting for the completion callbacks
extern pthread_cond_t cond;

// `handler` as the library takes it.
inline kelvane_handle client_handle()
{
    return static_cast<kelvane_handle>(handler);
}

// What the command line settles for the commands that configure traffic.
struct client_options {
    bool asynchronous;     // traffic types and lasers are set with callbacks, which are waited for
    int32_t laser_channel; // as kelvane_set_laser_channel_flex_grid takes it
    uint32_t traffic_type; // enum kelvane_traffic_type; no option reaches it
};

// Brings the card up and runs the prompt until told to stop. Returns the exit status: 0, 1 when the card
// could not be brought up, or the code of a failed laser_tout.
int client_main(int argc, char **argv);

#endif
