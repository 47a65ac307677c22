#include <atomic>
#include <cstdint>

#include "benchmarks/clock.h"
#include "benchmarks/figures.h"
#include "core/trace/trace.h"

namespace {

constexpr unsigned TURNS = 1'000'000;

// Not const, and known to nobody else: the compiler has to load it each time, as it does the mask.
std::atomic<uint32_t> reference_word;

[[gnu::noinline, gnu::cold]] void reference_is_on(unsigned turn)
{
    reference_word.store(turn, std::memory_order_relaxed);
}

// Nothing from before it stays in a register, and nothing moves across it.
inline void forget_memory()
{
    asm volatile("" ::: "memory");
}

[[gnu::noinline]] void trace_loop(unsigned turns)
{
    for (unsigned turn = 0; turn < turns; turn++) {
        TRACE(LEVEL_DEBUG, 0, KELVANE_ADDRESS_BOARD, "turn %u ", turn);
        forget_memory();
    }
}

[[gnu::noinline]] void reference_loop(unsigned turns)
{
    for (unsigned turn = 0; turn < turns; turn++) {
        if ((reference_word.load(std::memory_order_relaxed) & LEVEL_DEBUG) != 0) {
            reference_is_on(turn);
        }
        forget_memory();
    }
}

} // namespace

round_values trace_disabled()
{
    trace_level_mask_clear(LEVEL_DEBUG);
    return {nanoseconds_each(TURNS, trace_loop), nanoseconds_each(TURNS, reference_loop)};
}
