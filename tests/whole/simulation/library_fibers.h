// The library's response threads as fibers.
#ifndef TESTS_WHOLE_SIMULATION_LIBRARY_FIBERS_H
#define TESTS_WHOLE_SIMULATION_LIBRARY_FIBERS_H

#include <string>

#include "background/response_thread.h"
#include "core/semaphore.h"
#include "kelvane_handle.h"
#include "whole/simulation/fibers.h"

// Waits for a give; false when everything ends instead.
inline bool fiber_take(kelvane_semaphore *semaphore, const bool &ends)
{
    fiber_wait([semaphore, &ends] { return ends || semaphore->semState == 1; });
    if (!ends) {
        kelvane_sem_take(semaphore);
    }
    return !ends;
}

inline void fibers_add_response_threads(const bool &ends)
{
    for (uint32_t sirane = 0; sirane < SIRANE_COUNT; sirane++) {
        for (uint32_t mbox = 0; mbox < MBOX_THREAD_COUNT; mbox++) {
            fibers_add([&ends, sirane, mbox] {
                while (fiber_take(&local_handles_array[0].mbox_semaphore[sirane][mbox], ends)) {
                    kelvane_asyc_resp_common(0, sirane, mbox);
                }
            });
        }
    }
}

// Writes a register of each sirane and reads it again: "" when that works, else the codes.
inline std::string exchange_with_each_sirane()
{
    std::string wrong;
    for (uint32_t sirane = 0; sirane < SIRANE_COUNT; sirane++) {
        const kelvane_device_address address = KELVANE_ADDRESS_SIRANE(sirane);
        uint32_t value = 0;
        const int32_t written = kelvane_write_register(0, address, 0x123, 0x5000 + sirane);
        const int32_t read = kelvane_read_register(0, address, 0x123, &value);
        if (written != 0 || read != 0 || value != 0x5000 + sirane) {
            wrong += " sirane " + std::to_string(written) + " " + std::to_string(read);
        }
    }
    return wrong;
}

// A bus that fails or lies.
enum bus_fault { FAILS, ALL_ONES, ZERO, FLIPS, BUS_FAULTS };

inline uint32_t lie(bus_fault fault, uint32_t value, uint32_t bit)
{
    const uint32_t lies[BUS_FAULTS] = {value, 0xFFFFFFFF, 0, value ^ 1u << bit};
    return lies[fault];
}

#endif
