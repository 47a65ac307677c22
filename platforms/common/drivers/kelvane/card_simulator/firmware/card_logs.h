// All logs of the card, and how they come by what happens.
#ifndef CARD_SIMULATOR_FIRMWARE_CARD_LOGS_H
#define CARD_SIMULATOR_FIRMWARE_CARD_LOGS_H

#include <string>

#include "card_simulator/logs/eprom_log.h"
#include "card_simulator/logs/trace_log.h"

struct card;

struct card_logs {
    trace_log trace;
    eprom_log eprom;
};

// Power comes for the first time.
void logs_start(card &card);

// The firmware goes down, possibly with its power; what is left of the logs is seen again.
void logs_go_down(card &card, bool cold);

// It comes up, and writes rows as its version does. Rows of another shape are given up.
void logs_come_up(card &card);

// Writes what was noted since.
void logs_follow(card &card);

// The host sees the logs again after it used their place for an image.
void logs_restore(card &card);

#endif
