// The library in a test: a host tree and rings of its own, virtual time, a log file to look into.
#ifndef TESTS_SUPPORT_LIBRARY_H
#define TESTS_SUPPORT_LIBRARY_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "kelvane.h"
#include "support/recorded_bar.h"
#include "support/temporary_folder.h"
#include "support/virtual_time.h"

class library_test : public testing::Test {
  protected:
    library_test();
    ~library_test() override;

    // The log is off unless this is called before the driver is initialised.
    void turn_log_on();
    std::string log_path() const;
    std::string log_text() const;

    // "LEVEL function: message" of each line written to the log since the last call.
    std::vector<std::string> log_lines();
    bool log_has(const std::string &line); // of the lines that log_lines would give; takes them

    // kelvane_init_driver, and a device on the_bar with the gate open and no link-up made.
    void start_library();
    void open_gate();
    void close_gate();

    temporary_folder folder;
    virtual_time time;

  private:
    size_t log_seen_ = 0;
};

#endif
