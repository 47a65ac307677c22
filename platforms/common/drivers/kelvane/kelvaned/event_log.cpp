#include "kelvaned/event_log.h"

#include <chrono>
#include <cstdio>
#include <ctime>
#include <random>

#include "kelvaned/rpc.h"

namespace {

std::string make_instance()
{
    std::random_device source;
    char text[20];
    snprintf(text, sizeof text, "%08x%08x", source(), source());
    return text;
}

// "2026-11-23T19:40:00.123Z"
std::string utc_now()
{
    const auto now = std::chrono::system_clock::now();
    const time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto ms =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    tm parts = {};
    gmtime_r(&seconds, &parts);
    char text[40];
    const size_t end = strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
    snprintf(text + end, sizeof text - end, ".%03dZ", static_cast<int>(ms));
    return text;
}

} // namespace

event_log::event_log(const std::set<std::shared_ptr<client>> &clients)
    : clients_(clients), instance_(make_instance())
{
}

std::string event_log::line(uint64_t seq, const char *type, const json &address, const json &data) const
{
    return rpc_event({{"instance", instance_},
                      {"seq", seq},
                      {"time", utc_now()},
                      {"type", type},
                      {"address", address},
                      {"data", data}});
}

void event_log::tell(const char *type, const json &address, const json &data)
{
    if (has_told_last_) {
        return;
    }
    seq_++;
    std::shared_ptr<const std::string> text;
    const auto listening = clients_; // a client that fails meanwhile leaves the set
    for (const auto &it : listening) {
        if (it->is_subscriber()) {
            if (text == nullptr) {
                text = std::make_shared<const std::string>(line(seq_, type, address, data));
            }
            sent_++;
            lost_ += it->send_event({text, seq_}) ? 0 : 1;
        }
    }
}

void event_log::tell_last(const char *type, const json &address, const json &data)
{
    tell(type, address, data);
    has_told_last_ = true;
}

std::string event_log::loss(uint64_t count, uint64_t seq) const
{
    return line(seq, "events_lost", nullptr, {{"count", count}});
}
