// A recording's story: for people, or a line of JSON for each thing that happened.
#include <algorithm>
#include <cinttypes>
#include <ctime>

#include "control/address.h"
#include "control/dispatch.h"
#include "kelvanectl/recording/retold.h"
#include "kelvanectl/subcommand.h"
#include "kelvanectl/text/output.h"

namespace {

constexpr size_t WORDS_SHOWN = 12;
constexpr double NS_PER_MS = 1e6;

std::string words_text(const std::vector<uint32_t> &words)
{
    std::string text;
    for (size_t i = 0; i < std::min(words.size(), WORDS_SHOWN); i++) {
        char word[12];
        snprintf(word, sizeof word, "%s%08" PRIx32, i > 0 ? " " : "", words[i]);
        text += word;
    }
    return words.size() > WORDS_SHOWN ? text + " and " + std::to_string(words.size() - WORDS_SHOWN) + " more"
                                      : text;
}

std::string states_text(const std::vector<state_change> &states)
{
    std::string text;
    uint32_t mbox = MBOX_NONE;
    for (const state_change &it : states) {
        if (it.mbox != std::exchange(mbox, it.mbox)) {
            text += (text.empty() ? "" : "; ") + std::string(mailbox_name(it.mbox)) + ":";
        }
        text += std::string(it.by_host ? " host " : " card ") + std::to_string(it.state);
    }
    return text;
}

void show_line(const happening &it)
{
    char took[24] = "";
    if (it.took_ns > 0) {
        snprintf(took, sizeof took, "%.3f ms", static_cast<double>(it.took_ns) / NS_PER_MS);
    }
    const std::string outcome = !it.problem.empty() ? bold("! " + it.problem)
                                : !it.text.empty()  ? it.text
                                                    : "done";
    char line[200];
    snprintf(line, sizeof line, "%12.6f  %-8s  %-11s  %-32s  %-8s  %12s  ", seconds_of(it.time),
             sirane_name(it).c_str(), mailbox_name(it.mbox), what_name(it).c_str(),
             it.address ? words_of_address(*it.address).c_str() : "", took);
    output_line(line + outcome + (it.problem.empty() || it.text.empty() ? "" : " (" + it.text + ")"));
    const std::pair<const char *, std::string> more[] = {{"sent", words_text(it.sent)},
                                                         {"answered", words_text(it.answer)},
                                                         {"states", states_text(it.states)}};
    for (const auto &[name, text] : more) {
        if (!text.empty()) {
            snprintf(line, sizeof line, "%14s%-9s", "", name);
            output_line(line + text);
        }
    }
}

json states_json(const std::vector<state_change> &states)
{
    json all = json::array();
    for (const state_change &it : states) {
        all.push_back({{"seconds", seconds_of(it.time)},
                       {"mailbox", mailbox_name(it.mbox)},
                       {"by", it.by_host ? "host" : "card"},
                       {"state", it.state}});
    }
    return all;
}

json text_or_null(const std::string &text)
{
    return text.empty() ? json() : json(text);
}

void show_json(const retold &story, const happening &it)
{
    const auto thread = story.threads.find(it.thread);
    output_json({{"seconds", seconds_of(it.time)},
                 {"took_ms", it.took_ns > 0 ? json(static_cast<double>(it.took_ns) / NS_PER_MS) : json()},
                 {"kind", kind_name(it.kind)},
                 {"thread", thread != story.threads.end() ? json(thread->second) : json()},
                 {"sirane", it.sirane < 0 ? json() : json(sirane_name(it))},
                 {"mailbox", text_or_null(mailbox_name(it.mbox))},
                 {"command", is_of_command(it) ? json(what_name(it)) : json()},
                 {"ref_id", is_of_command(it) ? json(it.ref_id) : json()},
                 {"address", it.address ? json(words_of_address(*it.address)) : json()},
                 {"sent", it.sent},
                 {"answer", it.answer},
                 {"rc", it.rc},
                 {"states", states_json(it.states)},
                 {"text", text_or_null(it.text)},
                 {"problem", text_or_null(it.problem)}});
}

bool is_wanted(const command_options &options, const happening &it)
{
    return (options.method.empty() || (is_of_command(it) && what_name(it) == options.method)) &&
           (options.address.empty() || (it.address && words_of_address(*it.address) == options.address)) &&
           seconds_of(it.time) >= options.from_seconds;
}

void add_show(CLI::App &app, command_options &options)
{
    app.add_option("FILE", options.file, "the recording")->required();
    app.add_option("--command", options.method, "only what belongs to this command of the firmware's")
        ->type_name("NAME");
    app.add_option("--address", options.address,
                   "only what is of this address: board, sirane/1, module/0, host/0.1")
        ->type_name("ADDRESS");
    app.add_option("--from", options.from_seconds,
                   "only what began as many seconds after the recording, or later")
        ->type_name("SECONDS");
}

void show_head(const retold &story, const std::string &file)
{
    const auto began = static_cast<time_t>(story.head.began_ns / 1000000000);
    tm parts = {};
    gmtime_r(&began, &parts);
    char time[40];
    strftime(time, sizeof time, "%Y-%m-%d %H:%M:%S UTC", &parts);
    output_line(printable(file) + ": " + printable(story.head.program) + ", process " +
                std::to_string(story.head.process) + ", from " + time);
}

void show_end(const retold &story)
{
    const auto wrong =
        std::ranges::count_if(story.all, [](const happening &it) { return !it.problem.empty(); });
    output_line(std::to_string(story.all.size()) + " happened, " + std::to_string(wrong) + " went wrong; " +
                std::to_string(story.other_reads) + " words read and " + std::to_string(story.other_writes) +
                " written beside the mailboxes" +
                (story.has_ended ? "" : "; the program ended without ending its recording"));
}

exit_status show(const tool &tool)
{
    const command_options &options = tool.options;
    retold story;
    const std::string problem = retell(options.file, &story);
    if (!problem.empty()) {
        output_problem(problem);
        return STATUS_FAILED;
    }
    if (!options.as_json) {
        show_head(story, options.file);
    }
    for (const happening &it : story.all) {
        if (!is_wanted(options, it) || is_mark(it)) {
            continue;
        }
        options.as_json ? show_json(story, it) : show_line(it);
    }
    if (!options.as_json) {
        show_end(story);
    }
    return tell_of_gaps(story);
}

} // namespace

const subcommand RECORDING_SHOW = {
    "recording show", "Tells what a recording has: each exchange, and what went wrong.", add_show, show};
