// The words of a console line, taken one after the other; the first problem is kept.
#ifndef CARD_SIMULATOR_CONSOLE_ARGUMENTS_H
#define CARD_SIMULATOR_CONSOLE_ARGUMENTS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

constexpr std::string_view ALWAYS = "always"; // as a count

struct arguments {
    std::vector<std::string_view> given;
    size_t next = 0;
    std::string problem;
};

arguments split(std::string_view line);

// Notes why the line is refused, unless a reason is noted already. Returns false, as the operations below do
// after a rejection.
bool reject(arguments &it, std::string problem);

bool take_word(arguments &it, const char *what, std::string_view *word);
bool take_number(arguments &it, const char *what, int base, uint32_t *number);
bool take_command(arguments &it, uint32_t *command); // by name or number
bool take_count(arguments &it, uint32_t *count);     // the last one, 1 when it is not there
bool take_offset(arguments &it, uint32_t *offset);
bool take_device(arguments &it, uint32_t *device);
bool take_end(arguments &it);

bool to_number(std::string_view word, int base, uint32_t *number);

#endif
