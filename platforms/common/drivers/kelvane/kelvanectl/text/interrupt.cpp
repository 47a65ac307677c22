#include "kelvanectl/text/interrupt.h"

#include <atomic>
#include <csignal>
#include <cstring>

#include <unistd.h>

namespace {

constexpr int SIGNALLED = 128; // a shell's status is the signal above that

std::atomic<const char *> line_to_say;
std::atomic<const char *> file_to_remove;

void end(int number)
{
    const char *const line = line_to_say;
    const char *const file = file_to_remove;
    if (file != nullptr) {
        unlink(file);
    }
    if (line != nullptr) {
        [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line, strlen(line));
    }
    _exit(SIGNALLED + number);
}

} // namespace

void interrupt_prepare()
{
    for (const int number : {SIGINT, SIGTERM}) {
        struct sigaction before = {};
        sigaction(number, nullptr, &before);
        if (before.sa_handler != SIG_IGN) { // as in the background
            before.sa_handler = end;
            sigaction(number, &before, nullptr);
        }
    }
    signal(SIGXFSZ, SIG_IGN); // a file that may not grow is an error to tell of
}

void interrupt_say(const char *line)
{
    line_to_say = line;
}

void interrupt_remove(const char *path)
{
    file_to_remove = path;
}
