// The firmware goes down and comes up: by itself, with the card's power, and as the operator wants.
#ifndef CARD_SIMULATOR_FIRMWARE_RESTARTS_H
#define CARD_SIMULATOR_FIRMWARE_RESTARTS_H

#include <cstdint>
#include <optional>

#include "card_simulator/state/firmware_images.h"

struct card;

constexpr uint64_t FIRMWARE_START_NS = 1000000000; // from a restart until it is up
constexpr uint64_t RESTART_NOTICE_NS = 3000000000; // from its announcement to the restart: a host may look
                                                   // for messages no more often than every 2 s

// At once, with the power coming.
void firmware_start(card &card);

// Goes down and comes up again after FIRMWARE_START_NS; `cold` as after a loss of power.
void firmware_restart(card &card, bool cold);
void firmware_come_up(card &card);

// The restarts that a host is told of. A warm one is announced RESTART_NOTICE_NS before and told again when
// it is done, possibly with another version; of one with the power lost only its end is told.
void firmware_announce_restart(card &card, const std::optional<firmware_version> &version);
void firmware_restart_as_announced(card &card);
void firmware_restart_cold(card &card);

// The firmware stays down for that many resets by the host.
void firmware_start_slowly(card &card, uint32_t attempts);

// A sirane's main mailboxes become idle.
void firmware_bring_sirane_up(card &card, uint32_t sirane_id);

// The card is pulled out of its slot, and put back; its power was off meanwhile.
void card_remove(card &card);
void card_insert(card &card);

#endif
