// A separate process for the body of a test.
#ifndef TESTS_CLIENT_RUN_CHILD_H
#define TESTS_CLIENT_RUN_CHILD_H

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

struct child_result {
    int status;       // exit status, or minus the signal that ended it
    std::string text; // standard output and standard error in the order of their writing
};

// Runs `body` with `input` as standard input; its result is the exit status. Output beyond 1 MiB ends it.
template <typename function> child_result run_child(const std::string &input, function body)
{
    FILE *const in = tmpfile();
    FILE *const out = tmpfile();
    fwrite(input.data(), 1, input.size(), in);
    rewind(in);
    fflush(nullptr); // or the child prints it as well
    const pid_t child = fork();
    if (child == 0) {
        const rlimit limit = {1 << 20, 1 << 20};
        setrlimit(RLIMIT_FSIZE, &limit);
        dup2(fileno(in), STDIN_FILENO);
        dup2(fileno(out), STDOUT_FILENO);
        dup2(fileno(out), STDERR_FILENO);
        exit(body());
    }
    int status = -1;
    waitpid(child, &status, 0);
    std::string text(static_cast<size_t>(lseek(fileno(out), 0, SEEK_END)), '\0');
    rewind(out);
    text.resize(fread(text.data(), 1, text.size(), out));
    fclose(in);
    fclose(out);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), text};
}

#endif
