// Prints the trace rings of a process, while it runs or after it died.
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include <getopt.h>
#include <unistd.h>

#include "platform/trace/trace_ring_file.h"
#include "platform/trace/trace_ring_folder.h"
#include "platform/wait.h"

namespace {

enum exit_status { DONE = 0, FAILED = 1, MISUSED = 2 };

constexpr uint64_t FOLLOW_PAUSE_NS = WAIT_NS_PER_S / 5;

constexpr char HELP[] =
    "Usage: trace_ring_reader [options] [PID]\n"
    "Prints the trace rings of a process, all of them merged in the order of time. Without PID it takes\n"
    "the process that started last, alive or dead, and says which one that is.\n"
    "\n"
    "  -r, --ring NAME    only this ring; may be repeated\n"
    "  -l, --level WORD   only the ring of ERROR, INFO, ALARM, PM, DEBUG, REG or LOWPR; may be repeated\n"
    "  -n, --last N       only the last N entries\n"
    "  -f, --follow       go on with new entries until the process ends\n"
    "      --list         list the rings instead, without PID those of all processes\n"
    "      --remove PID   remove the rings of a dead process\n"
    "  -u, --user NUMBER  the rings of this user; without it your own, since a file of another user's can\n"
    "                     carry the id of any process\n"
    "  -h, --help         this text\n"
    "\n"
    "The rings lie in /dev/shm, or in the folder that KELVANE_TRACE_DIR names.\n"
    "Exit status: 0 done, 1 failed or nothing found, 2 wrong usage.\n";

constexpr struct {
    const char *word;
    const char *ring;
} LEVELS[] = {
    {"ERROR", "KELVANE_ERR__"}, {"INFO", "KELVANE_INFO_"},  {"ALARM", "KELVANE_ALARM"},
    {"PM", "KELVANE_PM___"},    {"DEBUG", "KELVANE_DEBUG"}, {"REG", "KELVANE_REG__"},
    {"LOWPR", "KELVANE_LOWPR"},
};

struct wishes {
    std::vector<std::string> rings; // empty: all
    int32_t pid = -1;               // -1: the newest
    int32_t remove_pid = -1;
    size_t last = SIZE_MAX;
    uint32_t user = geteuid();
    bool follow = false;
    bool list = false;
    bool help = false;
};

struct open_ring {
    trace_ring_file file;
    uint64_t next = 0;                // first ticket that was not printed yet, for --follow
    uint64_t held_up_by = UINT64_MAX; // a ticket that was not complete at the last look
};

// Reported on the other stream, in its place among the lines.
__attribute__((format(printf, 1, 2))) void say(const char *format, ...)
{
    fflush(stdout);
    fputs("trace_ring_reader: ", stderr);
    va_list arguments;
    va_start(arguments, format);
    vfprintf(stderr, format, arguments);
    va_end(arguments);
    fputc('\n', stderr);
}

template <typename number> bool parse_number(const char *text, number *out)
{
    const char *end = text + strlen(text);
    const auto [stop, error] = std::from_chars(text, end, *out);
    return error == std::errc{} && stop == end && *out >= 0;
}

std::string local_time(uint64_t time_ns)
{
    const auto seconds = static_cast<time_t>(time_ns / WAIT_NS_PER_S);
    tm parts{};
    char text[64];
    if (localtime_r(&seconds, &parts) == nullptr || strftime(text, sizeof text, "%F %T", &parts) == 0) {
        return "(no time)";
    }
    char fraction[16];
    snprintf(fraction, sizeof fraction, ".%06u", static_cast<unsigned>(time_ns % WAIT_NS_PER_S / 1000));
    return std::string(text) + fraction;
}

void print_line(const trace_ring_header &ring, const trace_ring_line &line)
{
    const uint32_t address = line.entry.device_address;
    printf("%s %-13s Slot:%02d [d:%03u|n:%03u|h:%03u] tid=%d %s: %s\n",
           local_time(line.entry.time_ns).c_str(), ring.name, line.entry.slot, address >> 16 & 0xFF,
           address >> 8 & 0xFF, address & 0xFF, line.entry.thread, line.function.c_str(),
           line.message.c_str());
}

bool add_level(const char *word, wishes *out)
{
    for (const auto &level : LEVELS) {
        if (std::string_view(word) == level.word) {
            out->rings.push_back(level.ring);
            return true;
        }
    }
    say("no level %s", word);
    return false;
}

bool bad_number(const char *option, const char *text)
{
    say("%s needs a number, not %s", option, text);
    return false;
}

bool parse_wishes(int argc, char **argv, wishes *out)
{
    enum { LIST = 256, REMOVE };
    static const option long_options[] = {
        {"ring", required_argument, nullptr, 'r'},
        {"level", required_argument, nullptr, 'l'},
        {"last", required_argument, nullptr, 'n'},
        {"follow", no_argument, nullptr, 'f'},
        {"list", no_argument, nullptr, LIST},
        {"remove", required_argument, nullptr, REMOVE},
        {"user", required_argument, nullptr, 'u'},
        {"help", no_argument, nullptr, 'h'},
        {nullptr, 0, nullptr, 0},
    };
    for (int letter = 0; (letter = getopt_long(argc, argv, "r:l:n:u:fh", long_options, nullptr)) != -1;) {
        switch (letter) {
        case 'r':
            out->rings.push_back(optarg);
            break;
        case 'l':
            if (!add_level(optarg, out)) {
                return false;
            }
            break;
        case 'n':
            if (!parse_number(optarg, &out->last)) {
                return bad_number("--last", optarg);
            }
            break;
        case 'f':
            out->follow = true;
            break;
        case LIST:
            out->list = true;
            break;
        case REMOVE:
            if (!parse_number(optarg, &out->remove_pid)) {
                return bad_number("--remove", optarg);
            }
            break;
        case 'u':
            if (!parse_number(optarg, &out->user)) {
                return bad_number("--user", optarg);
            }
            break;
        case 'h':
            out->help = true;
            break;
        default:
            return false; // getopt_long said why
        }
    }
    if (optind < argc && !parse_number(argv[optind++], &out->pid)) {
        return bad_number("PID", argv[optind - 1]);
    }
    if (optind < argc) {
        say("one PID only");
        return false;
    }
    return true;
}

exit_status remove_rings(const std::string &folder, uint32_t user, int32_t pid)
{
    const int error = trace_ring_remove(folder, user, pid);
    switch (error) {
    case 0:
        return DONE;
    case ESRCH:
        say("no rings of process %d in %s", pid, folder.c_str());
        return FAILED;
    case EBUSY:
        say("process %d is alive, its rings stay", pid);
        return FAILED;
    default:
        say("can't remove the rings of process %d: %s", pid, strerror(error));
        return FAILED;
    }
}

void print_list(const std::vector<trace_ring_listed> &rings)
{
    printf("%7s %-5s %-16s %-26s %-31s %12s %8s %8s\n", "PID", "STATE", "PROGRAM", "STARTED", "RING",
           "WRITTEN", "PLACES", "DROPPED");
    for (const trace_ring_listed &ring : rings) {
        printf("%7d %-5s %-16s %-26s %-31s %12" PRIu64 " %8" PRIu32 " %8" PRIu64 "\n", ring.pid,
               ring.alive ? "alive" : "dead", ring.header.program,
               local_time(ring.header.process_start_ns).c_str(), ring.header.name, ring.header.next,
               ring.header.capacity, ring.header.dropped);
    }
}

// Leaves the wished rings of one process: the one that started last of those that have the wished id.
void choose(const wishes &wished, std::vector<trace_ring_listed> *rings)
{
    if (wished.pid >= 0) {
        std::erase_if(*rings, [&](const auto &ring) { return ring.pid != wished.pid; });
    }
    if (!rings->empty()) {
        const auto [pid, start] = std::tuple(rings->front().pid, rings->front().header.process_start_ns);
        std::erase_if(*rings, [pid = pid, start = start](const auto &ring) {
            return ring.pid != pid || ring.header.process_start_ns != start;
        });
    }
}

bool is_wished(const wishes &wished, const char *ring)
{
    return wished.rings.empty() ||
           std::find(wished.rings.begin(), wished.rings.end(), ring) != wished.rings.end();
}

bool open_rings(const std::vector<trace_ring_listed> &listed, const wishes &wished,
                std::vector<open_ring> *out)
{
    bool all = true;
    for (const trace_ring_listed &ring : listed) {
        if (!is_wished(wished, ring.header.name)) {
            continue;
        }
        open_ring opened;
        const int error = trace_ring_file_open(ring.path, &opened.file);
        if (error != 0) {
            say("%s: %s", ring.path.c_str(), strerror(error));
            all = false;
            continue;
        }
        out->push_back(opened);
    }
    for (const std::string &name : wished.rings) {
        if (std::none_of(out->begin(), out->end(),
                         [&](const auto &ring) { return ring.file.header.name == name; })) {
            say("no ring %s of process %d", name.c_str(), listed.front().pid);
            all = false;
        }
    }
    return all;
}

void say_lost(uint64_t lost)
{
    if (lost > 0) {
        say("%" PRIu64 " entries were overwritten before they could be read", lost);
    }
}

// Two passes, the times first: the entries of all rings at once would be hundreds of megabytes.
bool print_merged(std::vector<open_ring> *rings, size_t last)
{
    struct place {
        uint64_t time_ns;
        size_t ring;
        trace_ring_mark mark;
    };
    std::vector<place> places;
    bool all = true;
    for (size_t i = 0; i < rings->size(); i++) {
        open_ring &ring = (*rings)[i];
        std::vector<trace_ring_mark> marks;
        const int error = trace_ring_file_marks(ring.file, &marks);
        if (error != 0) {
            say("ring %s: %s", ring.file.header.name, strerror(error));
            all = false;
        }
        for (const trace_ring_mark &mark : marks) {
            places.push_back({mark.time_ns, i, mark});
        }
        ring.next = marks.empty() ? 0 : marks.back().ticket + 1;
    }
    std::sort(places.begin(), places.end(), [](const place &left, const place &right) {
        return std::tuple(left.time_ns, left.ring, left.mark.ticket) <
               std::tuple(right.time_ns, right.ring, right.mark.ticket);
    });
    uint64_t lost = 0;
    trace_ring_line line;
    for (size_t i = places.size() - std::min(last, places.size()); i < places.size(); i++) {
        const trace_ring_file &file = (*rings)[places[i].ring].file;
        if (trace_ring_file_read(file, places[i].mark.ticket, places[i].mark.place, &line) ==
            trace_ring_reading::complete) {
            print_line(file.header, line);
        } else {
            lost++;
        }
    }
    say_lost(lost);
    return all;
}

struct new_line {
    size_t ring;
    trace_ring_line line;
};

// What a ring has got since the last look. A ticket that is not complete holds up those after it for
// one look, then it is skipped: its writer dropped it, or died.
uint64_t collect_new(size_t index, open_ring *ring, std::vector<new_line> *out)
{
    if (trace_ring_file_read_header(ring->file.fd, &ring->file.header) != 0) {
        return 0;
    }
    const trace_ring_header &header = ring->file.header;
    uint64_t lost = 0;
    if (header.next > ring->next && header.next - ring->next > header.capacity) {
        lost = header.next - ring->next - header.capacity;
        ring->next += lost;
    }
    for (; ring->next < header.next; ring->next++) {
        new_line added{index, {}};
        const auto place = static_cast<uint32_t>(ring->next % header.capacity);
        const trace_ring_reading reading = trace_ring_file_read(ring->file, ring->next, place, &added.line);
        if (reading == trace_ring_reading::complete) {
            out->push_back(std::move(added));
        } else if (reading == trace_ring_reading::pending && ring->held_up_by != ring->next) {
            ring->held_up_by = ring->next;
            break;
        } else {
            lost += reading == trace_ring_reading::lost ? 1 : 0;
        }
    }
    return lost;
}

bool follow(std::vector<open_ring> *rings, int32_t pid)
{
    bool alive = true;
    while (alive && fflush(stdout) == 0) {
        wait_sleep(FOLLOW_PAUSE_NS);
        alive = std::any_of(rings->begin(), rings->end(),
                            [](const auto &ring) { return trace_ring_file_owner_lives(ring.file.fd); });
        std::vector<new_line> lines;
        uint64_t lost = 0;
        // A dead process completes nothing more: the second look skips what it left half done.
        for (int look = 0; look < (alive ? 1 : 2); look++) {
            for (size_t i = 0; i < rings->size(); i++) {
                lost += collect_new(i, &(*rings)[i], &lines);
            }
        }
        std::stable_sort(lines.begin(), lines.end(), [](const new_line &left, const new_line &right) {
            return left.line.entry.time_ns < right.line.entry.time_ns;
        });
        for (const new_line &added : lines) {
            print_line((*rings)[added.ring].file.header, added.line);
        }
        say_lost(lost);
    }
    if (!alive) {
        say("process %d has ended", pid);
    }
    return !alive;
}

exit_status print_rings(const wishes &wished, const std::vector<trace_ring_listed> &listed)
{
    const trace_ring_listed &first = listed.front();
    say("process %d (%s), %s, started %s", first.pid, first.header.program, first.alive ? "alive" : "dead",
        local_time(first.header.process_start_ns).c_str());
    std::vector<open_ring> rings;
    bool good = open_rings(listed, wished, &rings);
    if (!rings.empty()) {
        good = print_merged(&rings, wished.last) && good;
        if (wished.follow) {
            good = follow(&rings, first.pid) && good;
        }
    }
    for (open_ring &ring : rings) {
        trace_ring_file_close(&ring.file);
    }
    return good ? DONE : FAILED;
}

void say_left_out(const std::set<uint32_t> &others)
{
    for (const uint32_t user : others) {
        say("those of user %u are left out; --user %u takes them", user, user);
    }
}

exit_status serve(const wishes &wished)
{
    if (wished.help) {
        fputs(HELP, stdout);
        return DONE;
    }
    const std::string folder = trace_ring_folder();
    if (wished.user != geteuid()) {
        say("rings of user %u", wished.user);
    }
    if (wished.remove_pid >= 0) {
        return remove_rings(folder, wished.user, wished.remove_pid);
    }
    trace_ring_listing listing;
    std::vector<trace_ring_listed> &rings = listing.rings;
    const int error = trace_ring_list(folder, wished.user, &listing);
    if (listing.unreadable > 0) {
        say("%u files in %s are no sound rings or not yours to read", listing.unreadable, folder.c_str());
    }
    if (error != 0) {
        say("%s: %s", folder.c_str(), strerror(error));
        return FAILED;
    }
    if (!wished.list || wished.pid >= 0) {
        choose(wished, &rings);
    }
    if (wished.list || rings.empty()) {
        say_left_out(listing.others);
    }
    if (rings.empty()) {
        const std::string whose = wished.pid >= 0 ? " of process " + std::to_string(wished.pid) : "";
        say("no rings%s in %s", whose.c_str(), folder.c_str());
        return FAILED;
    }
    if (wished.list) {
        std::erase_if(rings, [&](const auto &ring) { return !is_wished(wished, ring.header.name); });
        print_list(rings);
        return DONE;
    }
    return print_rings(wished, rings);
}

} // namespace

int main(int argc, char **argv)
{
    wishes wished;
    if (!parse_wishes(argc, argv, &wished)) {
        fputs("Try trace_ring_reader --help\n", stderr);
        return MISUSED;
    }
    const exit_status status = serve(wished);
    if (fflush(stdout) != 0 || ferror(stdout) != 0) {
        perror("trace_ring_reader: writing");
        return FAILED;
    }
    return status;
}
