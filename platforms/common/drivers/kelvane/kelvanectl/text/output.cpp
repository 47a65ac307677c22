#include "kelvanectl/text/output.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <unistd.h>

namespace {

constexpr size_t GAP = 2; // between columns

FILE *tool_output = stdout;

// Columns that it takes: text of the card is UTF-8.
size_t width_of(const std::string &text)
{
    return static_cast<size_t>(
        std::ranges::count_if(text, [](char it) { return (static_cast<unsigned char>(it) & 0xC0) != 0x80; }));
}

std::string padded(const std::string &text, size_t width)
{
    return text + std::string(width - std::min(width, width_of(text)), ' ');
}

bool is_version(const json &value)
{
    return value.is_object() && value.size() == 2 && value.contains("major") && value.contains("minor");
}

bool is_error(const json &value)
{
    return value.is_object() && value.size() == 1 && value.contains("error");
}

bool is_section(const json &value)
{
    if (value.is_array()) {
        return !value.empty() && value.front().is_object();
    }
    return value.is_object() && !value.empty() && !is_version(value) && !is_error(value);
}

std::string list_in_words(const json &list)
{
    std::string text;
    for (const json &it : list) {
        text += (text.empty() ? "" : " ") + in_words(it);
    }
    return text;
}

void print_section(const std::string &name, const json &section, size_t indent);

void print_members(const json &record, size_t indent)
{
    size_t width = 0;
    for (const auto &[name, value] : record.items()) {
        width = std::max(width, is_section(value) ? 0 : width_of(printable(name)));
    }
    const std::string margin(indent, ' ');
    for (const auto &[name, value] : record.items()) {
        if (is_section(value)) {
            print_section(name, value, indent);
        } else {
            output_line(margin + padded(printable(name), width + GAP) + in_words(value, name));
        }
    }
}

void print_section(const std::string &name, const json &section, size_t indent)
{
    const std::string margin(indent, ' ');
    if (!section.is_array()) {
        output_line(margin + bold(printable(name)));
        print_members(section, indent + GAP);
        return;
    }
    size_t index = 0;
    for (const json &it : section) {
        print_section(name + "[" + std::to_string(index++) + "]", it, indent);
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

bool output_is_terminal()
{
    return isatty(fileno(tool_output)) == 1;
}

void output_line(const std::string &text)
{
    fprintf(tool_output, "%s\n", text.c_str());
}

void output_json(const json &value)
{
    output_line(value.dump(-1, ' ', false, json::error_handler_t::replace));
}

void output_problem(const std::string &text)
{
    fflush(tool_output);
    fprintf(stderr, "kelvanectl: %s\n", printable(text).c_str());
}

bool output_finish()
{
    return fflush(tool_output) == 0 && ferror(tool_output) == 0;
}

std::string printable(std::string_view text)
{
    std::string shown;
    for (size_t i = 0; i < text.size(); i++) {
        const auto it = static_cast<unsigned char>(text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
        const bool is_wide_control = it == 0xC2 && next >= 0x80 && next < 0xA0; // U+0080 to U+009F
        if (it >= ' ' && it != 0x7F && !is_wide_control) {
            shown += text[i];
            continue;
        }
        char code[8];
        snprintf(code, sizeof code, "\\x%02x", is_wide_control ? next : it);
        shown += code;
        i += is_wide_control ? 1 : 0;
    }
    return shown;
}

std::string bold(const std::string &text)
{
    const char *const plain = getenv("NO_COLOR");
    const bool is_plain = !output_is_terminal() || (plain != nullptr && *plain != '\0');
    return is_plain ? text : "\x1b[1m" + text + "\x1b[0m";
}

std::string in_words(const json &value, std::string_view name)
{
    if (value.is_boolean()) {
        const bool is_fact = name.starts_with("is_") || name == "present";
        return value.get<bool>() ? (is_fact ? "yes" : "on") : (is_fact ? "no" : "off");
    }
    if (value.is_null()) {
        return "-";
    }
    if (value.is_string()) {
        return printable(value.get_ref<const std::string &>());
    }
    if (is_version(value)) {
        return value["major"].dump() + "." + value["minor"].dump();
    }
    if (is_error(value)) {
        return "- (" + in_words(value["error"].value("message", json())) + ")";
    }
    if (value.empty()) {
        return "none";
    }
    return value.is_array() ? list_in_words(value)
                            : value.dump(-1, ' ', false, json::error_handler_t::replace);
}

std::string members_in_words(const json &record)
{
    std::string text;
    for (const auto &[name, value] : record.items()) {
        text += (text.empty() ? "" : " ") + printable(name) + "=" +
                (value.is_object() ? "{...}" : in_words(value, name));
    }
    return text;
}

void output_record(const json &record)
{
    print_members(record, 0);
}

void output_rows(const std::string &name, const json &rows, bool as_json)
{
    if (as_json) {
        output_json({{name, rows}});
        return;
    }
    if (rows.empty()) {
        return;
    }
    std::vector<std::vector<std::string>> lines(1);
    for (const auto &[key, value] : rows.front().items()) {
        std::string head = key;
        std::ranges::transform(head, head.begin(), [](char it) {
            return it == '_' ? ' ' : it >= 'a' && it <= 'z' ? it - 32 : it;
        });
        lines[0].push_back(head);
    }
    for (const json &row : rows) {
        lines.emplace_back();
        for (const auto &[key, value] : row.items()) {
            lines.back().push_back(in_words(value, key));
        }
    }
    std::vector<size_t> widths(lines[0].size());
    for (const auto &line : lines) {
        for (size_t i = 0; i < widths.size(); i++) {
            widths[i] = std::max(widths[i], width_of(line[i]));
        }
    }
    for (size_t row = 0; row < lines.size(); row++) {
        std::string text;
        for (size_t i = 0; i < widths.size(); i++) {
            const bool is_last = i + 1 == widths.size();
            text += is_last ? lines[row][i] : padded(lines[row][i], widths[i] + GAP);
        }
        output_line(row == 0 ? bold(text) : text);
    }
}
