#include "control/address.h"

#include <array>
#include <charconv>
#include <cstdio>

namespace {

struct device {
    std::string words;
    kelvane_device_address address;
};

constexpr size_t DEVICES =
    1 + KELVANE_SIRANE_COUNT + KELVANE_MODULE_COUNT + KELVANE_SIRANE_COUNT * KELVANE_HOST_PORTS_PER_SIRANE;

std::array<device, DEVICES> make_devices()
{
    std::array<device, DEVICES> all;
    size_t count = 0;
    all[count++] = {"board", KELVANE_ADDRESS_BOARD};
    for (int sirane = 0; sirane < KELVANE_SIRANE_COUNT; sirane++) {
        all[count++] = {"sirane/" + std::to_string(sirane), KELVANE_ADDRESS_SIRANE(sirane)};
    }
    for (int module = 0; module < KELVANE_MODULE_COUNT; module++) {
        all[count++] = {"module/" + std::to_string(module), KELVANE_ADDRESS_MODULE(module)};
    }
    for (int sirane = 0; sirane < KELVANE_SIRANE_COUNT; sirane++) {
        for (int port = 0; port < KELVANE_HOST_PORTS_PER_SIRANE; port++) {
            all[count++] = {"host/" + std::to_string(sirane) + "." + std::to_string(port),
                            KELVANE_ADDRESS_HOST_PORT(sirane, port)};
        }
    }
    return all;
}

const std::array<device, DEVICES> &devices()
{
    static const auto *const all = new std::array<device, DEVICES>(make_devices()); // threads outlive main
    return *all;
}

} // namespace

bool address_of_words(std::string_view words, kelvane_device_address *address)
{
    for (const device &it : devices()) {
        if (it.words == words) {
            *address = it.address;
            return true;
        }
    }
    if (!words.starts_with("0x") || words.size() > 10) {
        return false;
    }
    kelvane_device_address number = 0;
    const char *const end = words.data() + words.size();
    const auto [at, error] = std::from_chars(words.data() + 2, end, number, 16);
    if (error != std::errc() || at != end) {
        return false;
    }
    *address = number;
    return true;
}

std::string words_of_address(kelvane_device_address address)
{
    for (const device &it : devices()) {
        if (it.address == address) {
            return it.words;
        }
    }
    char number[16];
    std::snprintf(number, sizeof number, "0x%08x", address);
    return number;
}

std::vector<std::string> all_address_words()
{
    std::vector<std::string> words;
    for (const device &it : devices()) {
        words.push_back(it.words);
    }
    return words;
}

uint32_t sirane_serving(kelvane_device_address address)
{
    return KELVANE_IS_BOARD(address) ? 0 : KELVANE_SIRANE_OF(address);
}
