// The firmware's half of the DAP channel: follows the host's reset, takes its message, holds it as often as
// the operator wants, answers.
#ifndef CARD_SIMULATOR_FIRMWARE_DAP_H
#define CARD_SIMULATOR_FIRMWARE_DAP_H

#include <cstdint>

struct card;

constexpr uint32_t DAP_REQUEST_BYTES_MAX = 1024;
constexpr uint32_t DAP_ANSWER_BYTES_MAX = 1100; // more than a host takes
constexpr uint64_t DAP_REMINDER_PERIOD_NS = 100000000;
constexpr uint32_t DAP_REMINDERS_MAX =
    10; // a host resets the channel at link-up, too, and then wants nothing

void dap_start(card &card);
void dap_stop(card &card);
void dap_host_wrote(card &card, uint32_t state);
void dap_step(card &card, uint64_t now_ns);
uint64_t dap_next_due(const card &card);

#endif
