#include "card/process.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

constexpr int LIMIT_MS = 60000; // ends a test that hangs; nothing waits that long
constexpr size_t OUTPUT_LIMIT = 1 << 20;

struct pipe_ends {
    int read;
    int write;
};

pipe_ends make_pipe()
{
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        perror("pipe2");
        abort();
    }
    return {ends[0], ends[1]};
}

[[noreturn]] void become(const std::vector<std::string> &words, const std::vector<std::string> &environment)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL); // of a test that is stopped nothing stays
    for (const std::string &variable : environment) {
        putenv(const_cast<char *>(variable.c_str()));
    }
    std::vector<char *> arguments;
    for (const std::string &word : words) {
        arguments.push_back(const_cast<char *>(word.c_str()));
    }
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    perror(arguments[0]);
    _exit(127);
}

void close_once(int &fd)
{
    if (fd >= 0) {
        close(fd);
        fd = -1;
    }
}

// Moves what is there into `text`; closes the stream at its end.
void take(int &fd, std::string &text)
{
    char bytes[4096];
    const ssize_t got = read(fd, bytes, sizeof bytes);
    if (got > 0) {
        text.append(bytes, static_cast<size_t>(got));
    } else if (got == 0 || errno != EINTR) {
        close_once(fd);
    }
}

} // namespace

process::process(std::vector<std::string> words, std::vector<std::string> environment)
{
    const pipe_ends input = make_pipe();
    const pipe_ends output = make_pipe();
    const pipe_ends error = make_pipe();
    pid_ = fork();
    if (pid_ == 0) {
        dup2(input.read, STDIN_FILENO);
        dup2(output.write, STDOUT_FILENO);
        dup2(error.write, STDERR_FILENO);
        become(words, environment);
    }
    if (pid_ < 0) {
        perror("fork");
        abort();
    }
    close(input.read);
    close(output.write);
    close(error.write);
    input_ = input.write;
    output_ = output.read;
    error_ = error.read;
    signal(SIGPIPE, SIG_IGN);
}

process::~process()
{
    if (pid_ > 0) {
        kill();
    }
}

void process::write(const std::string &text)
{
    EXPECT_EQ(::write(input_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

bool process::collect()
{
    pollfd streams[2] = {{output_, POLLIN, 0}, {error_, POLLIN, 0}};
    if (output_ < 0 && error_ < 0) {
        return false;
    }
    const int ready = poll(streams, 2, LIMIT_MS);
    if (ready == 0 || out.size() + err.size() > OUTPUT_LIMIT) {
        ADD_FAILURE() << (ready == 0 ? "the program hangs" : "the program does not stop talking") << "\n"
                      << out.substr(0, 10000) << "\n"
                      << err.substr(0, 10000);
        return false;
    }
    if (streams[0].revents != 0) {
        take(output_, out);
    }
    if (streams[1].revents != 0) {
        take(error_, err);
    }
    return true;
}

bool process::wait_for_output(const std::string &text)
{
    for (;;) {
        const size_t at = out.find(text, found_);
        if (at != std::string::npos) {
            found_ = at + text.size();
            return true;
        }
        if (!collect()) {
            ADD_FAILURE() << "never said " << text << "\n" << out << "\n" << err;
            return false;
        }
    }
}

int process::reap()
{
    int status = 0;
    EXPECT_EQ(waitpid(pid_, &status, 0), pid_);
    pid_ = -1;
    close_once(input_);
    close_once(output_);
    close_once(error_);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

int process::wait()
{
    while (collect()) {
    }
    if (output_ >= 0 || error_ >= 0) {
        return kill();
    }
    return reap();
}

int process::kill()
{
    ::kill(pid_, SIGKILL);
    return reap();
}
