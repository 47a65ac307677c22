// The verbs that write into the card's logs and tamper with their indexes.
#ifndef CARD_SIMULATOR_CONSOLE_LOG_VERBS_H
#define CARD_SIMULATOR_CONSOLE_LOG_VERBS_H

#include <string>

#include "card_simulator/console/arguments.h"

struct card;

bool verb_log(card &card, arguments &args, std::string *answer);
bool verb_eprom(card &card, arguments &args, std::string *answer);
bool verb_regulator(card &card, arguments &args, std::string *answer);

#endif
