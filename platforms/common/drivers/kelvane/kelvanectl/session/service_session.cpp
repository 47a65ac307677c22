#include "kelvanectl/session/service_session.h"

#include <cerrno>
#include <cstddef>
#include <cstring>

#include <grp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "control/descriptor_passing.h"

namespace {

constexpr size_t LINE_BYTES_MAX = 16 << 20; // the document of all methods has some 100 KiB
constexpr size_t PIECE_BYTES = 1 << 16;
constexpr int64_t UNANSWERED_MAX = 32; // half of what the service allows
constexpr size_t EVENTS_MAX = 4096;
constexpr int GRACE_MS = 5000; // for a service that should have said itself that the time is over
constexpr timeval STUCK = {10, 0};

json error_with(int64_t code, const std::string &problem, const std::string &advice = "")
{
    json error = error_of({code, problem}, nullptr, nullptr);
    if (!advice.empty()) {
        error["data"]["advice"] = advice;
    }
    return error;
}

// Who may use the socket, as far as this user can see.
std::string group_of(const std::string &path)
{
    struct stat status = {};
    const group *const found = stat(path.c_str(), &status) == 0 ? getgrgid(status.st_gid) : nullptr;
    return found != nullptr ? found->gr_name : "kelvane";
}

json cannot_connect(const std::string &path, int error)
{
    switch (error) {
    case ENOENT:
    case ECONNREFUSED:
        return error_with(RPC_NO_CARD, "no service listens on " + path,
                          "start one with `./run --service` or `systemctl start kelvaned`, or take the card "
                          "for one command with --direct");
    case EACCES:
        return error_with(RPC_NO_RIGHT, "no right to " + path,
                          "root may use it, and members of the group " + group_of(path));
    case EAGAIN:
        return error_with(RPC_NO_CARD, "the service at " + path + " lets nobody in",
                          "it may hang: restart it");
    default:
        return error_with(RPC_NO_CARD, "cannot connect to " + path + ": " + strerror(error));
    }
}

json service_ended()
{
    return error_with(RPC_NO_CARD, "the service ended, or sent us away",
                      "its log tells why: `journalctl -u kelvaned`");
}

} // namespace

service_session::~service_session()
{
    disconnect();
}

void service_session::disconnect()
{
    if (socket_ >= 0) {
        close(socket_);
        socket_ = -1;
    }
    for (const int file : files_) {
        close(file);
    }
    files_.clear();
    received_.clear();
    searched_ = 0;
}

json service_session::connect(int socket_flags)
{
    if (socket_ >= 0) {
        return nullptr;
    }
    sockaddr_un name = {};
    name.sun_family = AF_UNIX;
    if (path_.empty() || path_.size() >= sizeof name.sun_path) {
        return error_with(RPC_BAD_PARAMETERS,
                          "a socket's path has 1 to " + std::to_string(sizeof name.sun_path - 1) +
                              " bytes, this one " + std::to_string(path_.size()) + ": " + path_);
    }
    memcpy(name.sun_path, path_.c_str(), path_.size());
    socket_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | socket_flags, 0);
    if (socket_ < 0 || setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &STUCK, sizeof STUCK) != 0 ||
        ::connect(socket_, reinterpret_cast<const sockaddr *>(&name), sizeof name) != 0) {
        const int error = errno;
        disconnect();
        return cannot_connect(path_, error);
    }
    return nullptr;
}

json service_session::send(const question &question, int64_t id, int image)
{
    json parameters = question.parameters;
    if (timeout_ms_ > 0 && !parameters.contains("timeout_ms")) {
        parameters["timeout_ms"] = timeout_ms_;
    }
    const json request = {
        {"jsonrpc", "2.0"}, {"id", id}, {"method", question.method}, {"params", parameters}};
    const std::string line = request.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
    for (size_t sent = 0; sent < line.size();) {
        const ssize_t done =
            send_beside(socket_, std::string_view(line).substr(sent), sent == 0 ? image : -1, 0);
        if (done < 0 && errno == EINTR) {
            continue;
        }
        if (done < 0) {
            return errno == EAGAIN
                       ? error_with(RPC_TIMED_OUT, "the service takes no requests", "it may hang: restart it")
                       : service_ended();
        }
        sent += static_cast<size_t>(done);
    }
    return nullptr;
}

// What there is to read, at least one byte.
json service_session::receive_bytes()
{
    const size_t before = received_.size();
    received_.resize(before + PIECE_BYTES);
    std::vector<int> came;
    const ssize_t got = receive_beside(socket_, received_.data() + before, PIECE_BYTES, 0, &came);
    received_.resize(before + static_cast<size_t>(got > 0 ? got : 0));
    files_.insert(files_.end(), came.begin(), came.end());
    if (got <= 0) {
        return service_ended();
    }
    for (; files_.size() > DESCRIPTORS_MAX; files_.pop_front()) {
        close(files_.front());
    }
    return nullptr;
}

