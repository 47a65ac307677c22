// The verbs that stop, start and disturb the firmware and the card as a whole.
#ifndef CARD_SIMULATOR_CONSOLE_FIRMWARE_VERBS_H
#define CARD_SIMULATOR_CONSOLE_FIRMWARE_VERBS_H

#include <string>

#include "card_simulator/console/arguments.h"

struct card;

bool verb_restart(card &card, arguments &it, std::string *answer);
bool verb_hang(card &card, arguments &it, std::string *answer);
bool verb_resume(card &card, arguments &it, std::string *answer);
bool verb_remove(card &card, arguments &it, std::string *answer);
bool verb_insert(card &card, arguments &it, std::string *answer);
bool verb_slow_start(card &card, arguments &it, std::string *answer);
bool verb_laser_time(card &card, arguments &it, std::string *answer);
bool verb_image_version(card &card, arguments &it, std::string *answer);
bool verb_program_time(card &card, arguments &it, std::string *answer);
bool verb_batch_interval(card &card, arguments &it, std::string *answer);
bool verb_upset(card &card, arguments &it, std::string *answer);
bool verb_memory_error(card &card, arguments &it, std::string *answer);

#endif
