#include "card_simulator/console/firmware_verbs.h"

#include "card_simulator/firmware/card_record.h"
#include "card_simulator/firmware/loop.h"
#include "card_simulator/firmware/notices.h"
#include "card_simulator/firmware/restarts.h"

namespace {

// On a removed card nothing runs.
bool is_inserted(const card &card, arguments &it)
{
    return !card.bar.removed || reject(it, "the card is removed");
}

bool is_running(const card &card, arguments &it)
{
    return is_inserted(card, it) && (firmware_runs(card) || reject(it, "the firmware is not running"));
}

// "5.23"
bool to_version(std::string_view word, firmware_version *version)
{
    const size_t point = word.find('.');
    return point != std::string_view::npos && to_number(word.substr(0, point), 10, &version->major) &&
           to_number(word.substr(point + 1), 10, &version->minor) && version->major <= 0xFFFF &&
           version->minor <= 0xFFFF;
}

bool restart_warm(card &card, arguments &it)
{
    std::optional<firmware_version> version;
    if (it.next < it.given.size() && !to_version(it.given[it.next++], &version.emplace())) {
        return reject(it, "VERSION is like 5.23");
    }
    if (!take_end(it) || !is_running(card, it)) {
        return false;
    }
    firmware_announce_restart(card, version);
    return true;
}

bool tell_failed_restart(card &card, arguments &it)
{
    if (!take_end(it) || !is_running(card, it)) {
        return false;
    }
    notices_tell_restart(card, KELVANE_APP_ZYNQ_RESTART_WARM_FAIL);
    return true;
}

bool restart_without_notice(card &card, arguments &it, void (*restart)(struct card &card))
{
    if (!take_end(it) || !is_inserted(card, it)) {
        return false;
    }
    restart(card);
    return true;
}

} // namespace

bool verb_restart(card &card, arguments &it, std::string *)
{
    std::string_view kind;
    if (it.next < it.given.size() && !take_word(it, "KIND", &kind)) {
        return false;
    }
    if (kind.empty()) {
        return restart_without_notice(card, it,
                                      [](struct card &crashed) { firmware_restart(crashed, false); });
    }
    if (kind == "cold") {
        return restart_without_notice(card, it, firmware_restart_cold);
    }
    if (kind == "warm") {
        return restart_warm(card, it);
    }
    return kind == "warm-fail" ? tell_failed_restart(card, it)
                               : reject(it, "a restart is warm, cold or warm-fail: " + std::string(kind));
}

bool verb_hang(card &card, arguments &it, std::string *)
{
    if (!take_end(it) || !is_inserted(card, it)) {
        return false;
    }
    if (card.firmware.hung) {
        return reject(it, "the firmware is hung already");
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
        return reject(it, "the firmware is not hung");
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

bool verb_slow_start(card &card, arguments &it, std::string *)
{
    uint32_t attempts = 0;
    if (!take_number(it, "ATTEMPTS", 10, &attempts) || !take_end(it) || !is_inserted(card, it)) {
        return false;
    }
    firmware_start_slowly(card, attempts);
    return true;
}

bool verb_laser_time(card &card, arguments &it, std::string *)
{
    uint32_t time_ms = 0;
    if (!take_number(it, "MILLISECONDS", 10, &time_ms) || !take_end(it)) {
        return false;
    }
    card.firmware.laser_time_ms = time_ms;
    return true;
}

// The word of a sirane's image has eight bits for the major version.
bool verb_image_version(card &card, arguments &it, std::string *)
{
    std::string_view word;
    firmware_version version = {};
    if (!take_word(it, "VERSION", &word) || !take_end(it)) {
        return false;
    }
    if (!to_version(word, &version) || version.major > 0xFF) {
        return reject(it, "VERSION is like 5.23: " + std::string(word));
    }
    card.state.images.next_version = version;
    return true;
}

bool verb_program_time(card &card, arguments &it, std::string *)
{
    uint32_t time_ms = 0;
    if (!take_number(it, "MILLISECONDS", 10, &time_ms) || !take_end(it)) {
        return false;
    }
    card.state.images.program_time_ms = time_ms;
    return true;
}

bool verb_batch_interval(card &card, arguments &it, std::string *)
{
    uint32_t interval_ms = 0;
    if (!take_number(it, "MILLISECONDS", 10, &interval_ms) || !take_end(it)) {
        return false;
    }
    card.firmware.batch_interval_ms = interval_ms;
    return true;
}

bool verb_upset(card &card, arguments &it, std::string *)
{
    std::string_view kind;
    if (!take_word(it, "what happens", &kind) || !take_end(it)) {
        return false;
    }
    memory_errors &memory = card.state.memory;
    if (kind == "correctable") {
        memory.corrected_upsets++;
    } else if (kind == "uncorrectable" || kind == "clear") {
        memory.logic_is_spoiled = kind == "uncorrectable";
    } else {
        return reject(it, "an upset is correctable or uncorrectable: " + std::string(kind));
    }
    memory.changed = true;
    return true;
}

bool verb_memory_error(card &card, arguments &it, std::string *)
{
    std::string_view kind;
    if (it.next < it.given.size() && !take_word(it, "KIND", &kind)) {
        return false;
    }
    if (!take_end(it)) {
        return false;
    }
    if (!kind.empty() && kind != "uncorrectable") {
        return reject(it, "an error that is not corrected is uncorrectable: " + std::string(kind));
    }
    memory_errors &memory = card.state.memory;
    (kind.empty() ? memory.corrected : memory.uncorrected)++;
    memory.changed = true;
    return true;
}
