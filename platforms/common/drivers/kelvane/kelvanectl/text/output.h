// What the tool prints: results as text or JSON on standard output, what went wrong on standard error. Text
// of the card reaches no terminal with control characters in it.
#ifndef KELVANECTL_TEXT_OUTPUT_H
#define KELVANECTL_TEXT_OUTPUT_H

#include <string>
#include <string_view>

#include "control/record_json.h"

// From here on, descriptor 1 is standard error, for whatever the library prints, and what the functions below
// print goes to the one that it was.
void output_keep_for_tool();

// Whether standard output is a terminal.
bool output_is_terminal();

// As it is, with a line's end.
void output_line(const std::string &text);

// One line of JSON.
void output_json(const json &value);

// A line on standard error, behind the tool's name.
void output_problem(const std::string &text);

// False when something of it could not be written.
bool output_finish();

// Text with control characters as "\x1b", and a head: the same, bold where a terminal shows it.
std::string printable(std::string_view text);
std::string bold(const std::string &text);

// A single value in words. Its name tells whether a switch is on, or something is so: "yes".
std::string in_words(const json &value, std::string_view name = "");

// A record's members in a line. A record within it is for those who ask for JSON.
std::string members_in_words(const json &record);

// A record as lines of names and values, those of records within it indented below their names.
void output_record(const json &record);

// `rows` are objects with the same members: as a table with their names as its head, or as JSON, as what
// `name` says.
void output_rows(const std::string &name, const json &rows, bool as_json);

#endif
