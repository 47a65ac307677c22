#ifndef KELVANECTL_ALARMS_H
#define KELVANECTL_ALARMS_H

#include "kelvanectl/records.h"

// What has to be read for them.
std::vector<reading> readings_of_alarms();

// Of records that were read: by address the list of those raised, for every device that has alarms; null for
// all devices of a sirane that could not be read.
json raised_alarms(const json &records);

#endif
