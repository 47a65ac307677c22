// The service: whoever connects is a client, whose lines become jobs on the card, and is told what happens.
#ifndef KELVANED_SERVICE_H
#define KELVANED_SERVICE_H

#include <chrono>
#include <memory>
#include <set>
#include <string>

#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>

#include "kelvaned/card_link.h"
#include "kelvaned/client.h"
#include "kelvaned/event_log.h"
#include "kelvaned/jobs.h"
#include "kelvaned/metrics/snapshot.h"
#include "kelvaned/progress.h"
#include "kelvaned/readings.h"
#include "kelvaned/rpc.h"

constexpr size_t CLIENTS_MAX = 128;

class service {
  public:
    // `listening` is a socket that listens already; its file, at `path`, is removed at the end unless that is
    // empty.
    service(int listening, std::string path, host_kind kind);

    // Metrics for others to fetch from this socket, which listens already. False when that cannot be.
    bool serve_metrics(int listening);

    // Never returns: ends the process once everyone has been told.
    [[noreturn]] void run();

  private:
    struct call;
    using call_ref = std::shared_ptr<call>;

    void accept_next();
    void take_line(const std::shared_ptr<client> &from, const std::string &line, bool is_too_long,
                   descriptor file);
    outcome begin(const call_ref &caller, const rpc_call &asked, descriptor file);
    outcome begin_operation(const call_ref &caller, const operation &operation, const json &parameters,
                            descriptor file);
    outcome readiness() const;
    void subscribe(const call_ref &caller);
    json status() const;
    void limit(const call_ref &caller, uint32_t timeout_ms);
    void finish(const call_ref &caller, outcome &&done);
    void answer(const call_ref &caller, outcome &&done);
    void listen_to_card();
    void forget_measurements();
    service_snapshot snapshot() const;
    std::string metrics_text();
    void tell_of_linking_later();
    void end(const std::string &reason, int status);
    void end_when_all_have_heard(int looks_left, int status);

    asio::io_context loop_{1};
    std::string path_;
    host_kind kind_;
    asio::local::stream_protocol::acceptor acceptor_;
    asio::signal_set signals_;
    std::set<std::shared_ptr<client>> clients_;
    client::listener client_listener_;
    event_log events_;
    jobs jobs_;
    card_link card_;
    progress progress_;
    readings readings_;
    struct heard_batch {
        kelvane_global_pm record;
        std::chrono::steady_clock::time_point at;
    };
    std::array<std::optional<heard_batch>, KELVANE_SIRANE_COUNT> batches_;
    request_counts requests_;
    uint64_t caller_timeouts_ = 0;
    uint64_t link_ups_ = 0;
    asio::steady_timer linking_;
    asio::steady_timer accepting_;
    asio::steady_timer ending_;
    std::set<call_ref> open_calls_;
    bool is_ending_ = false;
    std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
};

#endif
