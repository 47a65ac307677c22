// The card as a UIO device of other processes: the BAR in memory that they share, the firmware on a
// thread of its own, and a socket that hands out the memory and the interrupts.
#ifndef CARD_SIMULATOR_PROCESS_UIO_SERVER_H
#define CARD_SIMULATOR_PROCESS_UIO_SERVER_H

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "card_simulator/card.h"
#include "card_simulator/process/card_tree.h"
#include "card_simulator/process/event_loop.h"
#include "platform/simulated_uio_queue.h"

constexpr size_t UIO_CLIENTS_MAX = 32;

struct uio_server {
    struct card *card = nullptr;
    card_tree *tree = nullptr;
    event_loop *loop = nullptr;
    int bar_fd = -1;
    int control_fd = -1;
    int listener = -1;
    int interrupt_fd = -1;                    // on a device of the kernel's: see uio_device.h
    simulated_uio_control *control = nullptr; // on such a device null
    simulated_uio_reader reader{};

    std::mutex clients_mutex; // taken within the card's mutex, never around it
    std::vector<int> clients;
    std::atomic<uint32_t> event_count = 0;

    std::atomic<bool> stop = false;
    std::atomic<bool> look_again = false; // what is due may have changed
    std::thread firmware;
};

// Makes the card and listens on the tree's node. Returns false with the reason in `problem`; either way
// uio_server_stop cleans up. The tree and the loop are used until then.
bool uio_server_start(uio_server &server, const card_options &options, card_tree &tree, event_loop &loop,
                      std::string *problem);

// The hosts read all ones from now on and get no more interrupts.
void uio_server_stop(uio_server &server);

// card_verb on the server's card.
int32_t uio_server_verb(uio_server &server, const char *line, std::string *answer);

#endif
