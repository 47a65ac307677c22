#ifndef KELVANECTL_LOGS_H
#define KELVANECTL_LOGS_H

#include <string>
#include <vector>

#include "kelvanectl/subcommand.h"

struct card_log {
    std::string file; // how it is called
    question request;
};

std::vector<card_log> all_logs();

#endif
