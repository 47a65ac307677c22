// What no event of the card carries: inventories, versions, which modules are there and which lasers are on.
// Read when the link is up, again whenever something may have changed it, and kept.
#ifndef KELVANED_READINGS_H
#define KELVANED_READINGS_H

#include <functional>
#include <vector>

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>

#include "kelvaned/jobs.h"

enum class reading_kind {
    presence, // of a module, without which nothing else of it is read
    state,    // what requests and people change
    identity, // what a plug-in or a new image changes
    counts,   // what moves by itself
};

struct reading { // NOLINT(bugprone-exception-escape): what json says of its own moves
    const operation *what;
    reading_kind kind;
    kelvane_device_address address;
    json value = nullptr;      // its result; null: not known
    bool was_there = false;    // the module, when its presence was last known
    bool is_due = false;       // to be read, again if it is being read
    bool is_under_way = false; // being read
    bool has_failed = false;   // to be tried again later
};

// One thread, the loop's. Lives as long as the process.
class readings {
  public:
    readings(asio::io_context &loop, jobs &jobs, host_kind kind);

    // The presence of a module, or its laser, is another than it was.
    std::function<void(kelvane_device_address module)> module_changed;

    // The link is up: reads all.
    void begin();

    // The firmware is not heard of: what its state is, is not known.
    void end();

    // A module was put in or pulled out; perhaps, where the address names none, any of them.
    void plugged(kelvane_device_address address);

    // A request that did more than read has ended.
    void changed(const operation &operation, kelvane_device_address address);

    // In the order of reading.
    const std::vector<reading> &all() const
    {
        return all_;
    }

    // Whether a module is known to be there.
    bool has_module(kelvane_device_address module) const;

    // By address in words, whether a module is there and its laser on; null for what is not known.
    json modules() const;
    json module(kelvane_device_address address) const;

  private:
    void want(kelvane_device_address address, bool also_identity);
    bool can_be_known(const reading &it) const;
    void read_due();
    void heard(reading &it, outcome &&done);
    void set(reading &it, json value);
    void look_again_later();

    jobs &jobs_;
    host_kind kind_;
    asio::steady_timer again_;
    std::vector<reading> all_;
    bool is_up_ = false;
};

#endif
