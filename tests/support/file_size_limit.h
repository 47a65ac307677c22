// The process's limit on the size of files, while it lives.
#ifndef TESTS_SUPPORT_FILE_SIZE_LIMIT_H
#define TESTS_SUPPORT_FILE_SIZE_LIMIT_H

#include <sys/resource.h>

class file_size_limit {
  public:
    explicit file_size_limit(rlim_t bytes)
    {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit = {bytes, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~file_size_limit()
    {
        setrlimit(RLIMIT_FSIZE, &before_);
    }
    file_size_limit(const file_size_limit &) = delete;

  private:
    rlimit before_;
};

#endif
