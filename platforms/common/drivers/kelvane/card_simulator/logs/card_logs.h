// All logs of the card.
#ifndef CARD_SIMULATOR_LOGS_CARD_LOGS_H
#define CARD_SIMULATOR_LOGS_CARD_LOGS_H

#include "card_simulator/logs/eprom_log.h"
#include "card_simulator/logs/trace_log.h"

struct card_logs {
    trace_log trace;
    eprom_log eprom;
};

#endif
