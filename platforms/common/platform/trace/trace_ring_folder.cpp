#include "platform/trace/trace_ring_folder.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <tuple>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/trace/trace_ring_file.h"
#include "platform/wait.h"

namespace {

constexpr std::string_view PREFIX = "kelvane_trace.";
constexpr time_t UNBORN_S = 60; // until this old, a file without a header is not taken for a leftover

// Takes "<digits>." off the front.
template <typename number> bool take_number(std::string_view *text, number *out)
{
    const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), *out);
    if (error != std::errc{} || *out < 0 || end == text->data() + text->size() || *end != '.') {
        return false;
    }
    text->remove_prefix(static_cast<size_t>(end - text->data()) + 1);
    return true;
}

bool parse_file_name(const char *file, int32_t *pid, uint32_t *index)
{
    std::string_view rest = file;
    int64_t number = 0;
    if (!rest.starts_with(PREFIX)) {
        return false;
    }
    rest.remove_prefix(PREFIX.size());
    if (!take_number(&rest, pid) || !take_number(&rest, &number) || number > UINT32_MAX) {
        return false;
    }
    *index = static_cast<uint32_t>(number);
    return trace_ring_name_is_plain(rest.data()); // the rest ends where the file's name does
}

int file_names(const std::string &folder, std::vector<std::string> *out)
{
    DIR *entries = opendir(folder.c_str());
    if (entries == nullptr) {
        return errno;
    }
    int error = 0;
    for (;;) {
        errno = 0;
        const dirent *entry = readdir(entries);
        if (entry == nullptr) {
            error = errno;
            break;
        }
        int32_t pid = 0;
        uint32_t index = 0;
        if (parse_file_name(entry->d_name, &pid, &index)) {
            out->push_back(entry->d_name);
        }
    }
    closedir(entries);
    return error;
}

// The files of dead processes, each locked by us until it is closed, so that nobody else judges it.
struct dead_file {
    std::string path;
    int fd;
    int32_t pid;
    uint64_t process_start_ns;
    uint64_t last_ns; // 0: without a header
};

bool is_old(const struct stat &status)
{
    timespec now{};
    return wait_realtime(&now) == 0 && now.tv_sec - status.st_mtim.tv_sec > UNBORN_S;
}

// From before the clock was set back; it must not pass for the newest for ever.
bool is_in_the_future(uint64_t time_ns)
{
    timespec now{};
    return wait_realtime(&now) == 0 && time_ns / WAIT_NS_PER_S > static_cast<uint64_t>(now.tv_sec);
}

// Opens and locks the file when it is a dead process's and may be judged; fd is -1 otherwise.
dead_file take_dead(const std::string &folder, uint32_t user, const std::string &name)
{
    dead_file file{folder + "/" + name, -1, 0, 0, 0};
    uint32_t index = 0;
    parse_file_name(name.c_str(), &file.pid, &index);
    const int fd = open(file.path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) {
        return file;
    }
    struct stat status {};
    if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) || status.st_uid != user ||
        flock(fd, LOCK_EX | LOCK_NB) != 0) {
        close(fd);
        return file;
    }
    trace_ring_header header{};
    if (trace_ring_file_read_header(fd, &header) == 0) {
        file.process_start_ns = header.process_start_ns;
        file.last_ns = is_in_the_future(header.last_ns) ? 1 : std::max<uint64_t>(header.last_ns, 1);
    } else if (!is_old(status)) {
        close(fd); // its owner may be about to lock it
        return file;
    }
    file.fd = fd;
    return file;
}

std::vector<dead_file> take_all_dead(const std::string &folder, int *error)
{
    std::vector<std::string> names;
    std::vector<dead_file> dead;
    *error = file_names(folder, &names);
    for (const std::string &name : names) {
        dead_file file = take_dead(folder, geteuid(), name);
        if (file.fd >= 0) {
            dead.push_back(std::move(file));
        }
    }
    return dead;
}

