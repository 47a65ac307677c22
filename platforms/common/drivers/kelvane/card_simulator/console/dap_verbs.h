// The verb `dap`: how the firmware behaves in the DAP exchanges to come.
#ifndef CARD_SIMULATOR_CONSOLE_DAP_VERBS_H
#define CARD_SIMULATOR_CONSOLE_DAP_VERBS_H

#include <string>

#include "card_simulator/console/arguments.h"

struct card;

bool verb_dap(card &card, arguments &args, std::string *answer);

#endif
