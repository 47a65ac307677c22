#include "support/recorded_bar.h"

#include <sstream>

#include <gtest/gtest.h>

recorded_bar the_bar;

static constexpr uint32_t MEMORY = 0x02000000;

int32_t recorded_bar::access(bool write, uint32_t offset, uint32_t *value, uint32_t alive)
{
    constexpr int32_t FAILURE = 5;
    access_number++;
    if (!write && offset == failing_offset) {
        return FAILURE;
    }
    if (!memory.empty() && offset >= MEMORY) {
        const size_t index = (offset - MEMORY) / 4;
        if (write) {
            memory.at(index) = *value;
        } else {
            *value = index < memory.size() ? memory[index] : 0xFFFFFFFF;
        }
        return 0;
    }
    if (record) {
        accesses_.push_back({write, offset, *value});
        check_alive.push_back(alive);
    }
    if (fail_from != 0 && access_number >= fail_from && access_number < fail_from + fail_count) {
        return FAILURE;
    }
    std::deque<uint32_t> &scripted = next_values[offset];
    if (write) {
        word[offset] = *value;
        if (on_write) {
            on_write(offset, *value);
        }
    } else if (!scripted.empty()) {
        *value = scripted.front();
        scripted.pop_front();
    } else {
        *value = word[offset];
    }
    return 0;
}

std::string recorded_bar::told()
{
    std::ostringstream text;
    text << std::hex;
    recorded_access last = {false, 1, 0}; // no word's
    size_t count = 0;                     // of reads, or of the last value
    const auto end_run = [&] {
        text << (count > 1 ? (last.write ? "*" : "+") + std::to_string(count) : "");
        count = 0;
    };
    for (const recorded_access &it : accesses_) {
        if (it.write != last.write || it.offset != last.offset + 4) {
            end_run();
            text << (text.tellp() > 0 ? " " : "") << (it.write ? "w" : "r") << it.offset;
            if (it.write) {
                text << "=" << it.value;
            }
        } else if (it.write && it.value != last.value) {
            end_run();
            text << "," << it.value;
        }
        count++;
        last = it;
    }
    end_run();
    accesses_.clear();
    check_alive.clear();
    return text.str();
}

kelvane_init_device_t recorded_bar_device(void)
{
    kelvane_init_device_t device{};
    device.notify_plugin_cb = [](kelvane_handle, kelvane_device_address, uint32_t) { return 0; };
    device.pci_read_cb = [](kelvane_handle, uint32_t bus, uint32_t offset, uint32_t *value, uint32_t alive) {
        EXPECT_EQ(bus, 0u);
        return the_bar.access(false, offset, value, alive);
    };
    device.pci_write_cb = [](kelvane_handle, uint32_t bus, uint32_t offset, uint32_t value, uint32_t alive) {
        EXPECT_EQ(bus, 0u);
        return the_bar.access(true, offset, &value, alive);
    };
    return device;
}
