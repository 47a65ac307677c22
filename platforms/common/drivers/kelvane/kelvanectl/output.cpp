#include "kelvanectl/output.h"

#include <algorithm>
#include <cstdio>

#include <unistd.h>

namespace {

FILE *tool_output = stdout;

// Card text is quoted by the JSON, which escapes its control characters.
std::string in_words(const json &value)
{
    std::string text = value.dump();
    const bool is_plain_text = value.is_string() && text.find('\\') == text.npos;
    return is_plain_text ? value.get<std::string>() : value.is_null() ? "-" : text;
}

// The lines of a record, with the names of those around it before each of its own.
void collect(const std::string &name, const json &value,
             std::vector<std::pair<std::string, std::string>> *lines)
{
    const bool holds_records = value.is_array() && !value.empty() && value.front().is_object();
    if (!value.is_object() && !holds_records) {
        lines->emplace_back(name, in_words(value));
        return;
    }
    for (const auto &[key, element] : value.items()) {
        const std::string own = value.is_array() ? "[" + key + "]" : (name.empty() ? "" : ".") + key;
        collect(name + own, element, lines);
    }
}

void print_result(const json &result)
{
    std::vector<std::pair<std::string, std::string>> lines;
    collect("", result, &lines);
    size_t width = 0;
    for (const auto &[name, value] : lines) {
        width = std::max(width, name.size());
    }
    for (const auto &[name, value] : lines) {
        output_line(name + std::string(width + 2 - name.size(), ' ') + value);
    }
}
exit_status status_of_code(int64_t code)
{
    switch (code) {
    case RPC_NO_JSON:
    case RPC_NO_REQUEST:
    case RPC_NO_METHOD:
    case RPC_BAD_PARAMETERS:
        return STATUS_USAGE;
    case RPC_NO_CARD:
    case RPC_NO_RIGHT:
    case RPC_LINKING:
        return STATUS_NO_CARD;
    case RPC_TIMED_OUT:
    case KELVANE_RET_CODE_ETIMEDOUT:
        return STATUS_TIMED_OUT;
    default:
        return STATUS_FAILED;
    }
}

} // namespace

void output_keep_for_tool()
{
    const int kept = dup(STDOUT_FILENO);
    FILE *const stream = kept < 0 ? nullptr : fdopen(kept, "w");
    tool_output = stream != nullptr ? stream : stdout;
    dup2(STDERR_FILENO, STDOUT_FILENO);
}

void output_line(const std::string &text)
{
    fprintf(tool_output, "%s\n", text.c_str());
}

void output_problem(const std::string &text)
{
    fflush(tool_output);
    fprintf(stderr, "kelvanectl: %s\n", text.c_str());
}

exit_status output_answer(const answer &answer, bool as_json)
{
    const bool is_done = answer.error.is_null();
    const json &told = is_done ? answer.result : answer.error;
    if (as_json) {
        output_line(told.dump());
    } else if (is_done) {
        print_result(told);
    }
    if (is_done) {
        return STATUS_DONE;
    }
    const json &data = told["data"];
    output_problem(data.value("operation", "") +
                   (data.contains("address") ? " at " + data["address"].get<std::string>() : "") + ": " +
                   told["message"].get<std::string>() + " (" + told["code"].dump() + ")");
    return status_of_code(told["code"].get<int64_t>());
}
