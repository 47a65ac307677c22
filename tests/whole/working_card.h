// The whole library on a simulated card that works by itself, both with real threads; and the accounts of
// what the card says. The library's threads go on when main returns: nothing of this is ever destroyed.
#ifndef TESTS_WHOLE_WORKING_CARD_H
#define TESTS_WHOLE_WORKING_CARD_H

#include <array>
#include <atomic>
#include <cstdint>
#include <string>

#include "kelvane.h"
#include "platform/wait.h"

constexpr uint64_t MS = 1000000;
constexpr uint64_t SECOND = 1000 * MS;

// Numbers as they come: 1, 2, 3 and so on, or not.
struct sequence {
    std::atomic<uint64_t> last;
    std::atomic<uint64_t> count;
    std::atomic<uint64_t> missing;
    std::atomic<uint64_t> disordered;

    void add(uint64_t number)
    {
        const uint64_t expected = last + 1;
        (number < expected ? disordered : missing) += number < expected ? 1 : number - expected;
        last = number;
        count++;
    }
};

extern std::array<sequence, KELVANE_SIRANE_COUNT> batches;
extern std::array<sequence, KELVANE_SIRANE_COUNT> alarms;

inline uint32_t sirane_of(kelvane_device_address address)
{
    return address >> 16 & 0xFF;
}

// Creates the card, which then looks around after each `pause_ns`, and the library on it: mapped, interrupts
// on, subscribed to batches and alarms on all siranes, `subscribe_pause_ns` apart.
void start_work(
    uint64_t pause_ns, uint64_t subscribe_pause_ns = 0,
    kelvane_notify_plugin_cb plugin_cb = [](kelvane_handle, kelvane_device_address, uint32_t) { return 0; });
void end_work();

// A verb's answer; it must be accepted.
std::string tell(const std::string &verb);

// False when that does not come in `patience_ns`.
template <typename condition> bool wait_for(condition holds, uint64_t patience_ns = 60 * SECOND)
{
    for (const uint64_t end = wait_monotonic() + patience_ns; !holds(); wait_sleep(10 * MS)) {
        if (wait_monotonic() > end) {
            return false;
        }
    }
    return true;
}

#endif
