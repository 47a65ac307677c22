#include "card_simulator/console.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <vector>

#include "card_simulator/card_show.h"
#include "card_simulator/error_words.h"
#include "card_simulator/registers.h"

namespace {

constexpr std::string_view ALWAYS = "always";

using words = std::vector<std::string_view>;

// The words behind the verb, taken one after the other; the first that is missing or wrong is told.
struct arguments {
    words given;
    size_t next = 0;
    std::string problem;
};

bool fail(arguments &it, std::string problem)
{
    if (it.problem.empty()) {
        it.problem = std::move(problem);
    }
    return false;
}

bool take(arguments &it, const char *what, std::string_view *word)
{
    if (it.next >= it.given.size()) {
        return fail(it, std::string(what) + " is missing");
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
    if (!take(it, what, &word)) {
        return false;
    }
    return to_number(word, base, number) ||
           fail(it, std::string(what) + " is no " + (base == 16 ? "hexadecimal" : "decimal") +
                        " number: " + std::string(word));
}

bool take_command(arguments &it, uint32_t *command)
{
    return take_number(it, "COMMAND", 10, command) &&
           (*command < COMMAND_COUNT || fail(it, "there is no command above 65"));
}

// How many times; the last argument, and once when it is not there.
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

bool take_end(arguments &it)
{
    return it.next == it.given.size() ||
           fail(it, "nothing is expected behind: " + std::string(it.given[it.next]));
}

bool take_offset(arguments &it, uint32_t *offset)
{
    return take_number(it, "OFFSET", 16, offset) &&
           (bar_holds(*offset) || fail(it, "OFFSET is beyond 0x03fffffc or no multiple of 4"));
}

bool take_device(arguments &it, uint32_t *device)
{
    return take_number(it, "DEV", 10, device) && (*device < DEVICE_COUNT || fail(it, "DEV is 0 to 9"));
}

// ---- the verbs

bool verb_help(card &, arguments &it, std::string *answer)
{
    *answer = console_help();
    return take_end(it);
}

bool verb_show(card &card, arguments &it, std::string *answer)
{
    *answer = card_show(card);
    return take_end(it);
}

bool set_plugged(card &card, arguments &it, bool plugged)
{
    uint32_t device = 0;
    if (!take_device(it, &device) || !take_end(it)) {
        return false;
    }
    if (!is_module_device(device)) {
        return fail(it, "a module is one of the devices 2, 3, 5, 6, 8, 9");
    }
    device_state &module = card.state.devices[device];
    if (module.plugged == plugged) {
        return fail(it, plugged ? "there is a module already" : "there is no module");
    }
    module.plugged = plugged;
    reset_device(card.state, device);
    publish_tables(card.state, card.bar);
    return true;
}

bool verb_plug(card &card, arguments &it, std::string *)
{
    return set_plugged(card, it, true);
}

bool verb_unplug(card &card, arguments &it, std::string *)
{
    return set_plugged(card, it, false);
}

// On a removed card nothing runs.
bool is_inserted(const card &card, arguments &it)
{
    return !card.bar.removed || fail(it, "the card is removed");
}

bool verb_restart(card &card, arguments &it, std::string *)
{
    if (!take_end(it) || !is_inserted(card, it)) {
        return false;
    }
    firmware_restart(card, false);
    return true;
}

bool verb_hang(card &card, arguments &it, std::string *)
{
    if (!take_end(it) || !is_inserted(card, it)) {
        return false;
    }
    if (card.firmware.hung) {
        return fail(it, "the firmware hangs already");
    }
    firmware_hang(card);
    return true;
}

bool verb_resume(card &card, arguments &it, std::string *)
{
    if (!take_end(it)) {
        return false;
    }
    if (!card.firmware.hung) {
        return fail(it, "the firmware does not hang");
    }
    firmware_resume(card);
    return true;
}

bool verb_remove(card &card, arguments &it, std::string *)
{
    if (!take_end(it) || !is_inserted(card, it)) {
        return false;
    }
    card_remove(card);
    return true;
}

bool verb_insert(card &card, arguments &it, std::string *)
{
    if (!take_end(it)) {
        return false;
    }
    if (!card.bar.removed) {
        return fail(it, "the card is not removed");
    }
    card_insert(card);
    return true;
}

bool arm_for_command(card &card, arguments &it, fault_kind kind)
{
    armed_fault fault{kind, 0, 0, 0};
    if (!take_command(it, &fault.subject) || !take_count(it, &fault.left) || !take_end(it)) {
        return false;
    }
    faults_arm(card.faults, fault);
    return true;
}

bool verb_refuse(card &card, arguments &it, std::string *)
{
    return arm_for_command(card, it, fault_kind::refuse);
}

bool verb_drop_answer(card &card, arguments &it, std::string *)
{
    return arm_for_command(card, it, fault_kind::drop_answer);
}

bool verb_error(card &card, arguments &it, std::string *)
{
    armed_fault fault{fault_kind::error, 0, 0, 0};
    std::string_view word;
    if (!take_command(it, &fault.subject) || !take(it, "WORD", &word) || !take_count(it, &fault.left) ||
        !take_end(it)) {
        return false;
    }
    if (!error_word_of_name(word, &fault.value) && !to_number(word, 16, &fault.value)) {
        return fail(it, "WORD is no error word's name and no hexadecimal number: " + std::string(word));
    }
    faults_arm(card.faults, fault);
    return true;
}

bool verb_delay(card &card, arguments &it, std::string *)
{
    armed_fault fault{fault_kind::delay, 0, 0, 0};
    if (!take_command(it, &fault.subject) || !take_number(it, "MILLISECONDS", 10, &fault.value) ||
        !take_count(it, &fault.left) || !take_end(it)) {
        return false;
    }
    faults_arm(card.faults, fault);
    return true;
}

// What a header word becomes when the operator names no value.
struct corruptible_field {
    std::string_view name;
    uint32_t header_word;
    uint32_t value;
};

constexpr corruptible_field CORRUPTIBLE_FIELDS[] = {
    {"cmd", 0, 0x000000C8},     {"ref_id", 1, 0xDEADBEEF}, {"size", 2, 0x7FFFFFFF},
    {"version", 3, 0x000000FF}, {"sy", 4, 0x0000000C},
};

bool verb_corrupt(card &card, arguments &it, std::string *)
{
    std::string_view name;
    if (!take(it, "FIELD", &name)) {
        return false;
    }
    for (const corruptible_field &field : CORRUPTIBLE_FIELDS) {
        if (field.name != name) {
            continue;
        }
        armed_fault fault{fault_kind::corrupt, field.header_word, field.value, 1};
        const bool value_given = it.next < it.given.size() && it.given[it.next] != ALWAYS;
        if (value_given && !take_number(it, "VALUE", 16, &fault.value)) {
            return false;
        }
        if (!take_count(it, &fault.left) || !take_end(it)) {
            return false;
        }
        faults_arm(card.faults, fault);
        return true;
    }
    return fail(it, "FIELD is one of cmd, ref_id, size, version, sy");
}

bool verb_drop_interrupt(card &card, arguments &it, std::string *)
{
    armed_fault fault{fault_kind::drop_interrupt, 0, 0, 0};
    if (!take_count(it, &fault.left) || !take_end(it)) {
        return false;
    }
    faults_arm(card.faults, fault);
    return true;
}

bool verb_clear(card &card, arguments &it, std::string *)
{
    if (!take_end(it)) {
        return false;
    }
    card.faults.armed.clear();
    return true;
}

bool verb_slow_start(card &card, arguments &it, std::string *)
{
    uint32_t attempts = 0;
    if (!take_number(it, "ATTEMPTS", 10, &attempts) || !take_end(it) || !is_inserted(card, it)) {
        return false;
    }
    firmware_start_slowly(card, attempts);
    return true;
}

bool verb_peek(card &card, arguments &it, std::string *answer)
{
    uint32_t offset = 0;
    if (!take_offset(it, &offset) || !take_end(it)) {
        return false;
    }
    char line[32];
    std::snprintf(line, sizeof line, "0x%08x\n", bar_read(card.bar, offset));
    *answer = line;
    return true;
}

bool verb_poke(card &card, arguments &it, std::string *)
{
    uint32_t offset = 0;
    uint32_t value = 0;
    if (!take_offset(it, &offset) || !take_number(it, "VALUE", 16, &value) || !take_end(it)) {
        return false;
    }
    bar_write(card.bar, offset, value);
    return true;
}

bool verb_set_register(card &card, arguments &it, std::string *)
{
    uint32_t device = 0;
    uint32_t number = 0;
    uint32_t value = 0;
    if (!take_device(it, &device) || !take_number(it, "REG", 16, &number) ||
        !take_number(it, "VALUE", 16, &value) || !take_end(it)) {
        return false;
    }
    if (number > LAST_REGISTER) {
        return fail(it, "REG is 0 to ffff");
    }
    card.state.devices[device].registers[number] = value;
    return true;
}

bool verb_quit(card &card, arguments &it, std::string *)
{
    if (!take_end(it)) {
        return false;
    }
    card.quit_asked = true;
    return true;
}

struct verb {
    std::string_view name;
    std::string_view usage; // its arguments
    std::string_view help;
    bool (*run)(card &card, arguments &it, std::string *answer);
};

constexpr verb VERBS[] = {
    {"help", "", "these lines", verb_help},
    {"show", "", "the card's state and the faults that are armed", verb_show},
    {"plug", "DEV", "put a module into its port (2, 3, 5, 6, 8, 9)", verb_plug},
    {"unplug", "DEV", "take it out", verb_unplug},
    {"restart", "", "restart the firmware, which takes 1 s", verb_restart},
    {"hang", "", "the firmware stops", verb_hang},
    {"resume", "", "and goes on", verb_resume},
    {"remove", "", "pull the card: the host reads all ones", verb_remove},
    {"insert", "", "put it back; its power was off meanwhile", verb_insert},
    {"refuse", "COMMAND [COUNT]", "refuse the command's message", verb_refuse},
    {"error", "COMMAND WORD [COUNT]", "answer with an error word, a name or hexadecimal", verb_error},
    {"delay", "COMMAND MILLISECONDS [COUNT]", "answer late", verb_delay},
    {"drop-answer", "COMMAND [COUNT]", "run the command and do not answer", verb_drop_answer},
    {"corrupt", "FIELD [VALUE [COUNT]]", "spoil cmd, ref_id, size, version or sy of an answer", verb_corrupt},
    {"drop-interrupt", "[COUNT]", "offer a message without an interrupt", verb_drop_interrupt},
    {"clear", "", "take all armed faults away", verb_clear},
    {"slow-start", "ATTEMPTS", "so many resets by the host find the firmware not up", verb_slow_start},
    {"peek", "OFFSET", "show a word of the BAR", verb_peek},
    {"poke", "OFFSET VALUE", "set one, as the firmware would", verb_poke},
    {"set-register", "DEV REG VALUE", "set a register of a device (0 to 9)", verb_set_register},
    {"quit", "", "end the card", verb_quit},
};

words split(std::string_view line)
{
    constexpr std::string_view BLANKS = " \t\r\n";
    words result;
    for (size_t begin = line.find_first_not_of(BLANKS); begin != std::string_view::npos;) {
        const size_t end = std::min(line.find_first_of(BLANKS, begin), line.size());
        result.push_back(line.substr(begin, end - begin));
        begin = line.find_first_not_of(BLANKS, end);
    }
    return result;
}

} // namespace

int32_t console_run(card &card, std::string_view line, std::string *answer)
{
    answer->clear();
    words given = split(line);
    if (given.empty() || given[0].starts_with('#')) {
        return 0;
    }
    const std::string_view name = given[0];
    for (const verb &verb : VERBS) {
        if (verb.name != name) {
            continue;
        }
        given.erase(given.begin());
        arguments it{std::move(given), 0, {}};
        if (verb.run(card, it, answer)) {
            return 0;
        }
        *answer = std::string(name) + ": " + it.problem + "\nusage: " + std::string(name) + " " +
                  std::string(verb.usage) + "\n";
        return EINVAL;
    }
    *answer = "there is no verb " + std::string(name.substr(0, 64)) + "; help lists them\n";
    return EINVAL;
}

std::string console_help()
{
    std::string text;
    for (const verb &verb : VERBS) {
        std::string call = std::string(verb.name) + " " + std::string(verb.usage);
        call.resize(std::max<size_t>(call.size(), 41), ' ');
        text += "  " + call + " " + std::string(verb.help) + "\n";
    }
    text +=
        "DEV as mock_client numbers them. COMMAND, COUNT, MILLISECONDS, ATTEMPTS are decimal, the others\n"
        "hexadecimal with or without 0x. COUNT is 1 unless given; 0 takes the fault away, `always` keeps\n"
        "it.\n";
    return text;
}
