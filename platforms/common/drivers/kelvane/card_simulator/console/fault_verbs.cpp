#include "card_simulator/console/fault_verbs.h"

#include <algorithm>
#include <cassert>

#include "card_simulator/console/error_words.h"
#include "card_simulator/firmware/card_record.h"
#include "card_simulator/firmware/delivery.h"

namespace {

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

bool take_field(arguments &it, armed_fault *fault)
{
    std::string_view name;
    if (!take_word(it, "FIELD", &name)) {
        return false;
    }
    const auto *field = std::ranges::find(CORRUPTIBLE_FIELDS, name, &corruptible_field::name);
    if (field == std::end(CORRUPTIBLE_FIELDS)) {
        return reject(it, "FIELD is one of cmd, ref_id, size, version, sy");
    }
    fault->subject = field->header_word;
    fault->value = field->value;
    return true;
}

bool take_subject(arguments &it, fault_subject subject, armed_fault *fault)
{
    switch (subject) {
    case fault_subject::command:
        return take_command(it, &fault->subject);
    case fault_subject::header_word:
        return take_field(it, fault);
    default:
        return true;
    }
}

bool take_error_word(arguments &it, uint32_t *value)
{
    std::string_view word;
    if (!take_word(it, "WORD", &word)) {
        return false;
    }
    return error_word_of_name(word, value) || to_number(word, 16, value) ||
           reject(it, "WORD is neither an error word's name nor a hexadecimal number: " + std::string(word));
}

bool percent_comes_next(const arguments &it)
{
    return it.next < it.given.size() && it.given[it.next].ends_with('%');
}

bool take_times(arguments &it, armed_fault *fault)
{
    if (!percent_comes_next(it)) {
        return take_count(it, &fault->left);
    }
    std::string_view word = it.given[it.next++];
    word.remove_suffix(1);
    if (!to_number(word, 10, &fault->percent) || fault->percent > 100) {
        return reject(it, "PERCENT is 0% to 100%");
    }
    fault->left = fault->percent > 0 ? FAULT_ALWAYS : 0;
    return true;
}

bool take_value(arguments &it, fault_value value, armed_fault *fault)
{
    const bool given = it.next < it.given.size() && it.given[it.next] != ALWAYS && !percent_comes_next(it);
    switch (value) {
    case fault_value::milliseconds:
        return take_number(it, "MILLISECONDS", 10, &fault->value);
    case fault_value::error_word:
        return take_error_word(it, &fault->value);
    case fault_value::of_header_word:
        return !given || take_number(it, "VALUE", 16, &fault->value);
    default:
        return true;
    }
}

} // namespace

bool verb_fault(card &card, arguments &it, std::string *)
{
    const auto *shape = std::ranges::find(FAULT_SHAPES, it.given.front(), &fault_shape::verb);
    assert(shape != std::end(FAULT_SHAPES));
    armed_fault fault{shape->kind, 0, 0, 1, 100};
    if (!take_subject(it, shape->subject, &fault) || !take_value(it, shape->value, &fault) ||
        !take_times(it, &fault) || !take_end(it)) {
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

// An event for nothing; or with a sirane's bit pending, and any source.
bool verb_spurious_interrupt(card &card, arguments &it, std::string *)
{
    if (it.next == it.given.size()) {
        if (card.firmware.interrupts.enabled == 0) {
            return reject(it, "the host has interrupts off");
        }
        delivery_raise(card, 1);
        return true;
    }
    uint32_t device = 0;
    uint32_t source = 0;
    if (!take_device(it, &device) || !take_number(it, "SOURCE", 10, &source) || !take_end(it)) {
        return false;
    }
    if (!is_sirane_device(device)) {
        return reject(it, "a sirane is one of the devices 1, 4, 7");
    }
    delivery_raise(card, msi_post(card.firmware.interrupts, card.bar, sirane_of_device(device), source));
    return true;
}
