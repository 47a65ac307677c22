// Through the service: lines of JSON over its socket.
#ifndef KELVANECTL_SESSION_SERVICE_SESSION_H
#define KELVANECTL_SESSION_SERVICE_SESSION_H

#include <deque>
#include <functional>
#include <memory>
#include <string>

#include "kelvanectl/session/session.h"

// Its first request connects. One thread.
class service_session : public session {
  public:
    // `timeout_ms` goes along with every request; 0 for none.
    service_session(std::string path, int64_t timeout_ms) : path_(std::move(path)), timeout_ms_(timeout_ms)
    {
    }
    ~service_session() override;
    service_session(const service_session &) = delete;
    service_session &operator=(const service_session &) = delete;

    // To the same service, for its own answers and events.
    std::unique_ptr<service_session> another() const
    {
        return std::make_unique<service_session>(path_, timeout_ms_);
    }

    // Blocks for the next event after an answered "subscribe". Null, or the error that ends them.
    json next_event(json *event);

    // The three for one that waits for other things as well; none of them blocks. `begin` connects first
    // where that is to be done, and `id` is that of the answer to come.
    json begin(const question &question, int64_t *id);
    // The next event or answer as it came; null when none is there. An error ends the connection.
    json take_message(json *message);
    // The next request makes a new connection.
    void disconnect();
    // Readable when something comes; -1 without a connection.
    int descriptor() const
    {
        return socket_;
    }

    // Is given each event that comes while an answer is awaited; otherwise they are kept for next_event.
    std::function<void(const json &event)> on_event;

  protected:
    std::vector<answer> put(const std::vector<question> &questions, int image) override;

  private:
    json connect(int socket_flags = 0);
    json send(const question &question, int64_t id, int image);
    json receive(json *message, int wait_ms);
    json receive_bytes();
    json take_line(json *message);
    void take_event(const json &message);
    void take_answer(const json &message, answer *out);

    std::string path_;
    int64_t timeout_ms_;
    int socket_ = -1;
    int64_t last_id_ = 0;
    std::string received_;
    size_t searched_ = 0; // bytes of it in which no line ends
    std::deque<int> files_;
    std::deque<json> events_;
};

#endif
