// Records of many devices, read at once.
#ifndef KELVANECTL_RECORDS_H
#define KELVANECTL_RECORDS_H

#include <string>
#include <string_view>
#include <vector>

#include "kelvanectl/subcommand.h"

struct reading {
    std::string address;
    const char *method;
};

// "laser" for "get_laser".
std::string short_name(std::string_view method);

// A device address, or empty with `status` set and the caller told.
bool check_address(const tool &tool, exit_status *status);

// By address and short name what was read: a single value without the name of its own, or {"error": ...}.
json records_of(const std::vector<reading> &readings, const std::vector<answer> &answers);

// The same, asked for. `status` is not STATUS_DONE when nothing at all could be read, and the caller told.
json read_records(const tool &tool, const std::vector<reading> &readings, exit_status *status);

// What each view has of one device, or of all of them.
std::vector<reading> readings_of_pm(const std::string &address);
std::vector<reading> readings_of_inventory(const std::string &address);
std::vector<reading> readings_of_config(const std::string &address);

// A request for each, as the dispatcher wants it.
std::vector<question> questions_of(const std::vector<reading> &readings);

// The first error after which asking on is in vain: no card, no service. Null when there is none.
json fatal_error(const std::vector<answer> &answers);

#endif
