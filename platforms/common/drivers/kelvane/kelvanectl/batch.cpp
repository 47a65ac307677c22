// Many lines in one go.
#include <cerrno>
#include <fstream>
#include <iostream>
#include <iterator>

#include "kelvanectl/command_line.h"
#include "kelvanectl/text/output.h"

namespace {

constexpr size_t FILE_BYTES_MAX = 1 << 20;

// Quotes, backslashes and comments as a shell has them. False for a quote that nothing closes.
bool split_words(const std::string &line, std::vector<std::string> *words)
{
    char quote = 0;
    bool in_word = false;
    std::string word;
    for (size_t i = 0; i < line.size(); i++) {
        const char it = line[i];
        const bool is_escape = it == '\\' && quote != '\'' && i + 1 < line.size();
        if (quote == 0 && !in_word && it == '#') {
            break;
        }
        if (quote == 0 && (it == ' ' || it == '\t' || it == '\r')) {
            if (in_word) {
                words->push_back(word);
            }
            in_word = false;
            word.clear();
            continue;
        }
        in_word = true;
        if (is_escape && (quote == 0 || line[i + 1] == '"' || line[i + 1] == '\\')) {
            word += line[++i];
        } else if (it == quote) {
            quote = 0;
        } else if (quote == 0 && (it == '"' || it == '\'')) {
            quote = it;
        } else {
            word += it;
        }
    }
    if (in_word) {
        words->push_back(word);
    }
    return quote == 0;
}

struct batch_line {
    size_t number;
    command_options options;
    const subcommand *what = nullptr;
};

// STATUS_DONE, or what is wrong with the line, of which the caller was told.
exit_status parse(const command_options &base, const std::string &text, batch_line *line, bool *is_empty)
{
    std::vector<std::string> words;
    if (!split_words(text, &words)) {
        return fail_usage("a quote is not closed", base.as_json);
    }
    *is_empty = words.empty();
    if (*is_empty) {
        return STATUS_DONE;
    }
    line->options.as_json = base.as_json;
    line->options.yes = base.yes;
    line->options.direct = base.direct;
    const parsed_line parsed = parse_line(words, line->options);
    line->what = parsed.what;
    if (parsed.what == nullptr) {
        return parsed.status != STATUS_DONE ? parsed.status : STATUS_USAGE;
    }
    const command_options &own = line->options;
    const bool is_other_way = own.direct != base.direct || !own.socket_path.empty() ||
                              !own.record_path.empty() || own.timeout_seconds > 0;
    if (parsed.what == &BATCH || parsed.what->needs_service || is_other_way) {
        return fail_usage(
            "`batch`, `top`, `watch`, --direct, --record, --socket and --timeout do not stand in a batch",
            base.as_json);
    }
    return STATUS_DONE;
}

exit_status failed_in_line(const tool &tool, size_t number, exit_status status)
{
    output_problem("that was line " + std::to_string(number) + " of " + tool.options.file);
    return status;
}

exit_status read_lines(const tool &tool, std::vector<batch_line> *lines)
{
    std::ifstream file;
    if (tool.options.file != "-") {
        file.open(tool.options.file);
        if (!file) {
            return fail_file("cannot open " + tool.options.file, tool.options.as_json);
        }
    }
    std::istream &in = tool.options.file == "-" ? std::cin : file;
    size_t bytes = 0;
    std::string text;
    for (size_t number = 1; std::getline(in, text); number++) {
        bytes += text.size() + 1;
        if (bytes > FILE_BYTES_MAX) {
            return fail_usage("a batch may have 1 MiB", tool.options.as_json);
        }
        batch_line line = {number, {}};
        bool is_empty = false;
        const exit_status status = parse(tool.options, text, &line, &is_empty);
        if (status != STATUS_DONE) {
            return failed_in_line(tool, number, status);
        }
        if (!is_empty) {
            lines->push_back(line);
        }
    }
    return in.bad() ? fail_file("cannot read " + tool.options.file, tool.options.as_json) : STATUS_DONE;
}

void add_batch(CLI::App &app, command_options &options)
{
    app.add_option("FILE", options.file,
                   "lines as on this command line, # begins a comment; - is standard input")
        ->required();
    app.add_flag("--keep-going", options.keep_going, "do the rest when a line fails; the status is 5 then");
}

// All lines are read before the first is run: one that is no command line must not be found halfway.
exit_status batch(const tool &tool)
{
    std::vector<batch_line> lines;
    exit_status all = read_lines(tool, &lines);
    if (all != STATUS_DONE) {
        return all;
    }
    for (const batch_line &it : lines) {
        const exit_status status = it.what->run({it.options, tool.card, tool.service});
        if (status == STATUS_DONE) {
            continue;
        }
        failed_in_line(tool, it.number, status);
        if (!tool.options.keep_going) {
            return status;
        }
        all = STATUS_IN_PART;
    }
    return all;
}

} // namespace

const subcommand BATCH = {"batch", "Runs the lines of a file.", add_batch, batch};
