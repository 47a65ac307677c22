// The modules as a table that lives.
#include <csignal>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "kelvanectl/subcommand.h"
#include "kelvanectl/text/output.h"
#include "kelvanectl/top/feed.h"
#include "kelvanectl/top/screen.h"

namespace {

constexpr int TICK_MS = 1000;
constexpr int SIGNALS[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGCONT, SIGWINCH};
constexpr int NO_END = -1; // besides the signal that ends it, or
constexpr int QUIT = 0;
constexpr int TERMINAL_GONE = 1000;
constexpr int TERMINAL_UNFIT = 1001;

// Blocks those that are not ignored, and gives a descriptor to read them from, like keys.
int hold_signals()
{
    sigset_t held;
    sigemptyset(&held);
    for (const int number : SIGNALS) {
        struct sigaction now = {};
        sigaction(number, nullptr, &now);
        if (now.sa_handler != SIG_IGN) {
            sigaddset(&held, number);
        }
    }
    sigprocmask(SIG_BLOCK, &held, nullptr);
    return signalfd(-1, &held, SFD_NONBLOCK | SFD_CLOEXEC);
}

void end_by(int number)
{
    sigset_t own;
    sigemptyset(&own);
    sigaddset(&own, number);
    raise(number);
    sigprocmask(SIG_UNBLOCK, &own, nullptr);
}

int take_signals(int signals, live_screen &screen)
{
    signalfd_siginfo it = {};
    while (read(signals, &it, sizeof it) == sizeof it) {
        const auto number = static_cast<int>(it.ssi_signo);
        if (number == SIGTSTP) {
            screen.stop();
        } else if (number == SIGCONT) {
            screen.leave(); // whoever stopped us may have used the terminal
        } else if (number != SIGWINCH) {
            return number;
        }
    }
    return NO_END;
}

int take_keys(live_screen &screen, size_t *history)
{
    int key = screen.next_key();
    if (key == -1) { // there was something to read: its end
        return TERMINAL_GONE;
    }
    for (; key != -1; key = screen.next_key()) {
        if (key == 'q') {
            return QUIT;
        }
        *history = key == 'h' ? (*history + 1) % std::size(HISTORIES) : *history;
    }
    return NO_END;
}

// Until the key, the signal, or the terminal's end.
int live(service_session &service, const board &shown, feed &feed)
{
    const int signals = hold_signals();
    live_screen screen;
    if (!screen.problem().empty()) {
        output_problem(screen.problem());
        return TERMINAL_UNFIT;
    }
    size_t history = 0;
    int end = NO_END;
    auto next_try = std::chrono::steady_clock::now();
    while (end == NO_END) {
        const bool has_more = feed.take();
        if (const auto now = std::chrono::steady_clock::now(); service.descriptor() < 0 && now >= next_try) {
            feed.begin();
            next_try = now + std::chrono::milliseconds(TICK_MS);
        }
        screen.draw(shown, history);
        pollfd waiting[] = {
            {STDIN_FILENO, POLLIN, 0}, {signals, POLLIN, 0}, {service.descriptor(), POLLIN, 0}};
        poll(waiting, std::size(waiting), has_more ? 0 : TICK_MS);
        end = waiting[1].revents != 0 ? take_signals(signals, screen) : NO_END;
        if (end == NO_END && waiting[0].revents != 0) {
            end = take_keys(screen, &history);
        }
    }
    return end;
}

exit_status top(const tool &tool)
{
    if (tool.options.as_json) {
        return fail_usage("top has no --json; `watch --json` tells what it shows", true);
    }
    if (isatty(STDIN_FILENO) == 0 || !output_is_terminal()) {
        return fail_usage("top needs a terminal; `watch` and `pm` do without", false);
    }
    board shown;
    feed feed(*tool.service, shown);
    if (const json problem = feed.begin(); !problem.is_null()) {
        return fail(problem, false);
    }
    const int end = live(*tool.service, shown, feed);
    if (end == TERMINAL_UNFIT) {
        return STATUS_USAGE;
    }
    if (end == TERMINAL_GONE) {
        output_problem("the terminal is gone");
        return STATUS_FAILED;
    }
    if (end != QUIT) {
        end_by(end); // with the terminal as it was, it does what it would have done
    }
    return STATUS_DONE;
}

} // namespace

const subcommand TOP = {"top", "Shows how the modules do, as it changes, until q.", add_nothing, top, true};
