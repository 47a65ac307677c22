#include "kelvaned/metrics/request_counts.h"

#include <algorithm>

const char *const REQUEST_END_NAMES[REQUEST_ENDS] = {"done", "failed", "timed_out", "refused"};

void count_end(request_counts *counts, const operation &operation, request_end end)
{
    (*counts)[&operation].ends[static_cast<size_t>(end)]++;
}

void count_run(request_counts *counts, const operation &operation, int64_t code,
               std::chrono::duration<double> took)
{
    count_end(counts, operation,
              code == 0                            ? request_end::done
              : code == KELVANE_RET_CODE_ETIMEDOUT ? request_end::timed_out
                                                   : request_end::failed);
    operation_counts &it = (*counts)[&operation];
    const auto bound = std::ranges::lower_bound(REQUEST_SECONDS, took.count());
    it.took[static_cast<size_t>(bound - REQUEST_SECONDS.begin())]++;
    it.seconds += took.count();
}