// The first whole line, if there is one: `message` stays null without.
json service_session::take_line(json *message)
{
    const size_t end = received_.find('\n', searched_);
    searched_ = received_.size();
    if (end == received_.npos) {
        return received_.size() <= LINE_BYTES_MAX
                   ? json()
                   : error_with(RPC_INTERNAL, "the service's answer has no end: is it kelvaned?");
    }
    *message =
        json::parse(received_.begin(), received_.begin() + static_cast<ptrdiff_t>(end), nullptr, false);
    received_.erase(0, end + 1);
    searched_ = 0;
    return message->is_object()
               ? json()
               : error_with(RPC_INTERNAL, "the service's answer is no JSON: is it kelvaned?");
}

json service_session::receive(json *message, int wait_ms)
{
    *message = nullptr;
    json problem = take_line(message);
    while (problem.is_null() && message->is_null()) {
        pollfd waiting = {socket_, POLLIN, 0};
        if (poll(&waiting, 1, wait_ms) == 0) {
            return error_with(RPC_TIMED_OUT, "the service does not answer", "it may hang: restart it");
        }
        problem = receive_bytes();
        if (problem.is_null()) {
            problem = take_line(message);
        }
    }
    return problem;
}

void service_session::take_event(const json &message)
{
    const json event = message.value("params", json());
    if (!event.is_object()) {
        return;
    }
    if (on_event) {
        on_event(event);
    } else if (events_.size() < EVENTS_MAX) {
        events_.push_back(event);
    }
}

void service_session::take_answer(const json &message, answer *out)
{
    out->error = message.value("error", json());
    out->result = message.value("result", json());
    if (out->error.is_null() ? !out->result.is_object() : !out->error.is_object()) {
        out->error = error_with(RPC_INTERNAL, "the service's answer has no result and no error");
    }
    if (out->error.is_null() && out->result.contains("file") && !files_.empty()) {
        out->file = files_.front();
        files_.pop_front();
    }
}

std::vector<answer> service_session::put(const std::vector<question> &questions, int image)
{
    const auto count = static_cast<int64_t>(questions.size());
    const int64_t first = last_id_ + 1;
    std::vector<answer> answers(questions.size());
    std::vector<bool> is_answered(questions.size());
    int64_t sent = 0;
    int64_t answered = 0;
    json problem = connect();
    const int wait_ms = timeout_ms_ > 0 ? static_cast<int>(timeout_ms_) + GRACE_MS : -1;
    while (problem.is_null() && answered < count) {
        while (problem.is_null() && sent < count && sent - answered < UNANSWERED_MAX) {
            problem = send(questions[static_cast<size_t>(sent++)], ++last_id_, image);
        }
        json message;
        problem = problem.is_null() ? receive(&message, wait_ms) : problem;
        if (!problem.is_null()) {
            break;
        }
        if (message.contains("method")) {
            take_event(message);
            continue;
        }
        const json id = message.value("id", json());
        const int64_t index = id.is_number_integer() ? id.get<int64_t>() - first : -1;
        // Of the connection as a whole, which ends.
        if (id.is_null() && message.contains("error") && message["error"].is_object()) {
            problem = message["error"];
        } else if (index >= 0 && index < count && !is_answered[static_cast<size_t>(index)]) {
            take_answer(message, &answers[static_cast<size_t>(index)]);
            is_answered[static_cast<size_t>(index)] = true;
            answered++;
        }
    }
    for (size_t i = 0; i < answers.size(); i++) {
        if (!is_answered[i]) {
            answers[i].error = problem;
        }
    }
    if (!problem.is_null()) {
        disconnect();
    }
    return answers;
}

json service_session::next_event(json *event)
{
    while (events_.empty()) {
        json message;
        json problem = receive(&message, -1);
        if (!problem.is_null()) {
            return problem;
        }
        if (message.contains("method")) {
            take_event(message);
        }
    }
    *event = events_.front();
    events_.pop_front();
    return nullptr;
}

json service_session::begin(const question &question, int64_t *id)
{
    json problem = connect(SOCK_NONBLOCK);
    problem = problem.is_null() ? send(question, ++last_id_, -1) : problem;
    if (!problem.is_null()) {
        disconnect();
    }
    *id = last_id_;
    return problem;
}

json service_session::take_message(json *message)
{
    *message = nullptr;
    json problem = take_line(message);
    pollfd waiting = {socket_, POLLIN, 0};
    if (problem.is_null() && message->is_null() && poll(&waiting, 1, 0) > 0) {
        problem = receive_bytes();
        problem = problem.is_null() ? take_line(message) : problem;
    }
    if (!problem.is_null()) {
        disconnect();
    }
    return problem;
}
