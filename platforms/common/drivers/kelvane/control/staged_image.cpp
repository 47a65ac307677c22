#include "control/staged_image.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "control/descriptor_passing.h"

namespace {

constexpr off_t IMAGE_BYTES_MAX = 33553403; // what the card's memory holds beside the digest
constexpr size_t PIECE = 1 << 16;

std::string told(const char *what)
{
    return std::string(what) + ": " + strerror(errno);
}

// A full disk may show only here.
bool finish(int fd)
{
    return close(fd) == 0;
}

std::string copy_bytes(int from, int to, off_t bytes)
{
    std::vector<char> piece(PIECE);
    for (off_t at = 0; at < bytes;) {
        const ssize_t got =
            pread(from, piece.data(), std::min<size_t>(PIECE, static_cast<size_t>(bytes - at)), at);
        if (got < 0) {
            return told("cannot be read");
        }
        if (got == 0) {
            return "became shorter while it was copied";
        }
        if (!write_all(to, {piece.data(), static_cast<size_t>(got)})) {
            return told("cannot be copied");
        }
        at += got;
    }
    return "";
}

int make_file(const std::string &path)
{
    return open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
}

} // namespace

staged_image::~staged_image()
{
    if (!folder_.empty()) {
        unlink(path_.c_str());
        unlink((path_ + ".md5").c_str());
        rmdir(folder_.c_str());
    }
}

std::string staged_image::copy(int fd, const std::string &digest)
{
    struct stat status = {};
    if (fd < 0 || fstat(fd, &status) != 0) {
        return "is missing: its open file has to come along";
    }
    if (!S_ISREG(status.st_mode)) {
        return "is no regular file";
    }
    if (status.st_size == 0 || status.st_size > IMAGE_BYTES_MAX) {
        return "has " + std::to_string(status.st_size) + " bytes; it may have 1 to " +
               std::to_string(IMAGE_BYTES_MAX);
    }
    const char *const place = getenv("TMPDIR");
    std::string name = std::string(place != nullptr ? place : "/tmp") + "/kelvane_image.XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        return told("cannot be copied");
    }
    folder_ = name;
    path_ = name + "/image";
    const int image = make_file(path_);
    std::string problem = image < 0 ? told("cannot be copied") : copy_bytes(fd, image, status.st_size);
    if (image >= 0 && !finish(image) && problem.empty()) {
        problem = told("cannot be copied");
    }
    if (!problem.empty()) {
        return problem;
    }
    const int text = make_file(path_ + ".md5");
    const bool is_written = text >= 0 && write_all(text, {digest.data(), digest.size()});
    const bool is_closed = text >= 0 && finish(text);
    return is_written && is_closed ? "" : told("cannot be copied");
}
