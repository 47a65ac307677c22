// Reading one line from the operator.
#ifndef MOCK_CLIENT_PROMPT_H
#define MOCK_CLIENT_PROMPT_H

#include <cstddef>

struct prompt {
    char *line = nullptr; // on the heap; null before the first line
    size_t capacity = 0;
};

// Prints the prompt and reads the next line that holds more than white space, of any length, without the
// white space in front of it. At the end of the input, and when reading fails, which it reports, the
// previous line stays. Returns the line, ended at its first NUL; valid until the next call.
const char *prompt_read(prompt &from);

void prompt_free(prompt &from);

#endif
