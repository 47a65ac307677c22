#include "benchmarks/figure_process.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/host_tree.h"

namespace {

std::string host;
volatile pid_t running; // the figure's process
volatile sig_atomic_t asked_to_end;

// Ends the figure, so that its folders are removed before the bench ends.
void end_figure(int)
{
    asked_to_end = 1;
    if (running > 0) {
        kill(running, SIGKILL);
    }
}

void on_signals(void (*act)(int))
{
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        std::signal(number, act);
    }
}

const char *figure_name = "";

std::string make_folder(const char *below)
{
    std::string pattern = std::string(below) + "/kelvane_bench.XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        figure_fail(pattern.c_str());
    }
    return pattern;
}

bool write_all(int fd, const void *data, size_t size)
{
    return write(fd, data, size) == static_cast<ssize_t>(size);
}

bool read_all(int fd, void *out, size_t size)
{
    size_t done = 0;
    while (done < size) {
        const ssize_t got = read(fd, static_cast<char *>(out) + done, size - done);
        if (got <= 0 && !(got < 0 && errno == EINTR)) {
            return false;
        }
        done += got > 0 ? static_cast<size_t>(got) : 0;
    }
    return true;
}

[[noreturn]] void be_figure(round_values (*round)(), size_t rounds, int result)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    on_signals(SIG_DFL);
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(nowhere, STDIN_FILENO);
    dup2(nowhere, STDOUT_FILENO);
    round();
    for (size_t i = 0; i < rounds; i++) {
        const round_values values = round();
        if (!write_all(result, &values, sizeof values)) {
            figure_fail("telling the result");
        }
    }
    _exit(0); // the library's threads run on until here
}

void remove_folder(const std::string &path)
{
    std::error_code ignored; // what remains is in a folder for temporary files
    std::filesystem::remove_all(path, ignored);
}

} // namespace

void figure_fail(const char *what)
{
    const int error = errno;
    std::fprintf(stderr, "kelvane_bench: %s: %s failed%s%s\n", figure_name, what, error != 0 ? ": " : "",
                 error != 0 ? std::strerror(error) : "");
    _exit(2);
}

const std::string &figure_host()
{
    return host;
}

std::string figure_log_on()
{
    std::string path = host + "/root/kelvane.log";
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) {
        figure_fail("making the log file");
    }
    close(fd);
    return path;
}

bool run_rounds(const char *name, round_values (*round)(), std::vector<round_values> &rounds)
{
    figure_name = name;
    host = make_folder(std::filesystem::temp_directory_path().c_str());
    const std::string rings = make_folder("/dev/shm");
    if (mkdir((host + "/root").c_str(), 0700) != 0) {
        figure_fail("mkdir");
    }
    setenv(HOST_TREE_VARIABLE, host.c_str(), 1);
    setenv("KELVANE_TRACE_DIR", rings.c_str(), 1);

    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        figure_fail("pipe2");
    }
    on_signals(end_figure);
    const pid_t pid = fork();
    if (pid < 0) {
        figure_fail("fork");
    }
    running = pid;
    if (pid == 0) {
        be_figure(round, rounds.size(), ends[1]);
    }
    close(ends[1]);
    const bool whole = read_all(ends[0], rounds.data(), rounds.size() * sizeof rounds[0]);
    close(ends[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    running = 0;
    remove_folder(host);
    remove_folder(rings);
    if (!whole || status != 0) {
        std::fprintf(stderr, "kelvane_bench: %s was not measured\n", name);
    }
    return whole && status == 0;
}

bool asked_to_stop()
{
    return asked_to_end != 0;
}
