#include "benchmarks/programs/process_use.h"

#include <chrono>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <thread>

#include "benchmarks/figures.h"

namespace {

double processor_seconds(clockid_t clock)
{
    timespec now{};
    if (clock_gettime(clock, &now) != 0) {
        figure_fail("clock_gettime");
    }
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

} // namespace

double processor_percent(pid_t pid, unsigned seconds)
{
    clockid_t clock = 0;
    if (clock_getcpuclockid(pid, &clock) != 0) {
        figure_fail("clock_getcpuclockid");
    }
    const auto start = std::chrono::steady_clock::now();
    const double used = processor_seconds(clock);
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
    return 100 * (processor_seconds(clock) - used) / passed.count();
}

double private_mebibytes(pid_t pid, const std::string &without)
{
    std::ifstream mappings("/proc/" + std::to_string(pid) + "/smaps");
    uint64_t kibibytes = 0;
    int found = 0;
    bool counts = true;
    for (std::string line; std::getline(mappings, line);) {
        uint64_t value = 0;
        uint64_t end = 0;
        if (std::sscanf(line.c_str(), "%" SCNx64 "-%" SCNx64 " ", &value, &end) == 2) {
            counts = without.empty() || line.find(" " + without + "/") == std::string::npos;
        } else if (counts && (std::sscanf(line.c_str(), "Private_Clean: %" SCNu64, &value) == 1 ||
                              std::sscanf(line.c_str(), "Private_Dirty: %" SCNu64, &value) == 1)) {
            kibibytes += value;
            found++;
        }
    }
    if (found == 0) {
        figure_fail("reading smaps");
    }
    return static_cast<double>(kibibytes) / 1024;
}
