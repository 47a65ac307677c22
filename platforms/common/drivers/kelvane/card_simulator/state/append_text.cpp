#include "card_simulator/state/append_text.h"

#include <cstdarg>
#include <cstdio>

void append(std::string &text, const char *format, ...)
{
    char piece[256];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(piece, sizeof piece, format, arguments);
    va_end(arguments);
    text += piece;
}
