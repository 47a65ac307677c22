// card_simulator: a simulated card for the processes of this host.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "card_simulator/console/console.h"
#include "card_simulator/firmware/card_record.h"
#include "card_simulator/process/card_tree.h"
#include "card_simulator/process/control_socket.h"
#include "card_simulator/process/event_loop.h"
#include "card_simulator/process/options.h"
#include "card_simulator/process/prompt.h"
#include "card_simulator/process/terminal_text.h"
#include "card_simulator/process/uio_server.h"
#include "kelvane_bar.h"

namespace {

struct simulator {
    event_loop loop;
    card_tree tree;
    uio_server server;
    control_socket control;
    prompt input;
    int signals = -1;
    bool ended_by_signal = false;
};

void signal_came(void *self, int fd)
{
    signalfd_siginfo info;
    if (read(fd, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
        static_cast<simulator *>(self)->ended_by_signal = true;
    }
}

// Before the first thread, so that all of them leave these signals to the descriptor.
bool watch_signals(simulator &it, std::string *problem)
{
    sigset_t ending;
    sigemptyset(&ending);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&ending, number);
    }
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGTTIN, SIG_IGN); // in the background a terminal's input just fails
    if (pthread_sigmask(SIG_BLOCK, &ending, nullptr) != 0 ||
        (it.signals = signalfd(-1, &ending, SFD_CLOEXEC | SFD_NONBLOCK)) < 0) {
        *problem = std::string("cannot watch signals: ") + std::strerror(errno);
        return false;
    }
    event_loop_watch(it.loop, {it.signals, &it, signal_came});
    return true;
}

bool tell_ready(const simulator_options &options, const card_tree &tree, std::string *problem)
{
    const bool on_device = !options.device.memory.empty();
    if (!options.quiet) {
        std::printf("card_simulator: firmware %u.%u, %s%s\n", options.card.firmware_major,
                    options.card.firmware_minor, on_device ? "" : "KELVANE_HOST_ROOT=",
                    on_device ? options.device.memory.c_str() : tree.root.c_str());
        std::fflush(stdout);
    }
    if (options.ready_fd < 0) {
        return true;
    }
    const std::string line = tree.root + "\n";
    if (write(options.ready_fd, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        *problem = std::string("cannot write to --ready-fd: ") + std::strerror(errno);
        return false;
    }
    close(options.ready_fd);
    return true;
}

bool start_card(simulator &it, const simulator_options &options, std::string *problem)
{
    if (!options.device.memory.empty()) {
        return uio_device_start(it.server, options.card, options.device, problem);
    }
    return uio_server_start(it.server, options.card, it.tree, it.loop, problem);
}

// The kernel's device has its files already.
bool publish(simulator &it, const simulator_options &options, std::string *problem)
{
    return !options.device.memory.empty() || card_tree_publish(it.tree, options.name, BAR_BYTES, problem);
}

bool start(simulator &it, const simulator_options &options, std::string *problem)
{
    if (!watch_signals(it, problem) || !card_tree_open(it.tree, options.host, problem) ||
        !start_card(it, options, problem) ||
        !control_socket_start(it.control, it.tree, it.server, it.loop, problem)) {
        return false;
    }
    if (!options.script.empty() && !prompt_run_script(it.server, options.script, problem)) {
        return false;
    }
    if (!publish(it, options, problem) ||
        (!options.link.empty() && !card_tree_link(it.tree, options.link, problem)) ||
        !tell_ready(options, it.tree, problem)) {
        return false;
    }
    if (!options.quiet) {
        prompt_start(it.input, it.server, it.loop);
    }
    return true;
}

int run(simulator &it, const simulator_options &options)
{
    std::string problem;
    if (start(it, options, &problem)) {
        while (problem.empty() && !it.ended_by_signal && !it.input.ended && !it.server.card->quit_asked) {
            const int error = event_loop_turn(it.loop);
            if (error != 0) {
                problem = std::string("cannot wait: ") + std::strerror(error);
            }
        }
    }
    control_socket_stop(it.control);
    uio_server_stop(it.server);
    card_tree_close(it.tree);
    if (!problem.empty()) {
        print_for_terminal(stderr, "card_simulator: " + problem + (problem.back() == '\n' ? "" : "\n"));
        return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    simulator_options options;
    std::string problem;
    if (!parse_options(argc, argv, &options, &problem)) {
        std::fprintf(stderr, "card_simulator: %s\n", problem.c_str());
        return 1;
    }
    if (options.help) {
        std::printf("%s\nVerbs:\n%s", options_help().c_str(), console_help().c_str());
        return 0;
    }
    if (options.send) {
        return control_socket_send(options.host, options.verb);
    }
    const pid_t parent = getppid();
    if (options.exit_with_parent && (prctl(PR_SET_PDEATHSIG, SIGTERM) != 0 || getppid() != parent)) {
        std::fprintf(stderr, "card_simulator: the process that started the card is gone\n");
        return 1;
    }
    umask(S_IRWXG | S_IRWXO); // who can reach the card commands it
    simulator it;
    return run(it, options);
}
