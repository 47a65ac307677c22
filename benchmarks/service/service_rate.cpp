// How many commands a second many callers together bring to the card through the service.
#include <array>
#include <atomic>
#include <chrono>
#include <thread>

#include <poll.h>

#include "benchmarks/figures.h"
#include "benchmarks/library/bench_card.h"
#include "benchmarks/service/running_service.h"
#include "kelvane.h"

namespace {

using std::chrono::steady_clock;

constexpr size_t CLIENTS = 16;
constexpr auto WINDOW = std::chrono::milliseconds(200); // in which all siranes have commands to do
constexpr auto BETWEEN_SCRAPES = std::chrono::milliseconds(1);
constexpr auto BEFORE = std::chrono::milliseconds(20); // until it is so

std::array<pollfd, CLIENTS> clients;

void connect_clients()
{
    for (pollfd &it : clients) {
        it = {connect_to_service(), POLLIN, 0};
    }
}

void start()
{
    start_service_on_bench_card();
    start_on_bench_card(WITHOUT_THREADS);
    fill_rings();
    connect_clients();
}

uint32_t sirane_of(size_t client)
{
    return static_cast<uint32_t>(client % KELVANE_SIRANE_COUNT);
}

double rate_of(unsigned count, steady_clock::time_point since)
{
    return count / std::chrono::duration<double>(steady_clock::now() - since).count();
}

// Takes the answers that are there; those clients ask again at once, unless it is the end.
unsigned take_answers(bool asks_again)
{
    if (poll(clients.data(), clients.size(), -1) <= 0) {
        figure_fail("poll");
    }
    unsigned taken = 0;
    for (size_t i = 0; i < clients.size(); i++) {
        if (clients[i].revents == 0) {
            continue;
        }
        take_register_answer(clients[i].fd);
        taken++;
        if (asks_again) {
            send_register_request(clients[i].fd, sirane_of(i));
        }
    }
    return taken;
}

double commands_a_second_through_service()
{
    for (size_t i = 0; i < clients.size(); i++) {
        send_register_request(clients[i].fd, sirane_of(i));
    }
    const auto begun = steady_clock::now();
    while (steady_clock::now() < begun + BEFORE) {
        take_answers(true);
    }
    const auto since = steady_clock::now();
    unsigned count = 0;
    while (steady_clock::now() < since + WINDOW) {
        count += take_answers(true);
    }
    const double rate = rate_of(count, since);
    for (size_t left = clients.size(); left > 0;) {
        left -= take_answers(false);
    }
    return rate;
}

// A thread for each sirane.
double commands_a_second_directly()
{
    std::atomic<unsigned> count = 0;
    std::atomic<bool> is_over = false;
    std::array<std::thread, KELVANE_SIRANE_COUNT> threads;
    for (uint32_t sirane = 0; sirane < threads.size(); sirane++) {
        threads[sirane] = std::thread([sirane, &count, &is_over] {
            while (!is_over) {
                bench_command(sirane);
                count++;
            }
        });
    }
    std::this_thread::sleep_for(BEFORE);
    const auto since = steady_clock::now();
    const unsigned before = count;
    std::this_thread::sleep_for(WINDOW);
    const double rate = rate_of(count - before, since);
    is_over = true;
    for (std::thread &it : threads) {
        it.join();
    }
    return rate;
}

// While somebody fetches the metrics a thousand times a second.
double commands_a_second_beside_scrapes()
{
    static const int connection = connect_to_metrics();
    std::atomic<bool> is_over = false;
    std::thread scraper([&is_over] {
        auto next = steady_clock::now();
        while (!is_over) {
            scrape_metrics(connection);
            next += BETWEEN_SCRAPES;
            std::this_thread::sleep_until(next);
        }
    });
    const double rate = commands_a_second_through_service();
    is_over = true;
    scraper.join();
    return rate;
}

} // namespace

round_values scraped_rate_3()
{
    static const bool started = (start_service_with_metrics(), connect_clients(), true);
    (void)started;
    const double measured = commands_a_second_beside_scrapes();
    return {measured, commands_a_second_through_service()};
}

round_values service_rate_3()
{
    static const bool started = (start(), true);
    (void)started;
    const double measured = commands_a_second_through_service();
    return {measured, commands_a_second_directly()};
}
