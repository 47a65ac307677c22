#include "benchmarks/programs/program.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "benchmarks/figure_process.h"
#include "benchmarks/figures.h"

namespace {

int become(const std::vector<std::string> &words)
{
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string &word : words) {
        arguments.push_back(const_cast<char *>(word.c_str()));
    }
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    return 127;
}

template <typename child> program start(child run)
{
    int input[2] = {-1, -1};
    int output[2] = {-1, -1};
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) {
        figure_fail("pipe2");
    }
    const pid_t pid = fork();
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(input[0], STDIN_FILENO);
        dup2(output[1], STDOUT_FILENO);
        dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO); // mock_client's trace of what it does
        _exit(run());
    }
    if (pid < 0) {
        figure_fail("fork");
    }
    close(input[0]);
    close(output[1]);
    return {pid, input[1], output[0]};
}

} // namespace

program program_start(const std::vector<std::string> &words)
{
    return start([&words] { return become(words); });
}

program program_start_body(int (*body)())
{
    return start(body);
}

void program_wait_for(const program &program, const std::string &text)
{
    std::string said;
    while (said.find(text) == std::string::npos) {
        char bytes[4096];
        const ssize_t got = read(program.output, bytes, sizeof bytes);
        if (got <= 0 && !(got < 0 && errno == EINTR)) {
            figure_fail("a program's start");
        }
        said.append(bytes, got > 0 ? static_cast<size_t>(got) : 0);
    }
}

void program_end_with(const program &program, const std::string &line)
{
    int status = 0;
    if (write(program.input, line.data(), line.size()) != static_cast<ssize_t>(line.size()) ||
        waitpid(program.pid, &status, 0) != program.pid || status != 0) {
        figure_fail("a program's end");
    }
    close(program.input);
    close(program.output);
}

pid_t start_simulator()
{
    const program card = program_start({CARD_SIMULATOR, "--quiet", "--exit-with-parent", "--firmware", "5.22",
                                        "--host", figure_host(), "--ready-fd", "1"});
    program_wait_for(card, figure_host() + "\n");
    return card.pid;
}
