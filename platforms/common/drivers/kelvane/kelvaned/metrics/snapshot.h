// What the service knows at one moment, for a scrape: a copy, so that the text is made on another thread.
#ifndef KELVANED_METRICS_SNAPSHOT_H
#define KELVANED_METRICS_SNAPSHOT_H

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "kelvane.h"
#include "kelvaned/metrics/request_counts.h"
#include "kelvaned/readings.h"

struct batch {
    kelvane_global_pm record;
    double age_seconds;
};

struct service_snapshot { // NOLINT(bugprone-exception-escape): what json says of its own moves
    host_kind kind = host_kind::ethernet;
    std::string instance;
    bool is_up = false; // linked up, and the firmware is heard of
    std::array<std::optional<batch>, KELVANE_SIRANE_COUNT> batches;
    std::array<std::optional<global_alarms>, KELVANE_SIRANE_COUNT> alarms;
    std::vector<reading> readings;
    request_counts requests;
    uint64_t caller_timeouts = 0;
    uint64_t events_sent = 0;
    uint64_t events_lost = 0;
    uint64_t link_ups = 0;
    size_t clients = 0;
};

#endif
