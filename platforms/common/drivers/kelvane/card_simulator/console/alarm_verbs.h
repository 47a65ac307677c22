// The console's verb `alarm`: raise, clear, list.
#ifndef CARD_SIMULATOR_CONSOLE_ALARM_VERBS_H
#define CARD_SIMULATOR_CONSOLE_ALARM_VERBS_H

#include <string>

#include "card_simulator/console/arguments.h"
#include "card_simulator/firmware/card_record.h"

bool verb_alarm(card &card, arguments &args, std::string *answer);

#endif
