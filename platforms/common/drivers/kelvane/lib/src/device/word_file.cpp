#include "device/word_file.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace {

void next_piece(word_file &file)
{
    ssize_t got;
    do {
        got = read(file.fd, file.piece, sizeof file.piece);
    } while (got < 0 && errno == EINTR);
    file.have = got < 0 ? 0 : static_cast<size_t>(got);
    file.next = 0;
}

} // namespace

int word_file_open(word_file &file, const char *name)
{
    file.fd = open(name, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    file.have = 0;
    file.next = 0;
    return file.fd < 0 ? errno : 0;
}

void word_file_close(word_file &file)
{
    close(file.fd);
    file.fd = -1;
}

int word_file_size(word_file &file, uint64_t *bytes)
{
    const off_t end = lseek(file.fd, 0, SEEK_END);
    if (end < 0 || lseek(file.fd, 0, SEEK_SET) != 0) {
        return errno;
    }
    *bytes = static_cast<uint64_t>(end);
    return 0;
}

size_t word_file_read_bytes(word_file &file, size_t wanted, uint32_t *word)
{
    *word = 0;
    size_t got = 0;
    while (got < wanted) {
        if (file.next == file.have) {
            next_piece(file);
        }
        if (file.have == 0) {
            break;
        }
        *word |= static_cast<uint32_t>(file.piece[file.next++]) << 8 * got++;
    }
    return got;
}
