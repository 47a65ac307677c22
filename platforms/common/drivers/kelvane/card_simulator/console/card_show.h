// What the operator is shown of the card.
#ifndef CARD_SIMULATOR_CONSOLE_CARD_SHOW_H
#define CARD_SIMULATOR_CONSOLE_CARD_SHOW_H

#include <string>

#include "card_simulator/firmware/card_record.h"

std::string card_show(const card &card);

#endif
