// A scrape of the metrics of six modules whose text has to be made anew.
#include <chrono>
#include <thread>

#include <unistd.h>

#include "benchmarks/clock.h"
#include "benchmarks/figures.h"
#include "benchmarks/service/running_service.h"

namespace {

constexpr auto TEXT_IS_OLD = std::chrono::milliseconds(150);

} // namespace

round_values scrape()
{
    static const bool started = (start_service_with_metrics(), true);
    (void)started;
    std::this_thread::sleep_for(TEXT_IS_OLD);
    const double nanoseconds = nanoseconds_each(1, [](unsigned) {
        const int connection = connect_to_metrics();
        scrape_metrics(connection);
        close(connection);
    });
    return {nanoseconds / 1e6, 0};
}
