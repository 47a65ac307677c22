#include "whole/simulation/fibers.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <ucontext.h>
#include <utility>
#include <vector>

#include "mbox/waiting.h"
#include "platform/wait.h"

namespace {

constexpr uint64_t SECOND = 1000000000;
constexpr uint64_t EPOCH_SECONDS = 1600000000;
constexpr uint64_t POLL_NS = SECOND / 1000;        // sleeps up to here poll something
constexpr uint64_t SWITCHED_AWAY_NS = 2 * POLL_NS; // misses what others wait for
constexpr size_t STACK_BYTES = 256 * 1024;

struct fiber {
    ucontext_t context{};
    std::unique_ptr<char[]> stack{new char[STACK_BYTES]};
    std::function<void()> body;
    uint64_t wake_ns = 0;
    const std::function<bool()> *condition = nullptr; // beside the time
    uint64_t turn = 0;                                // its last
    bool done = false;
    kelvane_mutex *served = nullptr; // what its own thread would remember
};

struct fiber_world {
    std::vector<std::unique_ptr<fiber>> fibers;
    fiber *current = nullptr; // null: the scheduler
    ucontext_t scheduler{};
    uint64_t now = 0;
    uint64_t turns = 0;
    bool explores = false;
    std::vector<forced_switch> switches;
    std::vector<uint32_t> points;
    fiber *forced = nullptr;
    std::function<void()> on_clock;
    std::function<uint64_t()> next_event;
};

fiber_world world;
uint64_t choice_state;

void back_to_scheduler()
{
    fiber *it = world.current;
    it->served = mbox_mutex_served_here;
    swapcontext(&it->context, &world.scheduler);
}

void run_body()
{
    world.current->body();
    world.current->done = true;
    back_to_scheduler();
    std::abort(); // nobody goes on with a fiber that is done
}

void go_on_with(fiber *it)
{
    world.current = it;
    it->turn = ++world.turns;
    mbox_mutex_served_here = it->served;
    swapcontext(&world.scheduler, &it->context);
    mbox_mutex_served_here = nullptr;
    world.current = nullptr;
}

bool is_ready(const fiber &it)
{
    return it.wake_ns <= world.now || (it.condition != nullptr && (*it.condition)());
}

// A point of the exploration: which of the others goes on, null for none of them.
fiber *forced_among(const std::vector<fiber *> &others)
{
    fiber *chosen = nullptr;
    if (!others.empty()) {
        for (const forced_switch &it : world.switches) {
            chosen = it.point == world.points.size() ? others[it.other % others.size()] : chosen;
        }
        world.points.push_back(static_cast<uint32_t>(others.size()));
    }
    return chosen;
}

// Takes the one that goes on out of those that can.
fiber *next_of(std::vector<fiber *> &ready)
{
    if (!world.explores) {
        return ready[choose(ready.size())];
    }
    if (world.forced != nullptr) {
        return std::exchange(world.forced, nullptr);
    }
    const auto longest = std::ranges::min_element(ready, {}, &fiber::turn);
    fiber *chosen = *longest;
    ready.erase(longest);
    fiber *other = forced_among(ready);
    return other != nullptr ? other : chosen;
}

void move_clock(uint64_t to)
{
    world.now = std::max(world.now, to);
    world.on_clock();
}

bool nobody_else_before(uint64_t wake_ns)
{
    return std::ranges::none_of(world.fibers, [wake_ns](const auto &it) {
        return it.get() != world.current && (it->wake_ns <= wake_ns || is_ready(*it));
    });
}

void sleep_until(uint64_t wake_ns, const std::function<bool()> *condition)
{
    if (condition == nullptr && wake_ns - world.now <= POLL_NS && nobody_else_before(wake_ns)) {
        move_clock(wake_ns); // a poll of minutes is spared two switches each time
        return;
    }
    world.current->wake_ns = wake_ns;
    world.current->condition = condition;
    back_to_scheduler();
}

void sleep_here(void *, uint64_t nanoseconds)
{
    if (world.current == nullptr) {
        move_clock(world.now + nanoseconds);
    } else {
        sleep_until(world.now + nanoseconds, nullptr);
    }
}

// The one real thread owns whatever any fiber holds: taken means waiting, never a deadlock.
int lock_here(void *, pthread_mutex_t *mutex, const timespec *deadline)
{
    const uint64_t until = (static_cast<uint64_t>(deadline->tv_sec) - EPOCH_SECONDS) * SECOND +
                           static_cast<uint64_t>(deadline->tv_nsec);
    if (mbox_mutex_served_here != nullptr && mutex == &mbox_mutex_served_here->lock.lock) {
        return EDEADLK; // held by this fiber, as the system would say of a thread
    }
    int result = pthread_mutex_trylock(mutex);
    while (result == EBUSY && world.now < until) {
        if (world.current == nullptr) {
            move_clock(until);
        } else {
            sleep_until(std::min(until, world.now + SECOND / 1000), nullptr);
        }
        result = pthread_mutex_trylock(mutex);
    }
    return result == EBUSY ? ETIMEDOUT : result;
}

const wait_source source = {nullptr, sleep_here, [](void *) { return world.now; },
                            [](void *, timespec *now) {
                                now->tv_sec = static_cast<time_t>(EPOCH_SECONDS + world.now / SECOND);
                                now->tv_nsec = static_cast<long>(world.now % SECOND);
                                return 0;
                            },
                            lock_here};

} // namespace

