// The alarms of the card as they were last heard of, and what changed.
#ifndef KELVANED_ALARM_BOARD_H
#define KELVANED_ALARM_BOARD_H

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "control/record_json.h"
#include "kelvane.h"

struct alarm_change {
    kelvane_device_address address;
    bool is_raised;
    json alarm; // its name, or the number of its bit
};

struct alarm_word {
    kelvane_device_address address;
    uint32_t word;
    std::span<const kelvane_alarm_name> names;
};

// Those of a sirane, in the order of the record. A network port's and its module's have one address.
std::vector<alarm_word> alarm_words(uint32_t sirane, const global_alarms &alarms, host_kind kind);

class alarm_board {
  public:
    explicit alarm_board(host_kind kind) : kind_(kind)
    {
    }

    // Takes what a sirane says of itself, and tells the differences; at first all that is raised.
    std::vector<alarm_change> update(uint32_t sirane, const global_alarms &now);

    // How often a sirane was heard of: what was asked for before is older than what came since.
    uint64_t updates(uint32_t sirane) const
    {
        return updates_[sirane];
    }

    // As last heard of; none of a sirane that said nothing yet.
    const std::optional<global_alarms> &of_sirane(uint32_t sirane) const
    {
        return known_[sirane];
    }

    // By address in words, the names of what is raised; null for a sirane that said nothing yet.
    json raised() const;

  private:
    host_kind kind_;
    std::array<std::optional<global_alarms>, KELVANE_SIRANE_COUNT> known_;
    std::array<uint64_t, KELVANE_SIRANE_COUNT> updates_{};
};

#endif
