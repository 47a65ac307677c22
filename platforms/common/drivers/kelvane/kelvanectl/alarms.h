#ifndef KELVANECTL_ALARMS_H
#define KELVANECTL_ALARMS_H

#include "kelvanectl/subcommand.h"

// By address the list of those raised, for every device that has alarms; null for all devices of a sirane
// that could not be read. `status` is not STATUS_DONE when none could, and the caller told.
json raised_alarms(const tool &tool, exit_status *status);

#endif
