#include "kelvanectl/recording/retold.h"

#include "kelvanectl/recording/recording_file.h"
#include "kelvanectl/text/output.h"

namespace {

// By enum.
constexpr const char *KINDS[] = {"command", "message", "interrupt", "image", "watch", "dap", "reset", "card"};
constexpr const char *MAILBOXES[] = {"response", "performance", "alarm", "command", "dap", "keep_alive", ""};
static_assert(std::size(MAILBOXES) == MBOX_NONE + 1);

} // namespace

std::string retell(const std::string &path, retold *out)
{
    recording_file file;
    std::string problem = file.open(path);
    if (!problem.empty()) {
        return problem;
    }
    story story;
    for (recording_entry entry; file.next(&entry);) {
        story.hear(entry);
    }
    *out = {file.head(),          story.finish(), story.thread_names(), story.other_reads(),
            story.other_writes(), file.lost(),    file.damaged_bytes(), story.has_ended()};
    return "";
}

exit_status tell_of_gaps(const retold &story)
{
    if (story.lost > 0) {
        output_problem("the recorder left out " + std::to_string(story.lost) +
                       " entries, because the disk was too slow: what went wrong may be theirs");
    }
    if (story.damaged_bytes > 0) {
        output_problem(std::to_string(story.damaged_bytes) +
                       " bytes of the recording are damaged or cut off");
    }
    return story.damaged_bytes > 0 ? STATUS_FAILED : STATUS_DONE;
}

double seconds_of(uint64_t time)
{
    constexpr double NS_PER_S = 1e9;
    return static_cast<double>(time) / NS_PER_S;
}

bool is_mark(const happening &it)
{
    return it.kind == happening_kind::interrupt && it.problem.empty();
}

bool is_of_command(const happening &it)
{
    return it.kind == happening_kind::command || it.kind == happening_kind::message;
}

const char *kind_name(happening_kind kind)
{
    return KINDS[static_cast<size_t>(kind)];
}

const char *mailbox_name(uint32_t mbox)
{
    return MAILBOXES[mbox];
}

std::string sirane_name(const happening &it)
{
    return it.sirane < 0 ? "" : "sirane/" + std::to_string(it.sirane);
}

std::string what_name(const happening &it)
{
    if (!is_of_command(it)) {
        return kind_name(it.kind);
    }
    return it.command < COMMAND_COUNT ? command_names[it.command] : "command " + std::to_string(it.command);
}
