#include "card_simulator/process/event_loop.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>

#include "platform/wait.h"

namespace {

constexpr int REST_MS = 50;
constexpr uint64_t REST_NS = REST_MS * UINT64_C(1000000);

watch *find(event_loop &loop, int fd)
{
    const auto it = std::ranges::find(loop.watches, fd, &watch::fd);
    return it != loop.watches.end() ? &*it : nullptr;
}

} // namespace

void event_loop_watch(event_loop &loop, const watch &watch)
{
    loop.watches.push_back(watch);
}

void event_loop_forget(event_loop &loop, int fd)
{
    std::erase_if(loop.watches, [fd](const watch &it) { return it.fd == fd; });
}

bool event_loop_rest(event_loop &loop, int fd)
{
    watch *it = find(loop, fd);
    const bool fresh = it->rests_until_ns == 0;
    it->rests_until_ns = wait_monotonic() + REST_NS;
    return fresh;
}

int event_loop_turn(event_loop &loop)
{
    std::vector<pollfd> fds;
    int limit_ms = -1;
    const uint64_t now_ns = wait_monotonic();
    for (const watch &it : loop.watches) {
        if (now_ns < it.rests_until_ns) {
            limit_ms = REST_MS;
        } else {
            fds.push_back({it.fd, POLLIN, 0});
        }
    }
    if (poll(fds.data(), fds.size(), limit_ms) < 0) {
        return errno == EINTR ? 0 : errno;
    }
    for (const pollfd &fd : fds) {
        // A handler called before this one may have ended its watch.
        const watch *it = fd.revents != 0 ? find(loop, fd.fd) : nullptr;
        if (it == nullptr) {
            continue;
        }
        const watch before = *it;
        before.ready(before.self, before.fd);
        watch *after = find(loop, fd.fd);
        if (after != nullptr && after->rests_until_ns == before.rests_until_ns) {
            after->rests_until_ns = 0; // this time it was dealt with
        }
    }
    return 0;
}
