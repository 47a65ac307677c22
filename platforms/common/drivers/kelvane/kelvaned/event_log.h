// Numbers what happens, and tells those who subscribed.
#ifndef KELVANED_EVENT_LOG_H
#define KELVANED_EVENT_LOG_H

#include <cstdint>
#include <memory>
#include <set>
#include <string>

#include "control/record_json.h"
#include "kelvaned/client.h"

class event_log {
  public:
    explicit event_log(const std::set<std::shared_ptr<client>> &clients);

    // An event without an address has null.
    void tell(const char *type, const json &address, const json &data);

    // The same, and nothing from then on: who has heard it need not listen any more.
    void tell_last(const char *type, const json &address, const json &data);

    // The line for a subscriber that lost `count` events, the last of which was `seq`.
    std::string loss(uint64_t count, uint64_t seq) const;

    const std::string &instance() const // of this run of the service
    {
        return instance_;
    }
    uint64_t seq() const // of the latest
    {
        return seq_;
    }
    uint64_t sent() const // to all subscribers, those that they lose among them
    {
        return sent_;
    }
    uint64_t lost() const
    {
        return lost_;
    }

  private:
    std::string line(uint64_t seq, const char *type, const json &address, const json &data) const;

    const std::set<std::shared_ptr<client>> &clients_;
    std::string instance_;
    uint64_t seq_ = 0;
    uint64_t sent_ = 0;
    uint64_t lost_ = 0;
    bool has_told_last_ = false;
};

#endif
