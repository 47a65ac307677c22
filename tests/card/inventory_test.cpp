#include <cstring>

#include "card/card_host.h"

namespace {

struct inventory {
    uint32_t version;
    uint32_t error_word;
    std::string bytes; // the record's 232
};

inventory inventory_of(card_host &host, uint32_t address)
{
    std::vector<uint32_t> request(60, 0xCCCCCCCC);
    request[0] = 0;
    request[1] = address;
    const card_host::received got = host.run(38, request);
    EXPECT_EQ(got.data.size(), 60u);
    inventory it{got.header[3], got.header[5], std::string(232, '\0')};
    std::memcpy(it.bytes.data(), got.data.data() + 2, 232);
    return it;
}

std::string padded(std::string text, size_t bytes)
{
    text.resize(bytes, '\0');
    return text;
}

TEST(inventory, a_module_tells_what_it_is_as_the_firmware_knows_it)
{
    struct firmware {
        uint32_t major;
        uint32_t minor;
        uint32_t version;
        std::string version_id;
        bool aco;
        bool vendors_own;
    };
    const std::string SHORT_ID = "V02-" + std::string(12, '\xFF');
    const firmware FIRMWARE[] = {{2, 6, 0, "V02-REV-B0000001", false, false},
                                 {2, 7, 1, SHORT_ID, true, false},
                                 {4, 0, 1, SHORT_ID, true, false},
                                 {4, 1, 2, SHORT_ID, true, true}};
    for (const firmware &it : FIRMWARE) {
        card_host host(card_options{it.major, it.minor});
        host.link_up();
        const inventory got = inventory_of(host, 0xFF0100FF);
        std::string expected = padded("D000000", 16) + padded("73-20416-05", 16) + "8842019-00713-02" +
                               "2021112300" + "WMXA0Q2BAA";
        expected += {'\x01', '\x02', '\x12', '\x01', '\x12', '\x01'};
        expected += padded("Borealis Phot.", 16) + padded("Coherent line module 200G, tunable", 64) +
                    padded("XPM2-200-C", 16) + it.version_id;
        expected += {0, 0, 2, 0, 0, 0, it.aco ? '\x01' : '\0', 0, 0, 0};
        expected += it.vendors_own ? padded("BP4470-C-2", 16) + "8842019-00713-02" : std::string(32, '\0');
        expected += {it.vendors_own ? '\xA1' : '\0', 0, 0, 0};
        EXPECT_EQ(got.bytes, expected) << it.major << '.' << it.minor;
        EXPECT_EQ(got.version, it.version) << it.major << '.' << it.minor;
        EXPECT_EQ(got.error_word, 0u);
    }
}

TEST(inventory, six_modules_and_nothing_from_an_empty_port)
{
    card_host host;
    host.link_up();
    host.verb("unplug 9");
    const char *const serials[] = {"SMX2316A0J4T",     "SMX2316A0J51", "8842019-00713-02",
                                   "8842019-00745-02", "SMX2402A11QK", ""};
    for (uint32_t i = 0; i < 6; i++) {
        const inventory it = inventory_of(host, 0xFF0000FF | i / 2 << 16 | i % 2 << 8);
        EXPECT_EQ(it.bytes.substr(32, 16), padded(serials[i], 16));
        EXPECT_EQ(it.error_word, i == 5 ? 0x8050000Fu : 0u);
    }
    EXPECT_EQ(inventory_of(host, 0xFF00FFFF).error_word, 0x8010000Du);
}

TEST(inventory, images_are_checked_by_their_kind)
{
    card_host host;
    host.link_up();
    for (const uint32_t image : {1u, 2u}) {
        const card_host::received got = host.run(62, {0, image, 0});
        EXPECT_EQ(got.header[5], 0u);
        EXPECT_EQ(got.data.at(2), 1u);
    }
    EXPECT_EQ(host.run(62, {0, 3, 9}).header[5], 0x84000001u);
}

TEST(inventory, the_status_shows_the_registers_in_its_order)
{
    const uint32_t numbers[] = {0xB00C, 0xB00D, 0xB00E, 0xB00F, 0xB016, 0xB02F, 0xB050, 0xB010,
                                0x9010, 0x9018, 0x9020, 0x9030, 0x9031, 0x9040, 0x9041, 0x9200,
                                0x9201, 0x9202, 0x9203, 0x9100, 0x9101, 0x9110, 0x9111, 0x9118,
                                0x9119, 0x9120, 0x9121, 0x9128, 0x9129, 0x9130, 0x9131, 0,
                                0,      0,      0,      0xB01D, 0xB024};
    card_host host;
    host.link_up();
    for (const uint32_t number : numbers) {
        host.error_of(10, {0, 0xFF02FFFF, number, 0xA0000000 | number});
    }
    std::vector<uint32_t> request(39, 0xCCCCCCCC);
    request[1] = 0xFF02FFFF;
    const card_host::received got = host.run(53, request);
    EXPECT_EQ(got.header[5], 0u);
    ASSERT_EQ(got.data.size(), 39u);
    for (uint32_t i = 0; i < 37; i++) {
        if (numbers[i] != 0) {
            EXPECT_EQ(got.data[2 + i], 0xA0000000 | numbers[i]) << i;
            continue;
        }
        float volt = 0;
        std::memcpy(&volt, &got.data[2 + i], 4);
        EXPECT_NEAR(volt, 1.1, 0.1) << i;
    }
    request[1] = 0xFF0200FF;
    EXPECT_EQ(host.run(53, request).header[5], 0x8010000Du);
}

} // namespace
