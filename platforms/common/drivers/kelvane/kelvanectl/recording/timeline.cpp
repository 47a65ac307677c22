// A recording as trace events, which Perfetto and Chromium open: https://ui.perfetto.dev, chrome://tracing.
#include <fstream>

#include "kelvanectl/recording/retold.h"
#include "kelvanectl/subcommand.h"
#include "kelvanectl/text/output.h"

#include "control/address.h"

namespace {

constexpr double NS_PER_US = 1e3;
constexpr int MAILBOXES = 1, THREADS = 2; // what trace events call processes

// Of a mailbox; those that exist once come last.
uint32_t track_of(const happening &it)
{
    return it.sirane < 0 ? SIRANE_COUNT * MBOX_NONE + it.mbox
                         : static_cast<uint32_t>(it.sirane) * MBOX_NONE + it.mbox;
}

std::string track_name(const happening &it)
{
    const std::string mailbox = mailbox_name(it.mbox);
    const std::string sirane = sirane_name(it);
    return mailbox.empty() ? "card" : sirane.empty() ? mailbox : sirane + " " + mailbox;
}

json name_event(const char *what, int process, uint32_t thread, const std::string &name)
{
    return {{"ph", "M"}, {"name", what}, {"pid", process}, {"tid", thread}, {"args", {{"name", name}}}};
}

json event_of(const happening &it, int process, uint32_t track)
{
    json event = {{"name", what_name(it)},
                  {"pid", process},
                  {"tid", track},
                  {"ts", static_cast<double>(it.time) / NS_PER_US}};
    if (is_of_command(it)) {
        event["ph"] = "X";
        event["dur"] = static_cast<double>(it.took_ns) / NS_PER_US;
    } else {
        event["ph"] = "i";
        event["s"] = "t"; // of this track
    }
    json arguments = json::object();
    if (it.address) {
        arguments["address"] = words_of_address(*it.address);
    }
    for (const auto &[name, text] : {std::pair("text", it.text), std::pair("problem", it.problem)}) {
        if (!text.empty()) {
            arguments[name] = text;
        }
    }
    if (!it.problem.empty()) {
        event["cname"] = "terrible"; // red
    }
    event["args"] = arguments;
    return event;
}

json events_of(const retold &story)
{
    json events = json::array();
    events.push_back(name_event("process_name", MAILBOXES, 0, "mailboxes"));
    events.push_back(name_event("process_name", THREADS, 0, "threads"));
    for (const auto &[thread, name] : story.threads) {
        events.push_back(name_event("thread_name", THREADS, thread, name));
    }
    std::map<uint32_t, std::string> tracks;
    for (const happening &it : story.all) {
        if (tracks.try_emplace(track_of(it), track_name(it)).second) {
            events.push_back(name_event("thread_name", MAILBOXES, track_of(it), track_name(it)));
        }
        events.push_back(event_of(it, MAILBOXES, track_of(it)));
        if (it.thread != 0) {
            events.push_back(event_of(it, THREADS, it.thread));
        }
    }
    return events;
}

void add_timeline(CLI::App &app, command_options &options)
{
    app.add_option("FILE", options.file, "the recording")->required();
}

exit_status timeline(const tool &tool)
{
    retold story;
    const std::string problem = retell(tool.options.file, &story);
    if (!problem.empty()) {
        output_problem(problem);
        return STATUS_FAILED;
    }
    output_json({{"displayTimeUnit", "ms"}, {"traceEvents", events_of(story)}});
    return tell_of_gaps(story);
}

} // namespace

const subcommand RECORDING_TIMELINE = {"recording timeline",
                                       "Prints a recording as trace events, for Perfetto and Chromium.",
                                       add_timeline, timeline};
