#include "support/recorded_bar.h"

#include <cstdio>

recorded_bar the_bar;

int32_t recorded_bar::read(uint32_t offset, uint32_t *value, uint32_t alive)
{
    access_number++;
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
