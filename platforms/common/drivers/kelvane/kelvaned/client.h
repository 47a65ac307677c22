// One that is connected: its lines come in, answers and events go out, descriptors beside them.
#ifndef KELVANED_CLIENT_H
#define KELVANED_CLIENT_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>

#include <asio/local/stream_protocol.hpp>

#include "kelvaned/descriptor.h"
#include "kelvaned/line_reader.h"

constexpr size_t REQUESTS_MAX = 64;        // of a client, that are not answered
constexpr size_t UNREAD_EVENTS_MAX = 1024; // of a client

struct event_line {
    std::shared_ptr<const std::string> text;
    uint64_t seq;
};

// Lives until the other side has gone, or the last answer went to one that says no more. One thread.
class client : public std::enable_shared_from_this<client> {
  public:
    struct listener {
        // A line, and the descriptor that came with it.
        std::function<void(const std::shared_ptr<client> &, const std::string &line, bool is_too_long,
                           descriptor)>
            take;
        std::function<void(const std::shared_ptr<client> &)> ended;
        // The line that tells of lost events: how many, and the number of the last.
        std::function<std::string(uint64_t count, uint64_t seq)> loss;
    };

    client(asio::local::stream_protocol::socket socket, const listener &told);

    void start();

    // Instead of start: tells it why, and ends.
    void refuse(std::string line);

    // True when one more request may be under way; it is until its answer was written.
    bool begin_request();

    // Of a request that is not answered.
    void end_request();

    // Queues an answer, with the descriptor of a file or none. `is_of_request`: begin_request said yes to it.
    void answer(std::string line, descriptor file, bool is_of_request);

    // From now on events are sent; the oldest unread ones go when there are too many.
    void subscribe()
    {
        is_subscriber_ = true;
    }
    bool is_subscriber() const
    {
        return is_subscriber_;
    }
    // False when one of them was lost for it.
    bool send_event(const event_line &event);

    // Whether all that it is to be told has been written.
    bool has_heard_all() const
    {
        return writing_.empty() && answers_.empty() && events_.empty();
    }

  private:
    struct answer_line {
        std::string text;
        descriptor file;
        bool is_of_request;
    };

    void wait_readable();
    void read_some();
    void write_some();
    bool take_next();
    bool send_piece();
    void end();

    asio::local::stream_protocol::socket socket_;
    const listener &listener_;
    line_reader reader_;
    descriptor arrived_; // belongs to the line that ends next
    std::deque<answer_line> answers_;
    std::deque<event_line> events_;
    uint64_t lost_ = 0;
    uint64_t last_lost_ = 0;
    std::string writing_; // what is left of the line that goes out now
    descriptor writing_file_;
    bool writes_request_ = false;
    size_t requests_ = 0;
    bool is_subscriber_ = false;
    bool is_reading_ = false;
    bool is_waiting_to_write_ = false;
    bool says_no_more_ = false;
    bool has_ended_ = false;
};

#endif
