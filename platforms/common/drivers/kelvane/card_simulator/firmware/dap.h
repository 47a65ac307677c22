// The firmware's half of the DAP channel: follows the host's reset, takes its message, holds it as often as
// the operator wants, answers.
#ifndef CARD_SIMULATOR_FIRMWARE_DAP_H
#define CARD_SIMULATOR_FIRMWARE_DAP_H

#include <cstdint>
#include <optional>
#include <vector>

#include "kelvane_mbox.h"

struct card;

constexpr uint32_t DAP_REQUEST_BYTES_MOST = 1024;
constexpr uint32_t DAP_ANSWER_BYTES_MOST = 1100; // more than a host takes
constexpr uint64_t DAP_REMINDER_NS = 100000000;
constexpr uint32_t DAP_REMINDERS = 10; // a host resets the channel at link-up, too, and then wants nothing

// By the operator.
struct dap_settings {
    uint32_t holds = 0; // before each answer
    uint32_t delay_ms = 0;
    uint32_t ignored_resets = 0; // of those to come
    uint32_t error_word = 0;
    std::optional<uint32_t> answer_bytes; // otherwise the answer is an echo
};

enum class dap_phase {
    idle,
    reset,   // F = 1024: the host may write its message
    working, // on the message
    held,    // F = 8: the host is to echo it
    done,    // F = 2048: the answer is there
};

struct dap {
    dap_phase phase = dap_phase::idle;
    uint32_t holds_left = 0;
    mbox_data_header request = {};
    std::vector<uint32_t> data; // the request's
    uint64_t due_ns = 0;        // of the work's end, or of the next reminder
    uint32_t reminders_left = 0;
};

void dap_start(card &card);
void dap_stop(card &card);
void dap_host_wrote(card &card, uint32_t state);
void dap_step(card &card, uint64_t now);
uint64_t dap_next_due(const card &card);

#endif
