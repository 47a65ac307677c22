// A program as a process: its input is written as the test goes, its output collected as it comes.
#ifndef TESTS_CARD_PROCESS_H
#define TESTS_CARD_PROCESS_H

#include <string>
#include <sys/types.h>
#include <vector>

class process {
  public:
    // `environment` is added to the test's own, "NAME=value" each.
    process(std::vector<std::string> words, std::vector<std::string> environment);
    ~process(); // ends it, if it runs
    process(const process &) = delete;
    process &operator=(const process &) = delete;

    void write(const std::string &text);

    // Until `text` stands in the output, behind what earlier calls found. False, with a failure noted, when
    // the program ended or said nothing of it for 60 seconds.
    bool wait_for_output(const std::string &text);

    pid_t pid() const
    {
        return pid_;
    }

    // Exit status, or minus the signal. The program has 60 seconds to end by itself.
    int wait();
    int kill(); // without giving it a chance

    std::string out; // standard output so far
    std::string err; // standard error so far

  private:
    bool collect(); // false once both streams have ended, or nothing came in time
    int reap();

    pid_t pid_;
    int input_;
    int output_;
    int error_;
    size_t found_ = 0;
};

#endif
