// The text of a line, faster than vsnprintf makes it: formatting is most of what a line costs, and a command
// draws sixty.
#ifndef CORE_TRACE_MESSAGE_TEXT_H
#define CORE_TRACE_MESSAGE_TEXT_H

#include <cstdarg>
#include <cstddef>

// Writes and returns what vsnprintf does, byte for byte. The conversions that most lines have are made here:
// %d %u %x, also long, with a width and zeros before them, %s %c %p. From the first other one on, and where
// the text may not fit, it is left to vsnprintf. `size` is at least 1.
int message_text(char *out, size_t size, const char *format, va_list arguments)
    __attribute__((format(printf, 3, 0)));

#endif
