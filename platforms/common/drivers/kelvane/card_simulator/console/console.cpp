#include "card_simulator/console/console.h"

#include <cerrno>
#include <cstdio>

#include "card_simulator/console/alarm_verbs.h"
#include "card_simulator/console/arguments.h"
#include "card_simulator/console/card_show.h"
#include "card_simulator/console/dap_verbs.h"
#include "card_simulator/console/device_show.h"
#include "card_simulator/console/fault_verbs.h"
#include "card_simulator/console/firmware_verbs.h"
#include "card_simulator/console/log_verbs.h"
#include "card_simulator/state/registers.h"
#include "card_simulator/state/tables.h"

namespace {

bool verb_help(card &, arguments &args, std::string *answer)
{
    *answer = console_help();
    return take_end(args);
}

bool verb_show(card &card, arguments &args, std::string *answer)
{
    if (args.next == args.given.size()) {
        *answer = card_show(card);
        return true;
    }
    uint32_t device = 0;
    if (!take_device(args, &device) || !take_end(args)) {
        return false;
    }
    *answer = device_show(card.state, device);
    return true;
}

bool set_plugged(card &card, arguments &args, bool plugged)
{
    uint32_t device = 0;
    if (!take_device(args, &device) || !take_end(args)) {
        return false;
    }
    if (!is_module_device(device)) {
        return reject(args, "a module is one of the devices 2, 3, 5, 6, 8, 9");
    }
    device_state &module = card.state.devices[device];
    if (module.plugged == plugged) {
        return reject(args, plugged ? "there is a module already" : "there is no module");
    }
    module.plugged = plugged;
    reset_device(card.state, device);
    card.state.raised[sirane_of_device(device)].xpm2[network_port_of_device(device)] = 0;
    publish_tables(card.state, card.bar);
    return true;
}

bool verb_plug(card &card, arguments &args, std::string *)
{
    return set_plugged(card, args, true);
}

bool verb_unplug(card &card, arguments &args, std::string *)
{
    return set_plugged(card, args, false);
}

bool verb_peek(card &card, arguments &args, std::string *answer)
{
    uint32_t offset = 0;
    if (!take_offset(args, &offset) || !take_end(args)) {
        return false;
    }
    char line[32];
    std::snprintf(line, sizeof line, "0x%08x\n", bar_read(card.bar, offset));
    *answer = line;
    return true;
}

bool verb_poke(card &card, arguments &args, std::string *)
{
    uint32_t offset = 0;
    uint32_t value = 0;
    if (!take_offset(args, &offset) || !take_number(args, "VALUE", 16, &value) || !take_end(args)) {
        return false;
    }
    bar_write(card.bar, offset, value);
    return true;
}

bool verb_set_register(card &card, arguments &args, std::string *)
{
    uint32_t device = 0;
    uint32_t number = 0;
    uint32_t value = 0;
    if (!take_device(args, &device) || !take_number(args, "REG", 16, &number) ||
        !take_number(args, "VALUE", 16, &value) || !take_end(args)) {
        return false;
    }
    if (number > REGISTER_MAX) {
        return reject(args, "REG is 0 to ffff");
    }
    card.state.devices[device].registers[number] = value;
    return true;
}

bool verb_quit(card &card, arguments &args, std::string *)
{
    if (!take_end(args)) {
        return false;
    }
    card.quit_asked = true;
    return true;
}

struct verb {
    std::string_view name;
    std::string_view usage; // its arguments
    std::string_view help;
    bool (*run)(card &card, arguments &args, std::string *answer);
};

constexpr verb VERBS[] = {
    {"help", "", "these lines", verb_help},
    {"show", "[DEV]", "the card's state and the armed faults, or what a device holds", verb_show},
    {"plug", "DEV", "put a module into its port (2, 3, 5, 6, 8, 9)", verb_plug},
    {"unplug", "DEV", "take the module out", verb_unplug},
    {"alarm", "raise PLACE NAME", "make an alarm active at 1, 1.h0, 1.n0, 2, 0 (the board)", verb_alarm},
    {"alarm", "clear PLACE NAME|all", "make it inactive, or all alarms there", verb_alarm},
    {"alarm", "list", "the words in which an alarm is active", verb_alarm},
    {"restart", "", "the firmware crashes and restarts, which takes 1 s", verb_restart},
    {"restart", "warm [VERSION]|cold|warm-fail", "restart and tell the host, or tell that it failed",
     verb_restart},
    {"hang", "", "the firmware stops", verb_hang},
    {"resume", "", "the firmware goes on", verb_resume},
    {"remove", "", "pull the card: the host reads all ones", verb_remove},
    {"insert", "", "put the card back; its power was off meanwhile", verb_insert},
    {"laser-time", "MILLISECONDS", "how long a laser or traffic-type request takes (300)", verb_time},
    {"batch-interval", "MILLISECONDS", "time between performance batches, 0: as the host set it", verb_time},
    {"image-version", "VERSION", "version of the next image, instead of the running one's successor",
     verb_image_version},
    {"program-time", "MILLISECONDS", "how long the programming of an image takes (800)", verb_time},
    {"log", "text TEXT", "write a row into the firmware's log", verb_log},
    {"log", "fill ROWS", "write that many numbered rows", verb_log},
    {"log", "indexes FIRST LAST", "show these indexes until the next row is written", verb_log},
    {"log", "clear", "empty the log", verb_log},
    {"eprom", "SLICE text TEXT", "write a line into the EPROM log of a sirane (0 to 2)", verb_eprom},
    {"eprom", "SLICE fill ROWS", "write numbered lines there, or rows of the controller's (3)", verb_eprom},
    {"eprom", "SLICE indexes FIRST LAST", "show these indexes until something is written", verb_eprom},
    {"eprom", "SLICE clear", "empty the log", verb_eprom},
    {"eprom", "ready on|off", "whether the controller's log is marked as usable", verb_eprom},
    {"regulator", "DEV BIT on|off", "a regulator of a sirane (1, 4, 7) fails, or recovers", verb_regulator},
    {"upset", "correctable|uncorrectable|clear", "an upset in the programmable logic, or the end of one",
     verb_upset},
    {"memory-error", "[uncorrectable]", "an error in the card's memory, corrected unless it says otherwise",
     verb_memory_error},
    {"dap", "hold HOLDS", "show that many hold states before a DAP answer", verb_dap},
    {"dap", "delay MILLISECONDS", "answer that much later", verb_dap},
    {"dap", "answer BYTES", "answer with that many bytes, 0 to 1100", verb_dap},
    {"dap", "ignore-reset RESETS", "ignore that many resets", verb_dap},
    {"dap", "error WORD", "answer with this error word, hexadecimal", verb_dap},
    {"dap", "echo", "answer at once with what was sent, as at the start", verb_dap},
    {"refuse", "COMMAND [COUNT]", "refuse the command's message", verb_fault},
    {"error", "COMMAND WORD [COUNT]", "answer with an error word, a name or hexadecimal", verb_fault},
    {"delay", "COMMAND MILLISECONDS [COUNT]", "answer late", verb_fault},
    {"drop-answer", "COMMAND [COUNT]", "run the command and do not answer", verb_fault},
    {"corrupt", "FIELD [VALUE [COUNT]]", "spoil cmd, ref_id, size, version, sy or rc of an answer",
     verb_fault},
    {"corrupt-notice", "FIELD [VALUE [COUNT]]", "the same, of what the firmware says of its own accord",
     verb_fault},
    {"skip-batch", "[COUNT]", "leave a performance batch out of the sequence", verb_fault},
    {"drop-interrupt", "[COUNT]", "offer a message without an interrupt", verb_fault},
    {"late-interrupt", "MILLISECONDS [COUNT]", "offer a message with a late interrupt", verb_fault},
    {"double-interrupt", "[COUNT]", "offer a message with two interrupts", verb_fault},
    {"spurious-interrupt", "[DEV SOURCE]", "interrupt for nothing, or with a sirane's bit and source",
     verb_spurious_interrupt},
    {"clear", "", "remove all armed faults", verb_clear},
    {"slow-start", "ATTEMPTS", "the firmware stays down for that many resets by the host", verb_slow_start},
    {"peek", "OFFSET", "show a word of the BAR", verb_peek},
    {"poke", "OFFSET VALUE", "set a word of the BAR, as the firmware would", verb_poke},
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
    arguments args = split(line);
    std::string_view name;
    if (!take_word(args, "VERB", &name) || name.starts_with('#')) {
        return 0;
    }
    for (const verb &verb : VERBS) {
        if (verb.name != name) {
            continue;
        }
        if (verb.run(card, args, answer)) {
            return 0;
        }
        *answer = std::string(name) + ": " + args.problem + "\n" + usage_of(name);
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
        "DEV as mock_client numbers them; PLACE is one of them, or a port: 1.h0, 1.n0. COMMAND is\n"
        "a command's name or number, set_laser or 2. COUNT, MILLISECONDS, ATTEMPTS, ROWS, BIT are decimal,\n"
        "the others hexadecimal with or without 0x. COUNT is 1 unless given; 0 removes the fault,\n"
        "`always` keeps it, and 10% commits it one time in ten.\n";
    return text;
}
