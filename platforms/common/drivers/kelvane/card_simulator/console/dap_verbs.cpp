#include "card_simulator/console/dap_verbs.h"

#include "card_simulator/firmware/card_record.h"
#include "card_simulator/firmware/dap.h"

namespace {

struct dap_number {
    std::string_view name;
    const char *what;
    int base;
    uint32_t dap_settings::*place;
};

constexpr dap_number NUMBERS[] = {
    {"hold", "HOLDS", 10, &dap_settings::holds},
    {"delay", "MILLISECONDS", 10, &dap_settings::delay_ms},
    {"ignore-reset", "RESETS", 10, &dap_settings::ignored_resets},
    {"error", "WORD", 16, &dap_settings::error_word},
};

bool set_answer(dap_settings &settings, arguments &args)
{
    uint32_t bytes = 0;
    if (!take_number(args, "BYTES", 10, &bytes) || !take_end(args)) {
        return false;
    }
    if (bytes > DAP_ANSWER_BYTES_MAX) {
        return reject(args, "BYTES is 0 to 1100");
    }
    settings.answer_bytes = bytes;
    return true;
}

} // namespace

bool verb_dap(card &card, arguments &args, std::string *)
{
    dap_settings &settings = card.firmware.dap_settings;
    std::string_view what;
    if (!take_word(args, "what is to be set", &what)) {
        return false;
    }
    if (what == "answer") {
        return set_answer(settings, args);
    }
    if (what == "echo") {
        if (!take_end(args)) {
            return false;
        }
        settings = {};
        return true;
    }
    for (const dap_number &number : NUMBERS) {
        uint32_t value = 0;
        if (number.name == what) {
            if (!take_number(args, number.what, number.base, &value) || !take_end(args)) {
                return false;
            }
            settings.*number.place = value;
            return true;
        }
    }
    return reject(args, "it is hold, delay, answer, ignore-reset, error or echo: " + std::string(what));
}
