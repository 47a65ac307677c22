// What a card is made with.
#ifndef CARD_SIMULATOR_STATE_CARD_OPTIONS_H
#define CARD_SIMULATOR_STATE_CARD_OPTIONS_H

#include <cstdint>

// What the host ports carry: the counters and alarms that they have.
enum class host_client { ethernet, otn };

struct card_options {
    uint32_t firmware_major = 5;
    uint32_t firmware_minor = 22;
    uint64_t seed = 1; // of what the card measures
    host_client client = host_client::ethernet;
};

#endif
