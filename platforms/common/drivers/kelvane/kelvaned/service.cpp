#include "kelvaned/service.h"

#include <cstdio>
#include <future>

#include <asio/post.hpp>
#include <prometheus/text_serializer.h>
#include <unistd.h>

#include "control/address.h"
#include "control/open_rpc.h"
#include "kelvaned/metrics/families.h"
#include "kelvaned/metrics/http_door.h"
#include "platform/recorder.h"

namespace {

constexpr auto TELLS_AGAIN = std::chrono::seconds(1);
constexpr auto ACCEPTS_AGAIN = std::chrono::seconds(1);
constexpr auto LOOKS_AGAIN = std::chrono::milliseconds(10);
constexpr auto SNAPSHOT_WITHIN = std::chrono::seconds(2);
constexpr int LOOKS_MAX = 100; // at those who read slowly, before the end

constexpr const char *STATES[] = {"waiting", "linking", "up"};
constexpr const char *OWN_METHODS[][2] = {
    {"rpc.discover", "This document."},
    {"service_status", "What the service is, and how it is with the card."},
    {"subscribe", "A snapshot, and from then on every event."},
};

json own_methods()
{
    json all = json::array();
    for (const auto &[name, sentence] : OWN_METHODS) {
        all.push_back({{"name", name},
                       {"summary", sentence},
                       {"x-effect", "reads"},
                       {"paramStructure", "by-name"},
                       {"params", json::array()},
                       {"result", {{"name", "result"}, {"schema", {{"type", "object"}}}}}});
    }
    return all;
}

json word_or_number(value_words words, uint32_t value)
{
    return json_of_value(&words, value);
}

} // namespace

// What a caller waits for. Answered once, by the outcome or by its limit.
struct service::call {
    call() = default; // NOLINT(bugprone-exception-escape): what json says of its own constructor
    call(const call &) = delete;

    std::weak_ptr<client> from;
    json id;
    bool wants_answer = true;
    bool is_counted = false;
    std::string method;
    json address;
    const struct operation *operation = nullptr; // null for the service's own
    kelvane_device_address device = KELVANE_ADDRESS_BOARD;
    uint64_t job = 0;
    std::chrono::steady_clock::time_point taken = std::chrono::steady_clock::now();
    bool is_answered = false;
    std::unique_ptr<asio::steady_timer> limit = nullptr;
};

service::service(int listening, std::string path, host_kind kind)
    : path_(std::move(path)), kind_(kind), acceptor_(loop_, asio::local::stream_protocol(), listening),
      signals_(loop_, SIGTERM, SIGINT, SIGHUP), events_(clients_), jobs_(loop_, kind),
      card_(loop_, jobs_, kind), progress_(loop_, events_), readings_(loop_, jobs_, kind), linking_(loop_),
      accepting_(loop_), ending_(loop_)
{
    client_listener_ = {
        [this](const std::shared_ptr<client> &from, const std::string &line, bool is_too_long,
               descriptor file) { take_line(from, line, is_too_long, std::move(file)); },
        [this](const std::shared_ptr<client> &gone) { clients_.erase(gone); },
        [this](uint64_t count, uint64_t seq) { return events_.loss(count, seq); },
    };
    jobs_.listens = {[this](const request &request, int image) { progress_.begin(request, image); },
                     [this] { progress_.end(); }};
    listen_to_card();
}

