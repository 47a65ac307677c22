#include "kelvanectl/subcommand.h"

#include "kelvanectl/text/output.h"

namespace {

constexpr const subcommand *ALL[] = {
    &LIST,
    &SHOW,
    &GET,
    &SET,
    &PM,
    &ALARMS,
    &INVENTORY,
    &CONFIG,
    &REGISTER_READ,
    &REGISTER_WRITE,
    &FIRMWARE_SHOW,
    &FIRMWARE_DOWNLOAD,
    &FIRMWARE_ACTIVATE,
    &FIRMWARE_UPDATE,
    &INIT,
    &RESET,
    &TOP,
    &WATCH,
    &LOGS,
    &RECORDING_SHOW,
    &RECORDING_TIMELINE,
    &SUPPORT,
    &BATCH,
    &CALL,
    &METHODS,
    &COMPLETION,
    &MANUAL,
};

} // namespace

std::span<const subcommand *const> all_subcommands()
{
    return ALL;
}

void add_nothing(CLI::App &, command_options &)
{
}

exit_status output_answer(const answer &answer, bool as_json)
{
    if (!answer.error.is_null()) {
        return fail(answer.error, as_json);
    }
    if (as_json) {
        output_json(answer.result);
    } else {
        output_record(answer.result);
    }
    return STATUS_DONE;
}
