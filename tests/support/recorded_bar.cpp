#include "support/recorded_bar.h"

#include <cstdio>

recorded_bar the_bar;

static constexpr uint32_t MEMORY = 0x02000000;

int32_t recorded_bar::read(uint32_t offset, uint32_t *value, uint32_t alive)
{
    access_number++;
    if (offset == failing_offset) {
        return fail_with;
    }
    if (!memory.empty() && offset >= MEMORY) {
        const size_t index = (offset - MEMORY) / 4;
        *value = index < memory.size() ? memory[index] : 0xFFFFFFFF;
        return 0;
    }
    if (record) {
        char text[16];
        snprintf(text, sizeof text, "R %08x", offset);
        accesses.emplace_back(text);
        check_alive.push_back(alive);
    }
    if (fail_from != 0 && access_number >= fail_from && access_number < fail_from + fail_count) {
        return fail_with;
    }
    std::deque<uint32_t> &scripted = next_values[offset];
    if (!scripted.empty()) {
        *value = scripted.front();
        scripted.pop_front();
    } else {
        *value = word[offset];
    }
    return 0;
}

int32_t recorded_bar::write(uint32_t offset, uint32_t value, uint32_t alive)
{
    access_number++;
    if (!memory.empty() && offset >= MEMORY) {
        memory.at((offset - MEMORY) / 4) = value;
        return 0;
    }
    if (record) {
        char text[32];
        snprintf(text, sizeof text, "W %08x=%08x", offset, value);
        accesses.emplace_back(text);
        check_alive.push_back(alive);
    }
    if (fail_from != 0 && access_number >= fail_from && access_number < fail_from + fail_count) {
        return fail_with;
    }
    word[offset] = value;
    if (on_write) {
        on_write(offset, value);
    }
    return 0;
}

std::vector<std::string> recorded_bar::take_accesses()
{
    std::vector<std::string> taken;
    taken.swap(accesses);
    check_alive.clear();
    return taken;
}

std::string recorded_bar::told()
{
    std::string text;
    uint32_t next = 1; // where the run goes on; 1 is no word's
    bool writes = false;
    uint64_t count = 0; // of reads, or of the last value
    uint64_t last = 0;
    const auto end_run = [&] {
        if (count > 1) {
            text += (writes ? "*" : "+") + std::to_string(count);
        }
        count = 0;
    };
    for (const std::string &access : take_accesses()) {
        const auto offset = static_cast<uint32_t>(std::stoul(access.substr(2), nullptr, 16));
        const bool write = access[0] == 'W';
        const uint64_t value = write ? std::stoull(access.substr(11), nullptr, 16) : 0;
        char place[16];
        char written[16];
        snprintf(place, sizeof place, "%s%c%x", text.empty() ? "" : " ", write ? 'w' : 'r', offset);
        snprintf(written, sizeof written, "%x", static_cast<uint32_t>(value));
        const bool goes_on = write == writes && offset == next;
        if (!goes_on) {
            end_run();
            text += write ? place + std::string("=") + written : place;
        } else if (write && value != last) {
            end_run();
            text += std::string(",") + written;
        }
        count++;
        last = value;
        writes = write;
        next = offset + 4;
    }
    end_run();
    return text;
}

kelvane_init_device_t recorded_bar_device(void)
{
    kelvane_init_device_t device{};
    device.notify_plugin_cb = [](kelvane_handle, kelvane_device_address, uint32_t) { return 0; };
    device.pci_read_cb = [](kelvane_handle, uint32_t, uint32_t offset, uint32_t *value, uint32_t alive) {
        return the_bar.read(offset, value, alive);
    };
    device.pci_write_cb = [](kelvane_handle, uint32_t, uint32_t offset, uint32_t value, uint32_t alive) {
        return the_bar.write(offset, value, alive);
    };
    return device;
}
