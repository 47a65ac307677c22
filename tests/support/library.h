// The library in a test: a host tree and rings of its own, virtual time, a log file to look into.
#ifndef TESTS_SUPPORT_LIBRARY_H
#define TESTS_SUPPORT_LIBRARY_H

#include <gtest/gtest.h>

#include "background/low_priority_thread.h"
#include "core/handle.h"
#include "core/mutex.h"
#include "support/handshake.h"
#include "support/promises.h"
#include "support/temporary_folder.h"
#include "support/virtual_time.h"

inline sirane_link &sirane_0 = local_handles_array[0].sirane[0];

class library_test : public testing::Test {
  protected:
    library_test();
    ~library_test() override;

    std::string log_path() const; // of the file that turns the log on when the driver is initialised
    std::string log_text() const;

    // "LEVEL function: message" of each line written to the log since the last call.
    std::vector<std::string> log_lines();
    bool log_contains(const std::string &text) const; // anywhere, from the start

    // What `function` wrote to the log since the last call of either, a '|' behind each message.
    std::string said(const std::string &function);

    host_folder folder;
    virtual_time time;

  private:
    size_t log_seen_ = 0;
};

// The library at work: its log on, the gate open without a link-up, and a firmware that answers on sirane 0.
class firmware_test : public library_test {
  protected:
    // `device` has the application's callbacks.
    explicit firmware_test(const kelvane_init_device_t &device = recorded_bar_device());

    // What the card puts into a mailbox, and the pass of the thread that serves it.
    int32_t deliver(uint32_t mbox, const std::vector<uint32_t> &header, const std::vector<uint32_t> &data);

    // Of the last access, as told() has it.
    static std::string accesses()
    {
        return the_bar.told();
    }

    // The result of an operation and its accesses, which are the last ones: "0 r1c00004 w1c00000=2".
    static std::string did(int32_t rc)
    {
        return std::to_string(rc) + " " + accesses();
    }

    // A wait for a mailbox of sirane 0 ends after a second, 2,000 polls, instead of 300.
    static void shorten_waits();

    // Passes of the library's low-priority thread, one behind the other.
    void background_passes(int count);

    answering_firmware firmware;

  private:
    low_priority_state background_ = low_priority_start(0);
};

// The threads that were woken since the last call, by sirane and mailbox: "00 12 dap ".
std::string woken_threads();

// What the watch over the firmware is taken to have found.
void set_watch(uint32_t enabled, uint32_t status);

// The cases of a dense table, "given > expected; given > expected", as pairs.
std::vector<std::pair<std::string, std::string>> cases_of(const std::string &table);

#endif
