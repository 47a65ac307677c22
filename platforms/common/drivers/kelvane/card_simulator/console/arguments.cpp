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

bool reject(arguments &args, std::string problem)
{
    if (args.problem.empty()) {
        args.problem = std::move(problem);
    }
    return false;
}

bool take_word(arguments &args, const char *what, std::string_view *word)
{
    if (args.next >= args.given.size()) {
        return reject(args, std::string(what) + " is missing");
    }
    *word = args.given[args.next++];
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

bool take_number(arguments &args, const char *what, int base, uint32_t *number)
{
    std::string_view word;
    if (!take_word(args, what, &word)) {
        return false;
    }
    return to_number(word, base, number) ||
           reject(args, std::string(what) + " is not a " + (base == 16 ? "hexadecimal" : "decimal") +
                            " number: " + std::string(word));
}

bool to_version(std::string_view word, firmware_version *version)
{
    const size_t point = word.find('.');
    return point != std::string_view::npos && to_number(word.substr(0, point), 10, &version->major) &&
           to_number(word.substr(point + 1), 10, &version->minor) && version->major <= VERSION_PART_MAX &&
           version->minor <= VERSION_PART_MAX;
}

bool take_command(arguments &args, uint32_t *command)
{
    std::string_view word;
    if (!take_word(args, "COMMAND", &word)) {
        return false;
    }
    const auto *name =
        std::ranges::find(command_names, word, [](const char *text) { return std::string_view(text); });
    if (name != std::end(command_names)) {
        *command = static_cast<uint32_t>(name - command_names);
        return true;
    }
    return (to_number(word, 10, command) && *command < COMMAND_COUNT) ||
           reject(args, "COMMAND is neither a command's name nor a number from 0 to " +
                            std::to_string(COMMAND_COUNT - 1) + ": " + std::string(word));
}

bool take_count(arguments &args, uint32_t *count)
{
    *count = 1;
    if (args.next == args.given.size()) {
        return true;
    }
    if (args.given[args.next] == ALWAYS) {
        args.next++;
        *count = FAULT_ALWAYS;
        return true;
    }
    return take_number(args, "COUNT", 10, count);
}

bool take_offset(arguments &args, uint32_t *offset)
{
    return take_number(args, "OFFSET", 16, offset) &&
           (bar_holds(*offset) || reject(args, "OFFSET is beyond 0x03fffffc or not a multiple of 4"));
}

bool take_device(arguments &args, uint32_t *device)
{
    return take_number(args, "DEV", 10, device) && (*device < DEVICE_COUNT || reject(args, "DEV is 0 to 9"));
}

bool take_end(arguments &args)
{
    return args.next == args.given.size() ||
           reject(args, "nothing is expected after: " + std::string(args.given[args.next]));
}
