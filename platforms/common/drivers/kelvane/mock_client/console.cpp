#include "mock_client/console.h"

#include <cstdarg>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {

[[gnu::format(printf, 3, 0)]] void print(FILE *stream, const char *prefix, const char *format,
                                         va_list arguments, const char *end)
{
    if (stream == stderr) {
        fflush(stdout);
    }
    flockfile(stream);
    fputs(prefix, stream);
    vfprintf(stream, format, arguments);
    fputs(end, stream);
    funlockfile(stream);
}

} // namespace

void console_start()
{
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; fd++) {
        if (fcntl(fd, F_GETFD) == -1) {
            open("/dev/null", O_RDWR); // takes the lowest free number, which is this one
        }
    }
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
}

void console_line(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    print(stdout, ">>> ", format, arguments, "\n");
    va_end(arguments);
}

void console_text(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    print(stdout, "", format, arguments, "");
    va_end(arguments);
}

void console_error(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    print(stderr, ">>> ERROR <<<", format, arguments, "\n");
    va_end(arguments);
}

void console_debug(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    print(stderr, ">>> DEBUG <<< ", format, arguments, "\n");
    va_end(arguments);
}

void console_failure(const char *text, int32_t code)
{
    console_error_text("%s - rc = %d\n", text, code);
}

void console_error_text(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    print(stderr, "", format, arguments, "");
    va_end(arguments);
}
