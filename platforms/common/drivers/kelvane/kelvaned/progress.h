// Tells once a second how far an image or a programming has come.
#ifndef KELVANED_PROGRESS_H
#define KELVANED_PROGRESS_H

#include <chrono>
#include <cstdint>

#include <asio/steady_timer.hpp>

#include "control/dispatch.h"
#include "kelvaned/event_log.h"

class progress {
  public:
    progress(asio::io_context &loop, event_log &events) : events_(events), timer_(loop)
    {
    }

    // A job that runs alone begins: a download of the file `image`, another with -1.
    void begin(const request &request, int image);
    void end();

  private:
    void tell_later();
    json told() const;

    event_log &events_;
    asio::steady_timer timer_;
    const operation *operation_ = nullptr; // null while nothing runs alone
    json address_;
    kelvane_device_address device_ = 0;
    uint32_t kind_ = 0; // of the image
    uint64_t bytes_total_ = 0;
    uint64_t words_before_ = 0;
    std::chrono::steady_clock::time_point begun_;
};

#endif
