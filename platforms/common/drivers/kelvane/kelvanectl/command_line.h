// The tool's command line, made from the rows of its subcommands.
#ifndef KELVANECTL_COMMAND_LINE_H
#define KELVANECTL_COMMAND_LINE_H

#include <memory>
#include <string>
#include <vector>

#include "kelvanectl/subcommand.h"

// What a line's words go to is `options`, which it has to outlive.
std::unique_ptr<CLI::App> command_line_of(command_options &options);

// The part of it for the row of that name, "firmware show".
CLI::App *subcommand_of(CLI::App &app, const std::string &name);

struct parsed_line {
    const subcommand *what = nullptr; // null: nothing is to be run, and the tool ends with
    exit_status status = STATUS_DONE;
};

// The words without the program's name. Prints help that is asked for, and what is wrong.
parsed_line parse_line(std::vector<std::string> words, command_options &options);

#endif
