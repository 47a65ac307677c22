// A service that is up, with nobody who asks, on a card on which nothing happens.
#include <cstdlib>

#include "benchmarks/figures.h"
#include "benchmarks/programs/process_use.h"
#include "benchmarks/service/running_service.h"
#include "platform/trace/trace_ring_folder.h"

namespace {

constexpr unsigned SECONDS = 4; // two turns of the library's threads that look every two seconds

} // namespace

round_values service_idle()
{
    static const pid_t service = start_service();
    return {processor_percent(service, SECONDS), 0};
}

round_values service_resident()
{
    static const pid_t service = start_service();
    return {private_mebibytes(service, trace_ring_folder()), 0};
}
