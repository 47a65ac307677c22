// Appends formatted text to a text.
#ifndef CARD_SIMULATOR_STATE_APPEND_TEXT_H
#define CARD_SIMULATOR_STATE_APPEND_TEXT_H

#include <string>

// The appended piece is cut at 255 characters.
[[gnu::format(printf, 2, 3)]] void append(std::string &text, const char *format, ...);

#endif
