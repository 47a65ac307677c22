// Values in words: the names of the header's enumerations in lower case, without what they have in common.
#ifndef CONTROL_VALUE_WORDS_H
#define CONTROL_VALUE_WORDS_H

#include <cstdint>
#include <span>
#include <string_view>

struct value_word {
    uint32_t value;
    const char *word;
};

using value_words = std::span<const value_word>;

extern const value_words SWITCH; // of which the words are JSON's booleans
extern const value_words TRAFFIC_TYPES;
extern const value_words LEDS;
extern const value_words DIRECTIONS;
extern const value_words DOWNLOAD_DEVICES;
extern const value_words RUN_TYPES;
extern const value_words SECURE_TYPES;
extern const value_words UPSETS;
extern const value_words VERDICTS;
extern const value_words DIAGNOSTICS;
extern const value_words MODULE_TYPES;
extern const value_words KEEP_ALIVE_STATUSES;
extern const value_words RESTARTS;

// Null for a value that has no word: it is shown as a number.
const char *word_of_value(value_words words, uint32_t value);

// A word of the list, if there is one, or a number in decimal or, after 0x, hexadecimal digits; false, with
// the output untouched, for anything else.
bool value_of_word(const value_words *words, std::string_view word, int64_t *value);

// A number with a point or without; false, with the output untouched, for anything else.
bool real_of_text(std::string_view text, double *value);

#endif
