// The operator's verbs: one table for the prompt, the script file and the control socket.
#ifndef CARD_SIMULATOR_CONSOLE_CONSOLE_H
#define CARD_SIMULATOR_CONSOLE_CONSOLE_H

#include <cstdint>
#include <string>
#include <string_view>

#include "card_simulator/firmware/card_record.h"

// Runs one line on a card whose mutex is held. An empty line and one that begins with # do nothing.
// Returns 0, or 22 (EINVAL) with the reason in `answer`.
int32_t console_run(card &card, std::string_view line, std::string *answer);

// A line for each form of each verb.
std::string console_help();

#endif
