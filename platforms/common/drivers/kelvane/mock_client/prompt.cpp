#include "mock_client/prompt.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "mock_client/console.h"

namespace {

void report_read_error()
{
    console_error("Cannot read standard input: %s", strerror(errno));
    clearerr(stdin);
}

// Leaves the next character that is not white space unread. False when none is to be had.
bool skip_white_space()
{
    int character = getchar();
    while (character != EOF && isspace(character)) {
        character = getchar();
    }
    if (character == EOF) {
        if (ferror(stdin)) {
            report_read_error();
        }
        return false;
    }
    return ungetc(character, stdin) != EOF;
}

void read_to_end_of_line(prompt &into)
{
    const ssize_t length = getline(&into.line, &into.capacity, stdin);
    if (length < 0) {
        report_read_error();
        if (into.capacity > 0) {
            into.line[0] = '\0'; // what getline leaves when memory runs out has no end
        }
    } else if (length > 0 && into.line[length - 1] == '\n') {
        into.line[length - 1] = '\0';
    }
}

} // namespace

const char *prompt_read(prompt &from)
{
    fflush(stdin);
    fputs(">>> \n>>> Please enter input :", stdout);
    fflush(stdout);
    if (skip_white_space()) {
        read_to_end_of_line(from);
    }
    return from.line != nullptr ? from.line : "";
}

void prompt_free(prompt &from)
{
    free(from.line);
    from = {};
}
