#include "platform/device_owner.h"

#include <cerrno>

#include <fcntl.h>

namespace {

struct flock whole_file()
{
    struct flock it {};
    it.l_type = F_WRLCK;
    it.l_whence = SEEK_SET;
    return it;
}

} // namespace

int device_own(int fd)
{
    struct flock lock = whole_file();
    if (fcntl(fd, F_SETLK, &lock) == 0) {
        return 0;
    }
    return errno == EACCES || errno == EAGAIN ? EBUSY : errno;
}

int32_t device_owner(int fd)
{
    struct flock lock = whole_file();
    return fcntl(fd, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK ? lock.l_pid : 0;
}
