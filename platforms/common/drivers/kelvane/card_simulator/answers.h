// Commands that were taken: they are run and answered, some of them later.
#ifndef CARD_SIMULATOR_ANSWERS_H
#define CARD_SIMULATOR_ANSWERS_H

#include <cstdint>
#include <utility>
#include <vector>

struct card;

// Runs the command that a sirane's mailbox holds.
void answers_run_command(card &card, uint32_t sirane_id);

// A host that sends and never takes an answer is refused before its answers fill the memory.
bool answers_have_room(const card &card, uint32_t sirane_id);

void answers_drop_late(card &card, uint32_t sirane_id);

// The work on an image is done: who waits for its end hears what came of it.
void answers_tell_verdict(card &card);

void answers_send_due(card &card, uint64_t now);
uint64_t answers_next_due(const card &card);

// Takes out what is due, in the order in which it was put in.
template <typename delayed> std::vector<delayed> take_due(std::vector<delayed> &all, uint64_t now)
{
    std::vector<delayed> due;
    for (delayed &it : all) {
        if (it.due_ns <= now) {
            due.push_back(std::move(it));
        }
    }
    std::erase_if(all, [now](const delayed &it) { return it.due_ns <= now; });
    return due;
}

#endif
