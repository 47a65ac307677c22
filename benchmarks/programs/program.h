// The programs of the system as processes beside the figure's own. They end with it.
#ifndef BENCHMARKS_PROGRAM_H
#define BENCHMARKS_PROGRAM_H

#include <string>
#include <vector>

#include <sys/types.h>

struct program {
    pid_t pid = -1;
    int input = -1;  // its standard input
    int output = -1; // its standard output
};

// What mock_client says when it waits for a command.
constexpr const char *CLIENT_PROMPT = ">>> \n>>> Please enter input :";

// Runs the words. With `body` the process runs that instead, and ends with its result.
program program_start(const std::vector<std::string> &words);
program program_start_body(int (*body)());

// Reads its output up to the text, which is in it once.
void program_wait_for(const program &program, const std::string &text);

// Writes the line and waits for its end; ends the figure's process unless its status is 0.
void program_end_with(const program &program, const std::string &line);

// A simulated card in the figure's host's tree, until the figure ends. Returns its process.
pid_t start_simulator();

#endif
