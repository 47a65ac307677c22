#include "kelvanectl/top/screen.h"

#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include <langinfo.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#define NCURSES_NOMACROS 1
#include <curses.h>

namespace {

constexpr int ESCAPE_MS = 25; // within which the rest of a key's code comes
constexpr int FAULTS[] = {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGTRAP};
constexpr short GREEN = 1;
constexpr short RED = 2;

// Not for a handler by the letter, but the process is lost in any case.
void end_after_fault(int number)
{
    endwin();
    raise(number); // which is held back until this returns
}

attr_t attributes_of(look as, bool has_colours)
{
    switch (as) {
    case look::strong:
        return A_BOLD;
    case look::faint:
        return A_DIM;
    case look::good:
        return has_colours ? COLOR_PAIR(GREEN) : A_NORMAL;
    case look::bad:
        return has_colours ? COLOR_PAIR(RED) | A_BOLD : A_BOLD;
    case look::plain:
        break;
    }
    return A_NORMAL;
}

} // namespace

live_screen::live_screen()
{
    setlocale(LC_CTYPE, "");
    has_blocks_ = strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
    termios before = {};
    tcgetattr(STDIN_FILENO, &before);
    const char *const name = getenv("TERM");
    if (newterm(nullptr, stdout, stdin) == nullptr || tigetstr("cup") == nullptr) {
        problem_ = std::string("TERM is \"") + (name != nullptr ? name : "") + "\", which is no screen";
        tcsetattr(STDIN_FILENO, TCSADRAIN, &before);
        return;
    }
    signal(SIGTSTP, SIG_DFL); // which curses has taken
    struct sigaction fault = {};
    fault.sa_handler = end_after_fault;
    fault.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int number : FAULTS) {
        sigaction(number, &fault, nullptr);
    }
    const char *const plain = getenv("NO_COLOR");
    has_colours_ = has_colors() && (plain == nullptr || *plain == '\0');
    if (has_colours_) {
        start_color();
        use_default_colors();
        init_pair(GREEN, COLOR_GREEN, -1);
        init_pair(RED, COLOR_RED, -1);
    }
    cbreak();
    noecho();
    set_escdelay(ESCAPE_MS);
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    curs_set(0);
}

live_screen::~live_screen()
{
    if (problem_.empty()) {
        leave();
    }
}

void live_screen::leave()
{
    if (!isendwin()) {
        endwin();
    }
}

void live_screen::stop()
{
    leave();
    sigset_t stops;
    sigemptyset(&stops);
    sigaddset(&stops, SIGTSTP);
    raise(SIGTSTP);
    sigprocmask(SIG_UNBLOCK, &stops, nullptr); // here it stops
    sigprocmask(SIG_BLOCK, &stops, nullptr);
}

int live_screen::next_key()
{
    return getch();
}

void live_screen::draw(const board &shown, size_t history)
{
    winsize now = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &now) == 0 && now.ws_col > 0 && now.ws_row > 0 &&
        is_term_resized(now.ws_row, now.ws_col)) {
        resizeterm(now.ws_row, now.ws_col);
    }
    erase();
    int row = 0;
    for (const view_line &it : view_of(shown, {COLS, LINES, has_blocks_, history})) {
        draw_line(row++, it);
    }
    refresh();
}

void live_screen::draw_line(int row, const view_line &line) const
{
    move(row, 0);
    int left = COLS;
    for (const piece &it : line) {
        std::string bytes = it.text;
        if (!has_blocks_) {
            std::ranges::replace_if(
                bytes, [](char one) { return (one & 0x80) != 0; }, '?');
        }
        std::wstring text(bytes.size(), L'\0');
        const size_t length = mbstowcs(text.data(), bytes.c_str(), bytes.size());
        text.resize(std::min({length, text.size(), static_cast<size_t>(left)}));
        while (wcswidth(text.c_str(), text.size()) > left) {
            text.pop_back();
        }
        attrset(static_cast<int>(attributes_of(it.as, has_colours_)));
        addnwstr(text.c_str(), static_cast<int>(text.size()));
        left -= std::max(wcswidth(text.c_str(), text.size()), 0);
    }
}
