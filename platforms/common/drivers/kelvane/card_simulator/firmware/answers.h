// Accepted commands: run, and answered at once or later.
#ifndef CARD_SIMULATOR_FIRMWARE_ANSWERS_H
#define CARD_SIMULATOR_FIRMWARE_ANSWERS_H

#include <cstdint>

struct card;

// Runs the command that a sirane's mailbox holds.
void answers_run_command(card &card, uint32_t sirane_id);

// A host that sends and never takes an answer is refused before its answers fill the memory.
bool answers_have_room(const card &card, uint32_t sirane_id);

void answers_drop_late(card &card, uint32_t sirane_id);

// The work on an image is done: the answer that waits for it gets its verdict.
void answers_tell_verdict(card &card);

void answers_send_due(card &card, uint64_t now_ns);
uint64_t answers_next_due(const card &card);

#endif
