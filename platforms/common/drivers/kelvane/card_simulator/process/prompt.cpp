#include "card_simulator/process/prompt.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <unistd.h>

#include "card_simulator/firmware/card_record.h"
#include "card_simulator/process/control_socket.h"
#include "card_simulator/process/terminal_text.h"

namespace {

void show_prompt(const prompt &prompt)
{
    if (prompt.terminal && !prompt.server->card->quit_asked) {
        std::fputs("card> ", stdout);
        std::fflush(stdout);
    }
}

void run_line(prompt &prompt)
{
    std::string answer;
    if (prompt.too_long) {
        std::fputs("a line has up to 1024 characters\n", stderr);
    } else {
        const bool done = uio_server_verb(*prompt.server, prompt.line.c_str(), &answer) == 0;
        print_for_terminal(done ? stdout : stderr, answer);
    }
    prompt.line.clear();
    prompt.too_long = false;
    show_prompt(prompt);
}

void take_character(prompt &prompt, char character)
{
    if (character == '\n') {
        run_line(prompt);
    } else if (prompt.line.size() < CONTROL_LINE_BYTES_MAX) {
        prompt.line += character;
    } else {
        prompt.too_long = true;
    }
}

void input_came(void *self, int fd)
{
    auto &it = *static_cast<prompt *>(self);
    char bytes[512];
    const ssize_t got = read(fd, bytes, sizeof bytes);
    for (ssize_t i = 0; i < got; i++) {
        take_character(it, bytes[i]);
    }
    if (got > 0 || (got < 0 && (errno == EINTR || errno == EAGAIN))) {
        return;
    }
    if (!it.line.empty()) {
        run_line(it);
    }
    event_loop_forget(*it.loop, fd);
    it.ended = it.terminal && got == 0;
}

} // namespace

void prompt_start(prompt &prompt, uio_server &server, event_loop &loop)
{
    prompt.server = &server;
    prompt.loop = &loop;
    prompt.terminal = isatty(STDIN_FILENO) == 1;
    event_loop_watch(loop, {STDIN_FILENO, &prompt, input_came});
    show_prompt(prompt);
}

bool prompt_run_script(uio_server &server, const std::string &path, std::string *problem)
{
    std::ifstream file(path);
    if (!file) {
        *problem = "cannot open " + path + ": " + std::strerror(errno);
        return false;
    }
    std::string line;
    for (unsigned number = 1; std::getline(file, line); number++) {
        std::string answer;
        if (uio_server_verb(server, line.c_str(), &answer) != 0) {
            *problem = path + ", line " + std::to_string(number) + ": " + answer;
            return false;
        }
        print_for_terminal(stdout, answer);
    }
    if (file.bad()) {
        *problem = "cannot read " + path;
        return false;
    }
    return true;
}
