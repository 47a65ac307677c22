// The verbs that stop, start and disturb the firmware and the card as a whole.
#ifndef CARD_SIMULATOR_CONSOLE_FIRMWARE_VERBS_H
#define CARD_SIMULATOR_CONSOLE_FIRMWARE_VERBS_H

#include <string>

#include "card_simulator/console/arguments.h"

struct card;

bool verb_restart(card &card, arguments &args, std::string *answer);
bool verb_hang(card &card, arguments &args, std::string *answer);
bool verb_resume(card &card, arguments &args, std::string *answer);
bool verb_remove(card &card, arguments &args, std::string *answer);
bool verb_insert(card &card, arguments &args, std::string *answer);
bool verb_slow_start(card &card, arguments &args, std::string *answer);
// The verb of the line is one of those that set a time.
bool verb_time(card &card, arguments &args, std::string *answer);

bool verb_image_version(card &card, arguments &args, std::string *answer);
bool verb_upset(card &card, arguments &args, std::string *answer);
bool verb_memory_error(card &card, arguments &args, std::string *answer);

#endif
