#include <fcntl.h>
#include <fstream>
#include <string>
#include <unistd.h>

#include "benchmarks/clock.h"
#include "benchmarks/figure_process.h"
#include "benchmarks/figures.h"
#include "benchmarks/trace/trace_lines.h"

namespace {

constexpr unsigned LINES = 500;

std::string line; // as the library wrote it
int bare_file = -1;

void start()
{
    const std::string log = figure_log_on();
    start_trace();
    std::ifstream written(log);
    while (std::getline(written, line) && written.peek() != EOF) {
    }
    line += '\n';
    bare_file = open((log + ".bare").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (line.size() < 100 || bare_file < 0) {
        figure_fail("the log file");
    }
}

void bare_lines(unsigned turns)
{
    for (unsigned turn = 0; turn < turns; turn++) {
        if (write(bare_file, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
            figure_fail("write");
        }
    }
}

} // namespace

round_values log_line()
{
    static const bool started = (start(), true);
    (void)started;
    return {processor_nanoseconds_each(LINES, trace_lines), processor_nanoseconds_each(LINES, bare_lines)};
}
