#include "card_simulator/process/event_loop.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>

void event_loop_watch(event_loop &loop, const watch &watch)
{
    loop.watches.push_back(watch);
}

void event_loop_forget(event_loop &loop, int fd)
{
    std::erase_if(loop.watches, [fd](const watch &it) { return it.fd == fd; });
}

int event_loop_turn(event_loop &loop)
{
    std::vector<pollfd> fds;
    for (const watch &it : loop.watches) {
        fds.push_back({it.fd, POLLIN, 0});
    }
    if (poll(fds.data(), fds.size(), -1) < 0) {
        return errno == EINTR ? 0 : errno;
    }
    for (const pollfd &fd : fds) {
        if (fd.revents == 0) {
            continue;
        }
        // A handler called before this one may have ended its watch.
        const auto it =
            std::ranges::find_if(loop.watches, [&fd](const watch &watch) { return watch.fd == fd.fd; });
        if (it != loop.watches.end()) {
            const watch found = *it;
            found.ready(found.self, found.fd);
        }
    }
    return 0;
}
