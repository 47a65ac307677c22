#include "platform/file_size_guard.h"

#include <cerrno>
#include <ctime>

namespace {

sigset_t only_this_signal()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGXFSZ);
    return signals;
}

} // namespace

file_size_guard::file_size_guard()
{
    const int callers_errno = errno;
    const sigset_t signals = only_this_signal();
    pthread_sigmask(SIG_BLOCK, &signals, &before_);
    if (sigismember(&before_, SIGXFSZ) == 1) { // then one may be pending that is not ours to take
        sigset_t pending;
        may_have_come_ = sigpending(&pending) == 0 && sigismember(&pending, SIGXFSZ) == 0;
    }
    errno = callers_errno;
}

file_size_guard::~file_size_guard()
{
    const int callers_errno = errno;
    if (may_have_come_) {
        const sigset_t signals = only_this_signal();
        const timespec at_once = {};
        sigtimedwait(&signals, nullptr, &at_once);
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    errno = callers_errno;
}