void service::listen_to_card()
{
    const auto of_sirane = [](uint32_t sirane) { return words_of_address(KELVANE_ADDRESS_SIRANE(sirane)); };
    card_.listens = {
        [this](const char *reason) {
            fprintf(stderr, "kelvaned: %s: %s\n", STATES[static_cast<size_t>(card_.state())], reason);
            events_.tell("state", nullptr,
                         {{"state", STATES[static_cast<size_t>(card_.state())]}, {"reason", reason}});
            if (card_.state() == card_state::up) {
                link_ups_++;
                readings_.begin();
                return;
            }
            forget_measurements();
            if (card_.state() == card_state::linking) {
                tell_of_linking_later();
            }
        },
        [this](const alarm_change &it) {
            events_.tell(it.is_raised ? "alarm_raised" : "alarm_cleared", words_of_address(it.address),
                         {{"alarm", it.alarm}});
        },
        [this, of_sirane](uint32_t sirane, uint64_t number, const kelvane_global_pm &record) {
            batches_[sirane] = {record, std::chrono::steady_clock::now()};
            events_.tell("batch", of_sirane(sirane),
                         {{"number", number}, {"record", json_of_record(global_pm_fields(kind_), &record)}});
        },
        [this, of_sirane](uint32_t sirane, uint64_t count) {
            events_.tell("batches_missed", of_sirane(sirane), {{"count", count}});
        },
        [this](kelvane_device_address address, uint32_t plugged) {
            events_.tell("plugin", words_of_address(address), {{"plugged", plugged}});
            readings_.plugged(address);
        },
        [this](uint32_t restart) {
            events_.tell("firmware_restart", nullptr, {{"restart", word_or_number(RESTARTS, restart)}});
        },
        [this](uint32_t status) {
            events_.tell("watch", nullptr, {{"status", word_or_number(KEEP_ALIVE_STATUSES, status)}});
            if (status != KELVANE_ALIVE) {
                forget_measurements();
            }
        },
        [this](kelvane_device_address address, uint32_t value) {
            events_.tell("upset", words_of_address(address), {{"value", value}});
        },
        [this](const std::string &reason) { end(reason, 1); },
    };
    readings_.module_changed = [this](kelvane_device_address module) {
        events_.tell("module", words_of_address(module), readings_.module(module));
    };
}

void service::forget_measurements()
{
    readings_.end();
    batches_ = {};
}

// A silent firmware takes minutes.
void service::tell_of_linking_later()
{
    linking_.expires_after(TELLS_AGAIN);
    linking_.async_wait([this](const std::error_code &error) {
        if (error || card_.state() != card_state::linking) {
            return;
        }
        events_.tell("progress", nullptr,
                     {{"operation", "link_up"}, {"seconds", card_.since_state().count()}});
        tell_of_linking_later();
    });
}

void service::run()
{
    signals_.async_wait([this](const std::error_code &, int) { end("stopped", 0); });
    accept_next();
    card_.start();
    loop_.run();
    _exit(1); // the loop always has the signals to wait for
}

void service::accept_next()
{
    acceptor_.async_accept([this](const std::error_code &error, asio::local::stream_protocol::socket socket) {
        if (is_ending_) {
            return;
        }
        if (error) { // no descriptor is left: those who wait get theirs when one is
            accepting_.expires_after(ACCEPTS_AGAIN);
            accepting_.async_wait([this](const std::error_code &) { accept_next(); });
            return;
        }
        const auto one = std::make_shared<client>(std::move(socket), client_listener_);
        if (clients_.size() >= CLIENTS_MAX) {
            const outcome full = {RPC_QUEUE_FULL, std::to_string(CLIENTS_MAX) + " clients are connected"};
            one->refuse(rpc_answer(nullptr, full, nullptr, nullptr));
        } else {
            clients_.insert(one);
            one->start();
        }
        accept_next();
    });
}

void service::take_line(const std::shared_ptr<client> &from, const std::string &line, bool is_too_long,
                        descriptor file)
{
    rpc_call asked;
    outcome wrong = is_too_long ? outcome{RPC_NO_REQUEST,
                                          "a line longer than " + std::to_string(LINE_BYTES_MAX) + " bytes"}
                                : rpc_call_of(line, &asked);
    const auto one = std::make_shared<call>();
    one->from = from;
    one->id = asked.id;
    one->wants_answer = asked.wants_answer;
    one->method = asked.method;
    if (const auto address = asked.parameters.find("address");
        address != asked.parameters.end() && address->is_string()) {
        one->address = *address;
    }
    open_calls_.insert(one);
    if (wrong.code == 0) {
        one->is_counted = from->begin_request();
        wrong = one->is_counted ? begin(one, asked, std::move(file))
                                : outcome{RPC_QUEUE_FULL, std::to_string(REQUESTS_MAX) +
                                                              " requests of this client are under way"};
    }
    if (wrong.code != 0) {
        answer(one, std::move(wrong));
    }
}

