// A command of the shell's that asks the service, from its start to its end.
#include "benchmarks/clock.h"
#include "benchmarks/figures.h"
#include "benchmarks/programs/program.h"
#include "benchmarks/service/running_service.h"

namespace {

double milliseconds_of(const std::vector<std::string> &words)
{
    return nanoseconds_each(1, [&words](unsigned) { program_end_with(program_start(words), ""); }) / 1e6;
}

} // namespace

round_values ctl_start()
{
    static const pid_t service = start_service();
    (void)service;
    const double measured = milliseconds_of({KELVANECTL, "list"});
    return {measured, milliseconds_of({EMPTY_PROGRAM})};
}
