// A snapshot as metrics, from the lists of the records' fields.
#ifndef KELVANED_METRICS_FAMILIES_H
#define KELVANED_METRICS_FAMILIES_H

#include <vector>

#include <prometheus/metric_family.h>

#include "kelvaned/metrics/snapshot.h"

// Any thread.
std::vector<prometheus::MetricFamily> families_of(const service_snapshot &now);

#endif
