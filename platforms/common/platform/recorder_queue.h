// Entries on their way from the threads that use the card to the one that writes the file. Nobody waits: one
// that finds no room is counted and left out.
#ifndef PLATFORM_RECORDER_QUEUE_H
#define PLATFORM_RECORDER_QUEUE_H

#include <atomic>
#include <memory>

#include "platform/recording_layout.h"

class recorder_queue {
  public:
    static constexpr uint64_t SLOTS = 1 << 18; // 8 MiB, a tenth of a second at two million accesses a second

    recorder_queue() : slots_(std::make_unique<slot[]>(SLOTS))
    {
        for (uint64_t i = 0; i < SLOTS; i++) {
            slots_[i].turn.store(i, std::memory_order_relaxed);
        }
    }

    // Any thread.
    void put(const recording_entry &entry)
    {
        uint64_t place = tail_.load(std::memory_order_relaxed);
        for (;;) {
            slot &it = slots_[place % SLOTS];
            const uint64_t turn = it.turn.load(std::memory_order_acquire);
            if (turn == place) {
                if (tail_.compare_exchange_weak(place, place + 1, std::memory_order_relaxed)) {
                    it.entry = entry;
                    it.turn.store(place + 1, std::memory_order_release);
                    return;
                }
            } else if (turn < place) {
                lost_.fetch_add(1, std::memory_order_relaxed);
                return;
            } else {
                place = tail_.load(std::memory_order_relaxed);
            }
        }
    }

    // One thread. False when there is none.
    bool take(recording_entry *entry)
    {
        slot &it = slots_[head_ % SLOTS];
        if (it.turn.load(std::memory_order_acquire) != head_ + 1) {
            return false;
        }
        *entry = it.entry;
        it.turn.store(head_++ + SLOTS, std::memory_order_release);
        return true;
    }

    // Since the last call.
    uint32_t take_lost()
    {
        return lost_.exchange(0, std::memory_order_relaxed);
    }

    // By the one thread that takes.
    void empty()
    {
        for (recording_entry rest; take(&rest);) {
        }
        take_lost();
    }

  private:
    struct slot {
        std::atomic<uint64_t> turn; // of the place that may be filled next; 1 more when it was
        recording_entry entry;
    };

    std::unique_ptr<slot[]> slots_;
    alignas(64) std::atomic<uint64_t> tail_ = 0;
    std::atomic<uint32_t> lost_ = 0;
    alignas(64) uint64_t head_ = 0;
};

#endif
