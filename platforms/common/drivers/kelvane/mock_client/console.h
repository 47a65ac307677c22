// What the operator reads. Normal lines go to standard output, errors and traces to standard error. A
// line of standard error first flushes standard output, so that one transcript of both keeps the order.
// Any thread may print; a line is never torn.
#ifndef MOCK_CLIENT_CONSOLE_H
#define MOCK_CLIENT_CONSOLE_H

#include <cstdint>

// Makes standard output line buffered, even into a pipe or a file, and opens /dev/null for a standard
// stream that is closed: the card's device must not get its number and be read or written as the console.
// Before anything is printed or opened.
void console_start();

// ">>> <text>\n" on standard output.
[[gnu::format(printf, 1, 2)]] void console_line(const char *format, ...);

// ">>> ERROR <<<<text>\n" on standard error.
[[gnu::format(printf, 1, 2)]] void console_error(const char *format, ...);

// ">>> DEBUG <<< <text>\n" on standard error.
[[gnu::format(printf, 1, 2)]] void console_debug(const char *format, ...);

// The text alone, on standard output.
[[gnu::format(printf, 1, 2)]] void console_text(const char *format, ...);

// "<text> - rc = <code>\n" on standard error.
void console_failure(const char *text, int32_t code);

// The text alone, on standard error.
[[gnu::format(printf, 1, 2)]] void console_error_text(const char *format, ...);

#endif
