#include "device/word_file.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace {

void next_piece(word_file &it)
{
    ssize_t got;
    do {
        got = read(it.fd, it.piece, sizeof it.piece);
    } while (got < 0 && errno == EINTR);
    it.have = got < 0 ? 0 : static_cast<size_t>(got);
    it.next = 0;
}

} // namespace

int word_file_open(word_file &it, const char *name)
{
    it.fd = open(name, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    it.have = 0;
    it.next = 0;
    return it.fd < 0 ? errno : 0;
}

void word_file_close(word_file &it)
{
    close(it.fd);
    it.fd = -1;
}

int word_file_size(word_file &it, uint64_t *bytes)
{
    const off_t end = lseek(it.fd, 0, SEEK_END);
    if (end < 0 || lseek(it.fd, 0, SEEK_SET) != 0) {
        return errno;
    }
    *bytes = static_cast<uint64_t>(end);
    return 0;
}

size_t word_file_read_bytes(word_file &it, size_t wanted, uint32_t *word)
{
    *word = 0;
    size_t got = 0;
    while (got < wanted) {
        if (it.next == it.have) {
            next_piece(it);
        }
        if (it.have == 0) {
            break;
        }
        *word |= static_cast<uint32_t>(it.piece[it.next++]) << 8 * got++;
    }
    return got;
}
