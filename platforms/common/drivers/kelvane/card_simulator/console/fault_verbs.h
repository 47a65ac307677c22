// The verbs that arm faults, one row each.
#ifndef CARD_SIMULATOR_CONSOLE_FAULT_VERBS_H
#define CARD_SIMULATOR_CONSOLE_FAULT_VERBS_H

#include <string>
#include <string_view>

#include "card_simulator/console/arguments.h"
#include "card_simulator/state/faults.h"

struct card;

enum class fault_subject { none, command, header_word };
enum class fault_value { none, milliseconds, error_word, of_header_word };

struct fault_shape {
    fault_kind kind;
    std::string_view verb;
    fault_subject subject;
    fault_value value;
};

constexpr fault_shape FAULT_SHAPES[] = {
    {fault_kind::refuse, "refuse", fault_subject::command, fault_value::none},
    {fault_kind::error, "error", fault_subject::command, fault_value::error_word},
    {fault_kind::delay, "delay", fault_subject::command, fault_value::milliseconds},
    {fault_kind::drop_answer, "drop-answer", fault_subject::command, fault_value::none},
    {fault_kind::corrupt, "corrupt", fault_subject::header_word, fault_value::of_header_word},
    {fault_kind::corrupt_notice, "corrupt-notice", fault_subject::header_word, fault_value::of_header_word},
    {fault_kind::skip_batch, "skip-batch", fault_subject::none, fault_value::none},
    {fault_kind::drop_interrupt, "drop-interrupt", fault_subject::none, fault_value::none},
    {fault_kind::late_interrupt, "late-interrupt", fault_subject::none, fault_value::milliseconds},
    {fault_kind::double_interrupt, "double-interrupt", fault_subject::none, fault_value::none},
};

// The verb of the line is one of them.
bool verb_fault(card &card, arguments &args, std::string *answer);

bool verb_clear(card &card, arguments &args, std::string *answer);
bool verb_spurious_interrupt(card &card, arguments &args, std::string *answer);

#endif
