#include "card_simulator/console/arguments.h"

#include <algorithm>
#include <charconv>

#include "card_simulator/bus/bar.h"
#include "card_simulator/state/card_state.h"
#include "card_simulator/state/faults.h"
#include "kelvane_commands.h"

arguments split(std::string_view line)
{
    constexpr std::string_view BLANKS = " \t\r\n";
    arguments result;
    for (size_t begin = line.find_first_not_of(BLANKS); begin != std::string_view::npos;) {
        const size_t end = std::min(line.find_first_of(BLANKS, begin), line.size());
        result.given.push_back(line.substr(begin, end - begin));
        begin = line.find_first_not_of(BLANKS, end);
    }
    return result;
}

bool reject(arguments &it, std::string problem)
{
    if (it.problem.empty()) {
        it.problem = std::move(problem);
    }
    return false;
}

bool take_word(arguments &it, const char *what, std::string_view *word)
{
    if (it.next >= it.given.size()) {
        return reject(it, std::string(what) + " is missing");
    }
    *word = it.given[it.next++];
    return true;
}

bool to_number(std::string_view word, int base, uint32_t *number)
{
    if (base == 16 && (word.starts_with("0x") || word.starts_with("0X"))) {
        word.remove_prefix(2);
    }
    const char *end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, *number, base);
    return error == std::errc{} && stop == end;
}

bool take_number(arguments &it, const char *what, int base, uint32_t *number)
{
    std::string_view word;
    if (!take_word(it, what, &word)) {
        return false;
    }
    return to_number(word, base, number) ||
           reject(it, std::string(what) + " is not a " + (base == 16 ? "hexadecimal" : "decimal") +
                          " number: " + std::string(word));
}

bool take_command(arguments &it, uint32_t *command)
{
    std::string_view word;
    if (!take_word(it, "COMMAND", &word)) {
        return false;
    }
    const auto *name =
        std::ranges::find(command_names, word, [](const char *text) { return std::string_view(text); });
    if (name != std::end(command_names)) {
        *command = static_cast<uint32_t>(name - command_names);
        return true;
    }
    return (to_number(word, 10, command) && *command < COMMAND_COUNT) ||
           reject(it, "COMMAND is neither a command's name nor a number from 0 to 65: " + std::string(word));
}

bool take_count(arguments &it, uint32_t *count)
{
    *count = 1;
    if (it.next == it.given.size()) {
        return true;
    }
    if (it.given[it.next] == ALWAYS) {
        it.next++;
        *count = FAULT_ALWAYS;
        return true;
    }
    return take_number(it, "COUNT", 10, count);
}

bool take_offset(arguments &it, uint32_t *offset)
{
    return take_number(it, "OFFSET", 16, offset) &&
           (bar_holds(*offset) || reject(it, "OFFSET is beyond 0x03fffffc or not a multiple of 4"));
}

bool take_device(arguments &it, uint32_t *device)
{
    return take_number(it, "DEV", 10, device) && (*device < DEVICE_COUNT || reject(it, "DEV is 0 to 9"));
}

bool take_end(arguments &it)
{
    return it.next == it.given.size() ||
           reject(it, "nothing is expected after: " + std::string(it.given[it.next]));
}
