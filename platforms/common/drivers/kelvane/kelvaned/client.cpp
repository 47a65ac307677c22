#include "kelvaned/client.h"

#include <array>
#include <cerrno>

#include <sys/socket.h>

#include "control/descriptor_passing.h"

namespace {

constexpr size_t READ_BYTES = 16 * 1024;
constexpr size_t UNREAD_ANSWERS_MAX = 2 * REQUESTS_MAX; // beyond that its lines wait

// The first descriptor that came along is kept; others are closed.
ssize_t receive(int socket, char *bytes, size_t count, descriptor *file)
{
    std::vector<int> came;
    const ssize_t got = receive_beside(socket, bytes, count, MSG_DONTWAIT, &came);
    for (const int number : came) {
        descriptor one(number);
        if (file->number() < 0) {
            *file = std::move(one);
        }
    }
    return got;
}

bool would_block()
{
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

} // namespace

client::client(asio::local::stream_protocol::socket socket, const listener &told)
    : socket_(std::move(socket)), listener_(told)
{
}

void client::start()
{
    wait_readable();
}

void client::refuse(std::string line)
{
    says_no_more_ = true;
    answer(std::move(line), descriptor(), false);
}

void client::wait_readable()
{
    if (is_reading_ || has_ended_ || answers_.size() >= UNREAD_ANSWERS_MAX) {
        return;
    }
    is_reading_ = true;
    // One that says no more, but listens, still has to be noticed when it goes.
    const auto what = says_no_more_ ? asio::socket_base::wait_error : asio::socket_base::wait_read;
    socket_.async_wait(what, [self = shared_from_this()](const std::error_code &error) {
        self->is_reading_ = false;
        if (error || self->says_no_more_) {
            self->end();
        } else if (!self->has_ended_) {
            self->read_some();
        }
    });
}

void client::read_some()
{
    std::array<char, READ_BYTES> bytes;
    descriptor file;
    const ssize_t got = receive(socket_.native_handle(), bytes.data(), bytes.size(), &file);
    if (got < 0 && !would_block()) {
        end();
        return;
    }
    if (got == 0) {
        says_no_more_ = true;
        if (requests_ == 0 && !is_subscriber_ && has_heard_all()) {
            end();
            return;
        }
    }
    if (file.number() >= 0) {
        arrived_ = std::move(file);
    }
    if (got > 0) {
        const auto self = shared_from_this(); // what it takes may end it
        reader_.feed({bytes.data(), static_cast<size_t>(got)},
                     [&](const std::string &line, bool is_too_long) {
                         listener_.take(self, line, is_too_long, std::exchange(arrived_, descriptor()));
                     });
    }
    wait_readable();
}

bool client::begin_request()
{
    if (requests_ >= REQUESTS_MAX) {
        return false;
    }
    requests_++;
    return true;
}

void client::end_request()
{
    requests_--;
    write_some(); // it may have been the last
}

void client::answer(std::string line, descriptor file, bool is_of_request)
{
    answers_.push_back({std::move(line), std::move(file), is_of_request});
    write_some();
}

bool client::send_event(const event_line &event)
{
    if (has_ended_) {
        return true;
    }
    const bool is_full = events_.size() >= UNREAD_EVENTS_MAX;
    if (is_full) {
        last_lost_ = events_.front().seq;
        lost_++;
        events_.pop_front();
    }
    events_.push_back(event);
    write_some();
    return !is_full;
}

// The next line to go out, answers first. False when there is none.
bool client::take_next()
{
    if (!answers_.empty()) {
        answer_line &next = answers_.front();
        writing_ = std::move(next.text);
        writing_file_ = std::move(next.file);
        writes_request_ = next.is_of_request;
        answers_.pop_front();
        wait_readable(); // there may be room again
        return true;
    }
    if (lost_ > 0) {
        writing_ = listener_.loss(std::exchange(lost_, 0), last_lost_);
        return true;
    }
    if (!events_.empty()) {
        writing_ = *events_.front().text;
        events_.pop_front();
        return true;
    }
    return false;
}

// False when the socket takes no more for now, or never again.
bool client::send_piece()
{
    const ssize_t sent = send_beside(socket_.native_handle(), writing_, writing_file_.number(), MSG_DONTWAIT);
    if (sent < 0) {
        if (!would_block()) {
            end();
        }
        return false;
    }
    writing_file_ = descriptor();
    writing_.erase(0, static_cast<size_t>(sent));
    if (writing_.empty() && std::exchange(writes_request_, false)) {
        requests_--;
    }
    return true;
}

void client::write_some()
{
    if (is_waiting_to_write_) {
        return;
    }
    while (!has_ended_ && (!writing_.empty() || take_next())) {
        if (send_piece()) {
            continue;
        }
        if (!has_ended_) {
            is_waiting_to_write_ = true;
            socket_.async_wait(asio::socket_base::wait_write,
                               [self = shared_from_this()](const std::error_code &error) {
                                   self->is_waiting_to_write_ = false;
                                   error ? self->end() : self->write_some();
                               });
        }
        return;
    }
    if (says_no_more_ && requests_ == 0 && !is_subscriber_) {
        end();
    }
}

void client::end()
{
    if (has_ended_) {
        return;
    }
    has_ended_ = true;
    std::error_code ignored;
    socket_.close(ignored);
    answers_.clear();
    events_.clear();
    writing_.clear();
    listener_.ended(shared_from_this());
}
