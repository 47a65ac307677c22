// The console test client: what its commands share, and its main.
#ifndef MOCK_CLIENT_CLIENT_H
#define MOCK_CLIENT_CLIENT_H

#include <cstdint>
#include <pthread.h>

extern int32_t handler;            // the library's handle of the card; -1 after a failed create
extern uint32_t init_complete;     // 1: traffic type, channel and laser are configured
extern uint32_t laser_done;        // set by the completion callback, under `mutex`
extern uint32_t traffic_done;      // likewise
extern uint32_t sirane_downloaded; // 1: this run has downloaded a sirane image
extern uint32_t api_count;         // checked library calls so far
extern pthread_mutex_t mutex;      // with `cond`: waiting for the completion callbacks
extern pthread_cond_t cond;

// What the command line settles for the commands that configure traffic.
struct client_options {
    uint32_t async_flag;   // 1: traffic types and lasers are set asynchronously, with callbacks
    int32_t laser_channel; // as kelvane_set_laser_channel_flex_grid takes it
    uint32_t traffic_type; // the library's enumeration; no option reaches it
};

// Brings the card up and runs the prompt until told to stop. Returns the exit status: 0, 1 when the card
// could not be brought up, or the code of a failed laser_tout.
int client_main(int argc, char **argv);

#endif
