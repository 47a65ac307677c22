// What the tool prints, and what it ends with.
#ifndef KELVANECTL_OUTPUT_H
#define KELVANECTL_OUTPUT_H

#include <string>

#include "kelvanectl/session.h"

enum exit_status {
    STATUS_DONE = 0,
    STATUS_FAILED = 1, // a code of the library
    STATUS_USAGE = 2,
    STATUS_NO_CARD = 3, // or no service, no right to it, not yet
    STATUS_TIMED_OUT = 4,
};

// From here on, descriptor 1 is standard error, for whatever the library prints, and what the functions below
// print goes to the one that it was.
void output_keep_for_tool();

// A result as lines of a name and a value, or as JSON; an error as a line on standard error, and as JSON.
// What the tool ends with.
exit_status output_answer(const answer &answer, bool as_json);

void output_line(const std::string &text);

// One line on standard error: what, where and why.
void output_problem(const std::string &text);

#endif
