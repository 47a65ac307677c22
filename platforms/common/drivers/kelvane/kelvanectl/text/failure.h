// What went wrong, for people and for shells: one line, and what the tool ends with.
#ifndef KELVANECTL_TEXT_FAILURE_H
#define KELVANECTL_TEXT_FAILURE_H

#include <string>

#include "control/dispatch.h"

enum exit_status {
    STATUS_DONE = 0,
    STATUS_FAILED = 1, // a code of the library
    STATUS_USAGE = 2,
    STATUS_NO_CARD = 3, // or no service, no right to it, not yet
    STATUS_TIMED_OUT = 4,
    STATUS_IN_PART = 5,
};

// `error` has code, message and data: what, where, why and what to do as a line on standard error, and with
// `as_json` the error on standard output. What the tool ends with.
exit_status fail(const json &error, bool as_json);

// The same for what the caller got wrong.
exit_status fail_usage(const std::string &problem, bool as_json);

// The same for a file of the caller's, with errno's reason.
exit_status fail_file(const std::string &problem, bool as_json);

exit_status status_of(const json &error);

// What to do about a code; empty when there is nothing to say.
std::string advice_of(const json &error);

#endif
