#include "card_simulator/console/firmware_verbs.h"

#include <algorithm>
#include <cassert>

#include "card_simulator/firmware/card_record.h"
#include "card_simulator/firmware/loop.h"
#include "card_simulator/firmware/notices.h"
#include "card_simulator/firmware/restarts.h"

namespace {

// On a removed card nothing runs.
bool is_inserted(const card &card, arguments &args)
{
    return !card.bar.removed || reject(args, "the card is removed");
}

bool is_running(const card &card, arguments &args)
{
    return is_inserted(card, args) && (firmware_runs(card) || reject(args, "the firmware is not running"));
}

bool restart_warm(card &card, arguments &args)
{
    std::optional<firmware_version> version;
    if (args.next < args.given.size() && !to_version(args.given[args.next++], &version.emplace())) {
        return reject(args, "VERSION is like 5.23");
    }
    if (!take_end(args) || !is_running(card, args)) {
        return false;
    }
    firmware_announce_restart(card, version);
    return true;
}

bool tell_failed_restart(card &card, arguments &args)
{
    if (!take_end(args) || !is_running(card, args)) {
        return false;
    }
    notices_tell_restart(card, KELVANE_APP_ZYNQ_RESTART_WARM_FAIL);
    return true;
}

bool restart_without_notice(card &card, arguments &args, void (*restart)(struct card &card))
{
    if (!take_end(args) || !is_inserted(card, args)) {
        return false;
    }
    restart(card);
    return true;
}

// The verbs that only set a time.
struct time_verb {
    std::string_view name;
    uint32_t &(*place_ms)(struct card &card);
};

constexpr time_verb TIME_VERBS[] = {
    {"laser-time", [](struct card &it) -> uint32_t & { return it.firmware.laser_time_ms; }},
    {"batch-interval", [](struct card &it) -> uint32_t & { return it.firmware.batch_interval_ms; }},
    {"program-time", [](struct card &it) -> uint32_t & { return it.state.images.program_time_ms; }},
};

} // namespace

bool verb_restart(card &card, arguments &args, std::string *)
{
    std::string_view kind;
    if (args.next < args.given.size() && !take_word(args, "KIND", &kind)) {
        return false;
    }
    if (kind.empty()) {
        return restart_without_notice(card, args,
                                      [](struct card &crashed) { firmware_restart(crashed, false); });
    }
    if (kind == "cold") {
        return restart_without_notice(card, args, firmware_restart_cold);
    }
    if (kind == "warm") {
        return restart_warm(card, args);
    }
    return kind == "warm-fail" ? tell_failed_restart(card, args)
                               : reject(args, "a restart is warm, cold or warm-fail: " + std::string(kind));
}

bool verb_hang(card &card, arguments &args, std::string *)
{
    if (!take_end(args) || !is_inserted(card, args)) {
        return false;
    }
    if (card.firmware.hung) {
        return reject(args, "the firmware is hung already");
    }
    firmware_hang(card);
    return true;
}

bool verb_resume(card &card, arguments &args, std::string *)
{
    if (!take_end(args)) {
        return false;
    }
    if (!card.firmware.hung) {
        return reject(args, "the firmware is not hung");
    }
    firmware_resume(card);
    return true;
}

bool verb_remove(card &card, arguments &args, std::string *)
{
    if (!take_end(args) || !is_inserted(card, args)) {
        return false;
    }
    card_remove(card);
    return true;
}

bool verb_insert(card &card, arguments &args, std::string *)
{
    if (!take_end(args)) {
        return false;
    }
    if (!card.bar.removed) {
        return reject(args, "the card is not removed");
    }
    card_insert(card);
    return true;
}

bool verb_slow_start(card &card, arguments &args, std::string *)
{
    uint32_t attempts = 0;
    if (!take_number(args, "ATTEMPTS", 10, &attempts) || !take_end(args) || !is_inserted(card, args)) {
        return false;
    }
    firmware_start_slowly(card, attempts);
    return true;
}

bool verb_time(card &card, arguments &args, std::string *)
{
    const auto *verb = std::ranges::find(TIME_VERBS, args.given.front(), &time_verb::name);
    assert(verb != std::end(TIME_VERBS));
    uint32_t time_ms = 0;
    if (!take_number(args, "MILLISECONDS", 10, &time_ms) || !take_end(args)) {
        return false;
    }
    verb->place_ms(card) = time_ms;
    return true;
}

// The word of a sirane's image has eight bits for the major version.
bool verb_image_version(card &card, arguments &args, std::string *)
{
    std::string_view word;
    firmware_version version = {};
    if (!take_word(args, "VERSION", &word) || !take_end(args)) {
        return false;
    }
    if (!to_version(word, &version) || version.major > 0xFF) {
        return reject(args, "VERSION is like 5.23: " + std::string(word));
    }
    card.state.images.next_version = version;
    return true;
}

bool verb_upset(card &card, arguments &args, std::string *)
{
    std::string_view kind;
    if (!take_word(args, "what happens", &kind) || !take_end(args)) {
        return false;
    }
    memory_errors &memory = card.state.memory;
    if (kind == "correctable") {
        memory.corrected_upsets++;
    } else if (kind == "uncorrectable" || kind == "clear") {
        memory.logic_is_spoiled = kind == "uncorrectable";
    } else {
        return reject(args, "an upset is correctable or uncorrectable: " + std::string(kind));
    }
    memory.changed = true;
    return true;
}

bool verb_memory_error(card &card, arguments &args, std::string *)
{
    std::string_view kind;
    if (args.next < args.given.size() && !take_word(args, "KIND", &kind)) {
        return false;
    }
    if (!take_end(args)) {
        return false;
    }
    if (!kind.empty() && kind != "uncorrectable") {
        return reject(args, "an error that is not corrected is uncorrectable: " + std::string(kind));
    }
    memory_errors &memory = card.state.memory;
    (kind.empty() ? memory.corrected : memory.uncorrected)++;
    memory.changed = true;
    return true;
}