void choices_start(uint64_t seed)
{
    choice_state = seed;
}

// The generator of Steele, Lea and Flood's SplitMix.
uint64_t choose(uint64_t end)
{
    choice_state += 0x9E3779B97F4A7C15;
    uint64_t mixed = choice_state;
    mixed = (mixed ^ mixed >> 30) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ mixed >> 27) * 0x94D049BB133111EB;
    return (mixed ^ mixed >> 31) % end;
}

bool one_in(uint64_t count)
{
    return choose(count) == 0;
}

void fibers_begin(std::function<void()> on_clock, std::function<uint64_t()> next_event)
{
    world.now = 0;
    world.next_event = std::move(next_event);
    world.on_clock = std::move(on_clock);
    wait_use_source(&source);
}

void fibers_end()
{
    wait_use_source(nullptr);
    world.fibers.clear();
    world.explores = false;
}

void fibers_add(std::function<void()> body)
{
    auto &it = world.fibers.emplace_back(new fiber);
    it->body = std::move(body);
    getcontext(&it->context);
    it->context.uc_stack.ss_sp = it->stack.get();
    it->context.uc_stack.ss_size = STACK_BYTES;
    makecontext(&it->context, run_body, 0);
}

bool fibers_run(const std::function<bool()> &ended, uint64_t limit_ns)
{
    std::vector<fiber *> ready;
    while (!ended() && !world.fibers.empty()) {
        ready.clear();
        uint64_t next = UINT64_MAX;
        for (const auto &it : world.fibers) {
            if (is_ready(*it)) {
                ready.push_back(it.get());
            }
            next = std::min(next, it->wake_ns);
        }
        if (ready.empty()) {
            if (const uint64_t event = world.next_event(); event > world.now) {
                next = std::min(next, event);
            }
            if (next > limit_ns) {
                return false;
            }
            move_clock(next);
            continue;
        }
        fiber *chosen = next_of(ready);
        go_on_with(chosen);
        if (chosen->done) {
            std::erase_if(world.fibers, [chosen](const auto &it) { return it.get() == chosen; });
        }
    }
    return true;
}

void fiber_give_way()
{
    if (world.current == nullptr) {
        return;
    }
    if (world.explores) {
        std::vector<fiber *> others;
        for (const auto &it : world.fibers) {
            if (it.get() != world.current && is_ready(*it)) {
                others.push_back(it.get());
            }
        }
        world.forced = forced_among(others);
        if (world.forced == nullptr) {
            return;
        }
    }
    sleep_until(world.now + (world.explores ? SWITCHED_AWAY_NS : 0), nullptr);
}

void fiber_wait(const std::function<bool()> &condition)
{
    if (!condition()) {
        sleep_until(UINT64_MAX, &condition);
    }
}

void fibers_explore(const std::vector<forced_switch> &switches)
{
    world.explores = true;
    world.switches = switches;
    world.points.clear();
}

void fibers_explore_no_more()
{
    world.explores = false;
}

const std::vector<uint32_t> &fibers_points()
{
    return world.points;
}

uint64_t fibers_clock()
{
    return world.now;
}