// A code other than 0 answers the call at once.
outcome service::begin(const call_ref &caller, const rpc_call &asked, descriptor file)
{
    if (is_ending_) {
        return {RPC_NO_CARD, "the service ends"};
    }
    const operation *const operation = operation_of_name(asked.method);
    if (operation != nullptr) {
        outcome begun = begin_operation(caller, *operation, asked.parameters, std::move(file));
        if (begun.code == 0) {
            limit(caller, asked.timeout_ms);
        } else {
            count_end(&requests_, *operation, request_end::refused);
        }
        return begun;
    }
    const auto is_it = [&](const auto &own) { return asked.method == own[0]; };
    if (std::ranges::none_of(OWN_METHODS, is_it)) {
        return {RPC_NO_METHOD, "there is no method " + asked.method};
    }
    if (!asked.parameters.empty()) {
        return {RPC_BAD_PARAMETERS, asked.method + " takes no " + asked.parameters.begin().key()};
    }
    if (asked.method == "subscribe") {
        limit(caller, asked.timeout_ms);
        subscribe(caller);
    } else {
        answer(caller,
               {0, "", asked.method == "rpc.discover" ? open_rpc_document(kind_, own_methods()) : status()});
    }
    return {};
}

outcome service::readiness() const
{
    const std::string since = " since " + std::to_string(card_.since_state().count()) + " s";
    switch (card_.state()) {
    case card_state::waiting:
        return {RPC_NO_CARD, "the service waits for a card" + since};
    case card_state::linking:
        return {RPC_LINKING, "the card's firmware is waited for" + since + "; a silent one takes minutes"};
    case card_state::up:
        break;
    }
    return {};
}

outcome service::begin_operation(const call_ref &caller, const operation &operation, const json &parameters,
                                 descriptor file)
{
    request request;
    outcome wrong = request_of(operation, parameters, &request);
    if (wrong.code == 0) {
        wrong = readiness();
    }
    if (wrong.code != 0) {
        return wrong;
    }
    caller->operation = &operation;
    caller->device = request.call.address;
    return jobs_.push(
        request, std::move(file), [this, caller](outcome &&done) { finish(caller, std::move(done)); },
        &caller->job);
}

void service::subscribe(const call_ref &caller)
{
    card_.read_alarms([this, caller] {
        const auto from = caller->from.lock();
        if (caller->is_answered || from == nullptr) {
            return;
        }
        answer(caller, {0,
                        "",
                        {{"instance", events_.instance()},
                         {"seq", events_.seq()},
                         {"state", STATES[static_cast<size_t>(card_.state())]},
                         {"modules", readings_.modules()},
                         {"alarms", card_.alarms().raised()}}});
        from->subscribe();
    });
}

json service::status() const
{
    const auto uptime =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - started_);
    return {{"instance", events_.instance()},
            {"version", library_version()},
            {"state", STATES[static_cast<size_t>(card_.state())]},
            {"firmware", word_or_number(KEEP_ALIVE_STATUSES, card_.firmware())},
            {"host_kind", kind_ == host_kind::otn ? "otn" : "ethernet"},
            {"process", getpid()},
            {"clients", clients_.size()},
            {"uptime_seconds", uptime.count()},
            {"modules", readings_.modules()},
            {"alarms", card_.alarms().raised()}};
}

service_snapshot service::snapshot() const
{
    service_snapshot now;
    now.kind = kind_;
    now.instance = events_.instance();
    now.is_up = card_.state() == card_state::up && card_.firmware() == KELVANE_ALIVE;
    for (uint32_t sirane = 0; sirane < KELVANE_SIRANE_COUNT; sirane++) {
        if (const auto &heard = batches_[sirane]; heard) {
            const std::chrono::duration<double> age = std::chrono::steady_clock::now() - heard->at;
            now.batches[sirane] = {heard->record, age.count()};
        }
        now.alarms[sirane] = card_.alarms().of_sirane(sirane);
    }
    now.readings = readings_.all();
    now.requests = requests_;
    now.caller_timeouts = caller_timeouts_;
    now.events_sent = events_.sent();
    now.events_lost = events_.lost();
    now.link_ups = link_ups_;
    now.clients = clients_.size();
    return now;
}

