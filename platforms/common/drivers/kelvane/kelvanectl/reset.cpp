// What starts the card, or a part of it, anew.
#include "kelvanectl/confirmation.h"
#include "kelvanectl/records.h"

namespace {

exit_status restart(const tool &tool, const std::string &what, const char *method, const json &parameters)
{
    const exit_status status = confirm(tool, what);
    return status == STATUS_DONE ? output_answer(tool.card.ask(method, parameters), tool.options.as_json)
                                 : status;
}

exit_status init(const tool &tool)
{
    return restart(tool,
                   "This puts the firmware into its default state and resets all siranes: all traffic stops",
                   "default_initialize", json::object());
}

void add_reset(CLI::App &app, command_options &options)
{
    app.add_option("ADDRESS", options.address, "`card` for all of it, or sirane/0, ...")->required();
    app.add_option("--kind", options.reset_kind, "of the card's two kinds of reset")
        ->type_name("0|1")
        ->check(CLI::Range(0, 1).description(""))
        ->capture_default_str();
}

exit_status reset(const tool &tool)
{
    if (tool.options.address == "card") {
        return restart(tool, "This resets the whole card: all traffic stops", "set_trigger_reset",
                       {{"trigger_reset", tool.options.reset_kind}});
    }
    exit_status status = STATUS_DONE;
    if (!check_address(tool, &status)) {
        return status;
    }
    return restart(tool, "This resets the sirane of " + tool.options.address + ": its traffic stops",
                   "recover_device", {{"address", tool.options.address}});
}

} // namespace

const subcommand INIT = {"init", "Puts the card into its default state, which resets the siranes.",
                         add_nothing, init};
const subcommand RESET = {"reset", "Resets a sirane, or the card.", add_reset, reset};
