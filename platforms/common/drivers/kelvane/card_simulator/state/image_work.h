// The firmware's work on an image, one at a time: it checks what was downloaded, and programs a device with
// it. What the tables tell of it is marked as changed, and published by who runs this.
#ifndef CARD_SIMULATOR_STATE_IMAGE_WORK_H
#define CARD_SIMULATOR_STATE_IMAGE_WORK_H

#include <cstdint>

#include "card_simulator/state/card_state.h"

// The version of an image of this kind that follows on what the card runs.
firmware_version next_image_version(const card_state &state, image_kind kind);

// Begins `work`, whose operation, device, image and verdict are given; `duration_ms` 0 has it done at once.
void image_work_begin(card_state &state, const image_work &work, uint64_t duration_ms);

// Moves the progress, and returns whether the work was done now. Its verdict may have become another.
bool image_work_step(card_state &state, uint64_t now_ns);
uint64_t image_work_next_due(const card_state &state); // NEVER_NS without any

// The firmware starts with the working image. A downloaded image of the controller's is in its own memory
// already and counts without an activation; another's, and what was under way, is lost.
void image_work_firmware_start(card_state &state);

#endif