// On another thread than the loop's.
std::string service::metrics_text()
{
    const auto taken = std::make_shared<std::promise<service_snapshot>>();
    auto arrives = taken->get_future();
    asio::post(loop_, [this, taken] { taken->set_value(snapshot()); });
    return arrives.wait_for(SNAPSHOT_WITHIN) == std::future_status::ready
               ? prometheus::TextSerializer().Serialize(families_of(arrives.get()))
               : "";
}

bool service::serve_metrics(int listening)
{
    return serve_http(listening, [this] { return metrics_text(); });
}

void service::limit(const call_ref &caller, uint32_t timeout_ms)
{
    if (timeout_ms == 0 || caller->is_answered) {
        return;
    }
    caller->limit = std::make_unique<asio::steady_timer>(loop_, std::chrono::milliseconds(timeout_ms));
    caller->limit->async_wait([this, caller](const std::error_code &error) {
        if (error || caller->is_answered) {
            return;
        }
        const bool has_begun = !jobs_.withdraw(caller->job);
        caller_timeouts_++;
        if (!has_begun && caller->operation != nullptr) {
            count_end(&requests_, *caller->operation, request_end::timed_out);
        }
        answer(caller, {RPC_TIMED_OUT,
                        has_begun ? "no outcome within the time given" : "not begun within the time given",
                        {{"begun", has_begun}}});
    });
}

// Those who watch hear of whatever was more than a look, and of what its caller does not hear any more.
void service::finish(const call_ref &caller, outcome &&done)
{
    count_run(&requests_, *caller->operation, done.code, std::chrono::steady_clock::now() - caller->taken);
    readings_.changed(*caller->operation, caller->device);
    if (caller->operation->does != effect::reads || caller->is_answered || caller->from.expired()) {
        events_.tell("finished", caller->address,
                     {{"operation", caller->method}, {"id", caller->id}, {"code", done.code}});
    }
    if (caller->is_answered && done.file >= 0) {
        close(done.file);
    }
    answer(caller, std::move(done));
}

void service::answer(const call_ref &caller, outcome &&done)
{
    if (std::exchange(caller->is_answered, true)) {
        return;
    }
    open_calls_.erase(caller);
    caller->limit.reset();
    descriptor file(done.file);
    const auto from = caller->from.lock();
    if (from == nullptr) {
        return;
    }
    const char *const method = caller->method.empty() ? nullptr : caller->method.c_str();
    if (caller->wants_answer) {
        from->answer(rpc_answer(caller->id, done, method, caller->address), std::move(file),
                     caller->is_counted);
    } else if (caller->is_counted) {
        from->end_request();
    }
}

void service::end(const std::string &reason, int status)
{
    if (std::exchange(is_ending_, true)) {
        return;
    }
    fprintf(stderr, "kelvaned: %s\n", reason.c_str());
    events_.tell_last("state", nullptr, {{"state", "ended"}, {"reason", reason}});
    const auto open = open_calls_;
    for (const call_ref &it : open) {
        answer(it, {RPC_NO_CARD, "the service ends: " + reason});
    }
    if (!path_.empty()) {
        unlink(path_.c_str());
    }
    end_when_all_have_heard(LOOKS_MAX, status);
}

void service::end_when_all_have_heard(int looks_left, int status)
{
    if (looks_left == 0 ||
        std::ranges::all_of(clients_, [](const auto &it) { return it->has_heard_all(); })) {
        recorder_stop();
        _exit(status); // the library's threads never stop
    }
    ending_.expires_after(LOOKS_AGAIN);
    ending_.async_wait([this, looks_left, status](const std::error_code &) {
        end_when_all_have_heard(looks_left - 1, status);
    });
}
