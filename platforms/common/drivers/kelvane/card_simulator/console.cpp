#include "card_simulator/console.h"

#include <cerrno>
#include <cstdio>

#include "card_simulator/alarm_verbs.h"
#include "card_simulator/arguments.h"
#include "card_simulator/card_show.h"
#include "card_simulator/device_show.h"
#include "card_simulator/error_words.h"
#include "card_simulator/registers.h"

namespace {

// ---- the verbs

bool verb_help(card &, arguments &it, std::string *answer)
{
    *answer = console_help();
    return take_end(it);
}

bool verb_show(card &card, arguments &it, std::string *answer)
{
    if (it.next == it.given.size()) {
        *answer = card_show(card);
        return true;
    }
    uint32_t device = 0;
    if (!take_device(it, &device) || !take_end(it)) {
        return false;
    }
    *answer = device_show(card.state, device);
    return true;
}

bool set_plugged(card &card, arguments &it, bool plugged)
{
    uint32_t device = 0;
    if (!take_device(it, &device) || !take_end(it)) {
        return false;
    }
    if (!is_module_device(device)) {
        return reject(it, "a module is one of the devices 2, 3, 5, 6, 8, 9");
    }
    device_state &module = card.state.devices[device];
    if (module.plugged == plugged) {
        return reject(it, plugged ? "there is a module already" : "there is no module");
    }
    module.plugged = plugged;
    reset_device(card.state, device);
    card.state.raised[sirane_of_device(device)].xpm2[network_port_of_device(device)] = 0;
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
    return !card.bar.removed || reject(it, "the card is removed");
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
        return reject(it, "the firmware hangs already");
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
        return reject(it, "the firmware does not hang");
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
        return reject(it, "the card is not removed");
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
    if (!take_command(it, &fault.subject) || !take_word(it, "WORD", &word) || !take_count(it, &fault.left) ||
        !take_end(it)) {
        return false;
    }
    if (!error_word_of_name(word, &fault.value) && !to_number(word, 16, &fault.value)) {
        return reject(it, "WORD is no error word's name and no hexadecimal number: " + std::string(word));
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
    if (!take_word(it, "FIELD", &name)) {
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
    return reject(it, "FIELD is one of cmd, ref_id, size, version, sy");
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
        return reject(it, "REG is 0 to ffff");
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
    {"show", "[DEV]", "the card's state and the armed faults, or what a device holds", verb_show},
    {"plug", "DEV", "put a module into its port (2, 3, 5, 6, 8, 9)", verb_plug},
    {"unplug", "DEV", "take it out", verb_unplug},
    {"alarm", "raise PLACE NAME", "make an alarm active at 1, 1.h0, 1.n0, 2, 0 (the board)", verb_alarm},
    {"alarm", "clear PLACE NAME|all", "make it inactive", verb_alarm},
    {"alarm", "list", "the words in which an alarm is active", verb_alarm},
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

// A verb has as many lines as it has forms.
std::string usage_of(std::string_view name)
{
    std::string text;
    for (const verb &verb : VERBS) {
        if (verb.name == name) {
            text += (text.empty() ? "usage: " : "       ") + std::string(name) + " " +
                    std::string(verb.usage) + "\n";
        }
    }
    return text;
}

} // namespace

int32_t console_run(card &card, std::string_view line, std::string *answer)
{
    answer->clear();
    arguments it = split(line);
    std::string_view name;
    if (!take_word(it, "VERB", &name) || name.starts_with('#')) {
        return 0;
    }
    for (const verb &verb : VERBS) {
        if (verb.name != name) {
            continue;
        }
        if (verb.run(card, it, answer)) {
            return 0;
        }
        *answer = std::string(name) + ": " + it.problem + "\n" + usage_of(name);
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
        "DEV as mock_client numbers them; PLACE is one of them, or a port: 1.h0, 1.n0. COMMAND, COUNT,\n"
        "MILLISECONDS, ATTEMPTS are decimal, the others hexadecimal with or without 0x. COUNT is 1 unless\n"
        "given; 0 takes the fault away, `always` keeps it.\n";
    return text;
}
