#include "whole/working_card.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "card_simulator/card.h"
#include "support/temporary_folder.h"

std::array<sequence, KELVANE_SIRANE_COUNT> batches;
std::array<sequence, KELVANE_SIRANE_COUNT> alarms;

namespace {

card *the_card;
std::thread *card_thread;
host_folder *the_folder;
std::atomic<bool> card_ends;

int32_t batch_came(kelvane_handle, kelvane_device_address address, const kelvane_global_pm *, uint64_t number)
{
    batches.at(sirane_of(address)).add(number);
    return 0;
}

int32_t alarms_came(kelvane_handle, kelvane_device_address address, const global_alarms *, uint64_t number)
{
    alarms.at(sirane_of(address)).add(number);
    return 0;
}

void run_card(uint64_t pause_ns)
{
    while (!card_ends) {
        card_step(the_card);
        while (card_take_interrupt(the_card)) {
            kelvane_notify_msi(0);
        }
        wait_sleep(pause_ns);
    }
}

} // namespace

void start_work(uint64_t pause_ns, uint64_t subscribe_pause_ns, kelvane_notify_plugin_cb plugin_cb)
{
    the_folder = new host_folder;
    the_card = card_create(card_options{});
    card_thread = new std::thread(run_card, pause_ns);
    kelvane_init_device_t device{};
    device.client_type = 1;
    device.notify_plugin_cb = plugin_cb;
    device.pci_read_cb = [](kelvane_handle, uint32_t, uint32_t offset, uint32_t *value, uint32_t) {
        *value = card_host_read(the_card, offset);
        return 0;
    };
    device.pci_write_cb = [](kelvane_handle, uint32_t, uint32_t offset, uint32_t value, uint32_t) {
        card_host_write(the_card, offset, value);
        return 0;
    };
    ASSERT_EQ(kelvane_init_driver(), 0);
    ASSERT_EQ(kelvane_device_create(device), 0);
    ASSERT_EQ(kelvane_pci_mapped(0, 1, 0, 0), 0);
    ASSERT_EQ(kelvane_enable_msi(0, 1), 0);
    for (uint32_t sirane = 0; sirane < KELVANE_SIRANE_COUNT; sirane++) {
        ASSERT_EQ(kelvane_enable_pm_notify(0, KELVANE_ADDRESS_SIRANE(sirane), 1, batch_came), 0);
        ASSERT_EQ(kelvane_enable_alarms_notify(0, KELVANE_ADDRESS_SIRANE(sirane), 1, alarms_came), 0);
        wait_sleep(subscribe_pause_ns);
    }
}

void end_work()
{
    EXPECT_NE(tell("show").find("\n0 messages lost"), std::string::npos);
    EXPECT_EQ(kelvane_pci_mapped(0, 0, 0, 0), 0);
    EXPECT_EQ(kelvane_device_delete(0), 0);
    card_ends = true;
    card_thread->join();
    delete the_folder;
}

std::string tell(const std::string &verb)
{
    std::string answer;
    EXPECT_EQ(card_verb(the_card, verb.c_str(), &answer), 0) << verb << ": " << answer;
    return answer;
}
