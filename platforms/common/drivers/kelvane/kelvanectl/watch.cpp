// What happens, as it happens.
#include "kelvanectl/subcommand.h"
#include "kelvanectl/text/output.h"

namespace {

void output_event(const json &event)
{
    std::string line;
    for (const char *const name : {"time", "type", "address"}) {
        line += in_words(event.value(name, json())) + "  ";
    }
    output_line(line + members_in_words(event.value("data", json())));
}

exit_status watch(const tool &tool)
{
    const bool as_json = tool.options.as_json;
    const answer snapshot = tool.card.ask("subscribe", json::object());
    if (const exit_status status = output_answer(snapshot, as_json); status != STATUS_DONE) {
        return status;
    }
    json event;
    while (output_finish()) {
        const json error = tool.service->next_event(&event);
        if (!error.is_null()) {
            return fail(error, as_json);
        }
        if (as_json) {
            output_json(event);
        } else {
            output_event(event);
        }
    }
    return STATUS_FAILED;
}

} // namespace

const subcommand WATCH = {"watch", "Shows what happens, until Ctrl-C.", add_nothing, watch, true};
