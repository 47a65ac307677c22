// The words of a console line, taken one after the other; the first problem is kept.
#ifndef CARD_SIMULATOR_CONSOLE_ARGUMENTS_H
#define CARD_SIMULATOR_CONSOLE_ARGUMENTS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "card_simulator/state/firmware_images.h"

constexpr std::string_view ALWAYS = "always"; // as a count

struct arguments {
    std::vector<std::string_view> given;
    size_t next = 0;
    std::string problem;
};

arguments split(std::string_view line);

// Notes why the line is refused, unless a reason is noted already. Returns false, as the operations below do
// after a rejection.
bool reject(arguments &args, std::string problem);

bool take_word(arguments &args, const char *what, std::string_view *word);
bool take_number(arguments &args, const char *what, int base, uint32_t *number);
bool take_command(arguments &args, uint32_t *command); // by name or number
bool take_count(arguments &args, uint32_t *count);     // the last one, 1 when it is not there
bool take_offset(arguments &args, uint32_t *offset);
bool take_device(arguments &args, uint32_t *device);
bool take_end(arguments &args);

bool to_number(std::string_view word, int base, uint32_t *number);
bool to_version(std::string_view word, firmware_version *version); // "5.23"

#endif
