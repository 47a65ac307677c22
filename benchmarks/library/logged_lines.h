// Holds a reference that writes lines against what the library writes: they have to be the same ones.
#ifndef BENCHMARKS_LOGGED_LINES_H
#define BENCHMARKS_LOGGED_LINES_H

#include <cstdint>
#include <string>
#include <vector>

struct logged_line {
    int32_t tid;
    std::string text; // from the address on
};

// The lines that were logged since the last call. The log has to be on (figure_log_on).
std::vector<logged_line> take_logged_lines();

// Those of them that hold one of the texts.
std::vector<logged_line> lines_with(const std::vector<logged_line> &lines,
                                    const std::vector<std::string> &texts);

// Ends the figure's process, with the first difference, unless the bare lines are the library's.
void expect_same_lines(const std::vector<logged_line> &library, const std::vector<logged_line> &bare);

// Closes the log; what is measured is written into the rings only.
void log_off();

#endif
