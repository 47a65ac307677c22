#ifndef TESTS_SUPPORT_FILE_SIZE_LIMIT_H
#define TESTS_SUPPORT_FILE_SIZE_LIMIT_H

#include <sys/resource.h>

// The process's limit on the size of files; RLIM_INFINITY for the highest there may be.
inline void limit_file_size(rlim_t bytes)
{
    rlimit limit;
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = bytes < limit.rlim_max ? bytes : limit.rlim_max;
    setrlimit(RLIMIT_FSIZE, &limit);
}

#endif
