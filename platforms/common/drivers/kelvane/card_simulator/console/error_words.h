// The firmware's error words by name, as the operator types them.
#ifndef CARD_SIMULATOR_CONSOLE_ERROR_WORDS_H
#define CARD_SIMULATOR_CONSOLE_ERROR_WORDS_H

#include <cstdint>
#include <string_view>

bool error_word_of_name(std::string_view name, uint32_t *word);
std::string_view name_of_error_word(uint32_t word); // empty for an unknown one

#endif