// Of whom the open file is, or the one of that name that could not be opened.
uint32_t owner_of(const trace_ring_file &file, const std::string &path)
{
    struct stat status {};
    const bool known = (file.fd >= 0 ? fstat(file.fd, &status) : lstat(path.c_str(), &status)) == 0;
    return known ? status.st_uid : geteuid();
}

// Only if the name still stands for the file that was judged.
int remove_file(const dead_file &file)
{
    struct stat judged {
    }, named{};
    if (fstat(file.fd, &judged) != 0 || lstat(file.path.c_str(), &named) != 0) {
        return errno;
    }
    if (judged.st_dev != named.st_dev || judged.st_ino != named.st_ino) {
        return ENOENT;
    }
    return unlink(file.path.c_str()) == 0 ? 0 : errno;
}

} // namespace

std::string trace_ring_folder()
{
    const char *wanted = secure_getenv(TRACE_RING_FOLDER_VARIABLE);
    return wanted != nullptr && wanted[0] != '\0' ? wanted : "/dev/shm";
}

std::string trace_ring_file_name(int32_t pid, uint32_t index, const char *name)
{
    return std::string(PREFIX) + std::to_string(pid) + "." + std::to_string(index) + "." + name;
}

int trace_ring_list(const std::string &folder, uint32_t user, trace_ring_listing *out)
{
    std::vector<std::string> names;
    const int error = file_names(folder, &names);
    *out = {};
    for (const std::string &name : names) {
        trace_ring_listed listed;
        trace_ring_file file;
        listed.path = folder + "/" + name;
        parse_file_name(name.c_str(), &listed.pid, &listed.index);
        const bool is_sound = trace_ring_file_open(listed.path, &file) == 0;
        const uint32_t owner = owner_of(file, listed.path);
        if (owner != user) {
            out->others.insert(owner);
        } else if (!is_sound) {
            out->unreadable++;
        } else {
            listed.alive = trace_ring_file_owner_lives(file.fd);
            listed.header = file.header;
            out->rings.push_back(std::move(listed));
        }
        trace_ring_file_close(&file);
    }
    std::ranges::sort(out->rings, [](const trace_ring_listed &left, const trace_ring_listed &right) {
        return std::tuple(right.header.process_start_ns, left.pid, left.index) <
               std::tuple(left.header.process_start_ns, right.pid, right.index);
    });
    return error;
}

void trace_ring_remove_dead(const std::string &folder)
{
    int error = 0; // a folder that cannot be read has nothing that could be removed
    const std::vector<dead_file> dead = take_all_dead(folder, &error);
    const auto last = std::max_element(dead.begin(), dead.end(), [](const auto &left, const auto &right) {
        return left.last_ns < right.last_ns;
    });
    for (const dead_file &file : dead) {
        const bool kept =
            file.last_ns != 0 && file.pid == last->pid && file.process_start_ns == last->process_start_ns;
        if (!kept) {
            remove_file(file); // what remains now goes at the next start
        }
    }
    for (const dead_file &file : dead) {
        close(file.fd);
    }
}

int trace_ring_remove(const std::string &folder, uint32_t user, int32_t pid)
{
    trace_ring_listing all;
    int error = trace_ring_list(folder, user, &all);
    if (error != 0) {
        return error;
    }
    std::erase_if(all.rings, [pid](const trace_ring_listed &listed) { return listed.pid != pid; });
    if (all.rings.empty()) {
        return ESRCH;
    }
    if (std::ranges::any_of(all.rings, &trace_ring_listed::alive)) {
        return EBUSY;
    }
    for (const trace_ring_listed &listed : all.rings) {
        const dead_file file = take_dead(folder, user, listed.path.substr(folder.size() + 1));
        const int result = file.fd < 0 ? EBUSY : remove_file(file);
        error = error != 0 ? error : result;
        if (file.fd >= 0) {
            close(file.fd);
        }
    }
    return error;
}
