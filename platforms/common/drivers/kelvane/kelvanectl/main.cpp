// The card's operations for people and for shell scripts.
#include <cmath>
#include <cstdio>
#include <exception>
#include <memory>

#include <unistd.h>

#include "control/card_owner.h"
#include "control/descriptor_passing.h"
#include "kelvanectl/command_line.h"
#include "kelvanectl/text/interrupt.h"
#include "kelvanectl/text/output.h"
#include "platform/recorder.h"

namespace {

constexpr double MS_PER_SECOND = 1000;

exit_status run(const subcommand &what, const command_options &options)
{
    if (options.direct) {
        output_keep_for_tool();
        const std::string problem = options.record_path.empty() ? "" : record_card(options.record_path);
        if (!problem.empty()) {
            output_problem(problem);
            return STATUS_FAILED;
        }
        direct_session card(options.kind);
        return what.run({options, card, nullptr});
    }
    service_session card(options.socket_path.empty() ? service_socket_path() : options.socket_path,
                         std::lround(options.timeout_seconds * MS_PER_SECOND));
    return what.run({options, card, &card});
}

exit_status run_line(int argc, char **argv)
{
    command_options options;
    const parsed_line line = parse_line({argv + (argc > 0 ? 1 : 0), argv + argc}, options);
    return line.what != nullptr ? run(*line.what, options) : line.status;
}

} // namespace

int main(int argc, char **argv)
{
    interrupt_prepare();
    exit_status status = STATUS_FAILED;
    try {
        status = run_line(argc, argv);
    } catch (const std::exception &wrong) { // no memory, or an answer that no service gives
        output_problem(wrong.what());
    }
    if (!output_finish()) {
        output_problem("standard output could not be written whole");
        status = STATUS_FAILED;
    }
    recorder_stop();
    fflush(nullptr);
    _exit(status); // the library's threads never stop
}
