// How the card's logs come by what happens, and what becomes of them when the firmware or the power goes.
#ifndef CARD_SIMULATOR_FIRMWARE_LOG_KEEPING_H
#define CARD_SIMULATOR_FIRMWARE_LOG_KEEPING_H

struct card;

// Power comes for the first time.
void logs_start(card &card);

// The firmware goes down, possibly with its power; what is left of the logs is seen again.
void logs_go_down(card &card, bool cold);

// It comes up, and writes rows as its version does. Rows of another shape are dropped.
void logs_come_up(card &card);

// Writes what was noted since the last call.
void logs_follow(card &card);

// The host sees the logs again after it put an image over them.
void logs_restore(card &card);

#endif
