// What the operator is shown of the card's logs.
#ifndef CARD_SIMULATOR_CONSOLE_LOGS_SHOW_H
#define CARD_SIMULATOR_CONSOLE_LOGS_SHOW_H

#include <string>

#include "card_simulator/bus/bar.h"
#include "card_simulator/logs/card_logs.h"

void append_logs(std::string &text, const card_logs &logs, const bar &bar);

#endif
