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
    {"version", 3, 0x000000FF}, {"sy", 4, 0x0000000C},     {"rc", 5, 0x80010013},
};

constexpr std::string_view OF_ANOTHER = "other";

bool take_field(arguments &args, armed_fault *fault)
{
    std::string_view name;
    if (!take_word(args, "FIELD", &name)) {
        return false;
    }
    const auto *field = std::ranges::find(CORRUPTIBLE_FIELDS, name, &corruptible_field::name);
    if (field == std::end(CORRUPTIBLE_FIELDS)) {
        return reject(args, "FIELD is one of cmd, ref_id, size, version, sy, rc");
    }
    fault->subject = field->header_word;
    fault->value = field->value;
    return true;
}

bool take_subject(arguments &args, fault_subject subject, armed_fault *fault)
{
    switch (subject) {
    case fault_subject::command:
        return take_command(args, &fault->subject);
    case fault_subject::header_word:
        return take_field(args, fault);
    default:
        return true;
    }
}

bool take_error_word(arguments &args, uint32_t *value)
{
    std::string_view word;
    if (!take_word(args, "WORD", &word)) {
        return false;
    }
    return error_word_of_name(word, value) || to_number(word, 16, value) ||
           reject(args,
                  "WORD is neither an error word's name nor a hexadecimal number: " + std::string(word));
}

bool percent_comes_next(const arguments &args)
{
    return args.next < args.given.size() && args.given[args.next].ends_with('%');
}

bool take_times(arguments &args, armed_fault *fault)
{
    if (!percent_comes_next(args)) {
        return take_count(args, &fault->left);
    }
    std::string_view word = args.given[args.next++];
    word.remove_suffix(1);
    if (!to_number(word, 10, &fault->percent) || fault->percent > 100) {
        return reject(args, "PERCENT is 0% to 100%");
    }
    fault->left = fault->percent > 0 ? FAULT_ALWAYS : 0;
    return true;
}

bool take_value(arguments &args, fault_value value, armed_fault *fault)
{
    const bool given =
        args.next < args.given.size() && args.given[args.next] != ALWAYS && !percent_comes_next(args);
    switch (value) {
    case fault_value::milliseconds:
        return take_number(args, "MILLISECONDS", 10, &fault->value);
    case fault_value::error_word:
        return take_error_word(args, &fault->value);
    case fault_value::of_header_word:
        fault->of_another = given && args.given[args.next] == OF_ANOTHER;
        args.next += fault->of_another ? 1 : 0;
        return !given || fault->of_another || take_number(args, "VALUE", 16, &fault->value);
    default:
        return true;
    }
}

} // namespace

bool verb_fault(card &card, arguments &args, std::string *)
{
    const auto *shape = std::ranges::find(FAULT_SHAPES, args.given.front(), &fault_shape::verb);
    assert(shape != std::end(FAULT_SHAPES));
    armed_fault fault{shape->kind, 0, 0, 1, 100};
    if (!take_subject(args, shape->subject, &fault) || !take_value(args, shape->value, &fault) ||
        !take_times(args, &fault) || !take_end(args)) {
        return false;
    }
    faults_arm(card.faults, fault);
    return true;
}

bool verb_clear(card &card, arguments &args, std::string *)
{
    if (!take_end(args)) {
        return false;
    }
    card.faults.armed.clear();
    return true;
}

// An event for nothing; or with a sirane's bit pending, and any source.
bool verb_spurious_interrupt(card &card, arguments &args, std::string *)
{
    if (args.next == args.given.size()) {
        if (card.firmware.interrupts.enabled == 0) {
            return reject(args, "the host has interrupts off");
        }
        delivery_raise(card, 1);
        return true;
    }
    uint32_t device = 0;
    uint32_t source = 0;
    if (!take_device(args, &device) || !take_number(args, "SOURCE", 10, &source) || !take_end(args)) {
        return false;
    }
    if (!is_sirane_device(device)) {
        return reject(args, "a sirane is one of the devices 1, 4, 7");
    }
    delivery_raise(card, msi_post(card.firmware.interrupts, card.bar, sirane_of_device(device), source));
    return true;
}
