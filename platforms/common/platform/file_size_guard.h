// The process's limit on the size of files (RLIMIT_FSIZE, ulimit -f) is a full disk, and not the end of it.
#ifndef PLATFORM_FILE_SIZE_GUARD_H
#define PLATFORM_FILE_SIZE_GUARD_H

#include <csignal>

// While one lives, what its thread writes beyond the limit fails with EFBIG and no more: the signal that
// comes along with it, SIGXFSZ, is taken back. Leaves errno alone. Three system calls.
class file_size_guard {
  public:
    file_size_guard();
    ~file_size_guard();
    file_size_guard(const file_size_guard &) = delete;

    // No write failed, so that no signal came: a system call less.
    void all_written()
    {
        may_have_come_ = false;
    }

  private:
    sigset_t before_;
    bool may_have_come_ = true;
};

#endif
