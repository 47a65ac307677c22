#ifndef KELVANECTL_CONFIRMATION_H
#define KELVANECTL_CONFIRMATION_H

#include "kelvanectl/subcommand.h"

// Asks on a terminal whether to go on with what disturbs traffic: `what` is a sentence without its dot.
// Anything but STATUS_DONE: no, and the caller was told.
exit_status confirm(const tool &tool, const std::string &what);

#endif
