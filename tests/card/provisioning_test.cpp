#include "card/card_host.h"
#include "support/virtual_time.h"

namespace {

using words = std::vector<uint32_t>;

struct step {
    const char *what;
    uint32_t command;
    words data;
    uint32_t error_word;
    words answer; // empty: the request's words
};

void run_in_order(card_host &host, const std::vector<step> &steps)
{
    for (const step &it : steps) {
        const card_host::received got = host.run(it.command, it.data);
        ASSERT_TRUE(got.there) << it.what;
        EXPECT_EQ(got.header[5], it.error_word) << it.what;
        EXPECT_EQ(got.data, it.answer.empty() ? it.data : it.answer) << it.what;
    }
}

// Module 3, the second one of sirane 0, is unplugged.
TEST(provisioning, values_are_judged_kept_and_given_back)
{
    card_host host;
    host.link_up();
    host.verb("unplug 3");
    run_in_order(host,
                 {
                     {"no traffic at first", 1, {7, 0xFF0000FF, 24}, 0, {7, 0xFF0000FF, 24}},
                     {"traffic type", 0, {7, 0xFF0000FF, 18, 2}, 0, {}},
                     {"traffic type beyond", 0, {7, 0xFF0000FF, 25, 2}, 0x80200003, {}},
                     {"traffic type back", 1, {7, 0xFF0000FF, 24}, 0, {7, 0xFF0000FF, 18}},
                     {"traffic type of an empty port", 0, {0, 0xFF0001FF, 18, 2}, 0x8050000F, {}},
                     {"and back", 1, {0, 0xFF0001FF, 24}, 0x8050000F, {0, 0xFF0001FF, 0}},
                     {"traffic type of a sirane", 0, {0, 0xFF00FFFF, 18, 2}, 0x8010000D, {}},
                     {"traffic type of sirane 3", 0, {0, 0xFF0300FF, 18, 2}, 0x80000003, {}},
                     {"laser", 2, {0, 0xFF0000FF, 1, 1}, 0, {}},
                     {"laser 2", 2, {0, 0xFF0000FF, 2, 1}, 0x80620001, {}},
                     {"laser back", 3, {0, 0xFF0000FF, 0}, 0, {0, 0xFF0000FF, 1}},
                     {"flex-grid channel", 63, {0, 0xFF0000FF, 1937000, 1}, 0, {}},
                     {"other direction", 63, {0, 0xFF0000FF, 1937005, 2}, 0, {}},
                     {"back", 64, {0, 0xFF0000FF, 0, 1}, 0, {0, 0xFF0000FF, 1937000, 1}},
                     {"direction 0 receives", 64, {0, 0xFF0000FF, 0, 0}, 0, {0, 0xFF0000FF, 1937005, 0}},
                     {"as a legacy channel", 5, {0, 0xFF0000FF, 0, 2}, 0, {0, 0xFF0000FF, 193700, 2}},
                     {"direction 3", 64, {0, 0xFF0000FF, 0, 3}, 0x80000007, {}},
                     {"legacy channel", 4, {0, 0xFF0000FF, 194000, 0}, 0, {}},
                     {"as flex-grid", 64, {0, 0xFF0000FF, 0, 2}, 0, {0, 0xFF0000FF, 1940000, 2}},
                     {"below the band", 63, {0, 0xFF0000FF, 1912999, 1}, 0x80500007, {}},
                     {"above the band", 63, {0, 0xFF0000FF, 1961001, 1}, 0x80500007, {}},
                     {"legacy that wraps to a good one", 4, {0, 0xFF0000FF, 429690429, 1}, 0x80500007, {}},
                     {"bright tuning", 6, {0, 0xFF0000FF, 1, 1}, 0, {}},
                     {"bright tuning 2", 6, {0, 0xFF0000FF, 2, 1}, 0x80100011, {}},
                     {"bright tuning back", 7, {0, 0xFF0000FF, 0, 1}, 0, {0, 0xFF0000FF, 1, 1}},
                     {"of the other direction", 7, {0, 0xFF0000FF, 9, 2}, 0, {0, 0xFF0000FF, 0, 2}},
                     {"power 3.0", 8, {0, 0xFF0000FF, 0x40400000}, 0, {}},
                     {"power 11.0", 8, {0, 0xFF0000FF, 0x41300000}, 0x80500005, {}},
                     {"power not a number", 8, {0, 0xFF0000FF, 0x7FC00000}, 0x80500005, {}},
                     {"run-time power", 58, {0, 0xFF0000FF, 0xFFFFFF38}, 0, {}},
                     {"run-time power 1001", 58, {0, 0xFF0000FF, 1001}, 0x80500005, {}},
                     {"configured power back", 57, {0, 0xFF0000FF, 0}, 0, {0, 0xFF0000FF, 0x40400000}},
                     {"disable", 42, {0, 0xFF0000FF, 2}, 0x80100011, {}},
                     {"LED off at first", 44, {0, 0xFF0000FF, 9}, 0, {0, 0xFF0000FF, 4}},
                     {"LED", 43, {0, 0xFF0000FF, 2}, 0, {}},
                     {"LED 0", 43, {0, 0xFF0000FF, 0}, 0x80100011, {}},
                     {"LED 5", 43, {0, 0xFF0000FF, 5}, 0x80100011, {}},
                     {"LED back", 44, {0, 0xFF0000FF, 9}, 0, {0, 0xFF0000FF, 2}},
                     {"network loopback", 45, {0, 0xFF0000FF, 1}, 0, {}},
                     {"network loopback back", 48, {0, 0xFF0000FF, 9}, 0, {0, 0xFF0000FF, 1}},
                     {"low search", 49, {0, 0xFF0000FF, 0xFFFFFF9C}, 0, {}},
                     {"high search", 50, {0, 0xFF0000FF, 280001}, 0x80100011, {}},
                     {"low search back", 51, {0, 0xFF0000FF, 0}, 0, {0, 0xFF0000FF, 0xFFFFFF9C}},
                     {"high search back", 52, {0, 0xFF0000FF, 0}, 0, {0, 0xFF0000FF, 60000}},
                     {"host loopback", 46, {0, 0xFF00FF02, 1}, 0, {}},
                     {"host port 4", 46, {0, 0xFF00FF04, 1}, 0x80100007, {}},
                     {"host loopback of a module", 46, {0, 0xFF0000FF, 1}, 0x8010000D, {}},
                     {"of the board", 47, {0, 0xF0FFFFFF, 1}, 0x8010000D, {0, 0xF0FFFFFF, 0}},
                     {"host loopback back", 47, {0, 0xFF00FF02, 9}, 0, {0, 0xFF00FF02, 1}},
                     {"of its neighbour", 47, {0, 0xFF00FF01, 9}, 0, {0, 0xFF00FF01, 0}},
                     {"of all four", 47, {0, 0xFF00FFFF, 9}, 0, {0, 0xFF00FFFF, 1}},
                     {"consequent action", 65, {0, 0xFF00FFFF, 5, 6}, 0, {}},
                     {"consequent action of a port", 65, {0, 0xFF0000FF, 5, 6}, 0x8010000D, {}},
                     {"module present", 17, {0, 0xFF0000FF, 0, 0}, 0, {0, 0xFF0000FF, 1, 0}},
                     {"module not present", 17, {0, 0xFF0001FF, 5, 0}, 0, {0, 0xFF0001FF, 0, 0}},
                 });
}

words config_of(card_host &host, uint32_t *version)
{
    words request(32, 0xCCCCCCCC);
    request[0] = 3;
    request[1] = 0xFF01FFFF;
    const card_host::received got = host.run(40, request);
    EXPECT_EQ(got.header[5], 0u);
    *version = got.header[3];
    return got.data;
}

TEST(provisioning, a_sirane_tells_all_that_is_set_as_its_firmware_knows_it)
{
    struct firmware {
        uint32_t major;
        uint32_t minor;
        uint32_t version;
        bool flex_grid;
    };
    for (const firmware &it :
         {firmware{2, 6, 0, false}, {2, 7, 1, false}, {4, 0, 1, false}, {4, 1, 1, true}}) {
        card_host host(card_options{it.major, it.minor});
        host.link_up();
        run_in_order(host, {
                               {"traffic type", 0, {0, 0xFF0101FF, 12, 2}, 0, {}},
                               {"laser", 2, {0, 0xFF0100FF, 1, 1}, 0, {}},
                               {"channel", 4, {0, 0xFF0100FF, 195000, 1}, 0, {}},
                               {"bright", 6, {0, 0xFF0101FF, 1, 2}, 0, {}},
                               {"power", 8, {0, 0xFF0101FF, 0x3F800000}, 0, {}},
                               {"low", 49, {0, 0xFF0100FF, 11}, 0, {}},
                               {"high", 50, {0, 0xFF0101FF, 12}, 0, {}},
                               {"LED", 43, {0, 0xFF0100FF, 1}, 0, {}},
                               {"network loopback", 45, {0, 0xFF0101FF, 1}, 0, {}},
                               {"host loopback", 46, {0, 0xFF01FF03, 1}, 0, {}},
                           });
        words expected = {3, 0xFF01FFFF, 24, 12, 1,          0,  195000,     193100, 193100, 193100, 0,
                          0, 0,          1,  0,  0x3F800000, 11, 0xFFFFF830, 60000,  12,     1,      4,
                          0, 1,          0,  0,  0,          1,  0,          0,      0,      0};
        if (it.flex_grid) {
            expected = {3, 0xFF01FFFF, 24, 12, 1,          0,  195000,     193100,  193100,  193100, 0,
                        0, 0,          1,  0,  0x3F800000, 11, 0xFFFFF830, 60000,   12,      1,      4,
                        0, 1,          0,  0,  0,          1,  1950000,    1931000, 1931000, 1931000};
        }
        uint32_t version = 9;
        EXPECT_EQ(config_of(host, &version), expected) << it.major << '.' << it.minor;
        EXPECT_EQ(version, it.version) << it.major << '.' << it.minor;
        EXPECT_EQ(host.error_of(63, {0, 0xFF0100FF, 1937000, 1}), it.flex_grid ? 0u : 0x80100005u);
    }
}

TEST(provisioning, stays_over_a_restart_and_goes_with_power_default_and_module)
{
    struct way {
        const char *what;
        void (*go)(card_host &host);
        uint32_t traffic_type;
    };
    const way WAYS[] = {
        {"restart", [](card_host &host) { host.verb("restart"); }, 18},
        {"removal", [](card_host &host) { host.verb("remove"), host.verb("insert"); }, 24},
        {"default", [](card_host &host) { host.error_of(16, {0}); }, 24},
        {"unplug", [](card_host &host) { host.verb("unplug 2"), host.verb("plug 2"); }, 24},
        {"recover",
         [](card_host &host) {
             host.error_of(59, {0, 0xFF00FFFF});
         },
         18},
    };
    for (const way &it : WAYS) {
        virtual_time time;
        card_host host;
        host.link_up();
        host.error_of(0, {0, 0xFF0000FF, 18, 2});
        it.go(host);
        time.advance(1000000000); // a restart's second
        card_step(host.it);
        host.link_up();
        EXPECT_EQ(host.run(1, {0, 0xFF0000FF, 24}).data.at(2), it.traffic_type) << it.what;
    }
}

TEST(provisioning, the_laser_time_out_strikes_once_where_it_was_asked_for)
{
    card_host host;
    host.link_up();
    const words on = {0, 0xFF0000FF, 1, 1};
    for (const uint32_t armed : {0xFF0000FFu, 0xFF00FFFFu, 0xF0FFFFFFu}) {
        EXPECT_EQ(host.error_of(13, {0, armed, 34}), 0u);
        EXPECT_EQ(host.error_of(2, on), 0x8010000Fu) << std::hex << armed;
        EXPECT_EQ(host.error_of(2, on), 0u);
    }
    EXPECT_EQ(host.error_of(13, {0, 0xFF01FFFF, 34}), 0u);
    EXPECT_EQ(host.error_of(2, on), 0u);
    EXPECT_EQ(host.error_of(13, {0, 0xFF00FFFF, 5}), 0u); // low power
    EXPECT_EQ(host.error_of(2, on), 0x80620011u);
    EXPECT_EQ(host.error_of(2, {0, 0xFF0000FF, 0, 1}), 0u);
}

TEST(provisioning, a_simulated_removal_is_a_removal_until_it_is_taken_back)
{
    card_host host;
    host.link_up();
    host.verb("unplug 3");
    EXPECT_EQ(host.error_of(39, {0, 0xFF0000FF, 2}), 0x80100011u);
    EXPECT_EQ(host.error_of(39, {0, 0xFF0001FF, 1}), 0x8050000Fu);
    EXPECT_EQ(host.error_of(0, {0, 0xFF0000FF, 18, 2}), 0u);
    EXPECT_EQ(host.error_of(39, {0, 0xFF0000FF, 1}), 0u);
    EXPECT_EQ(host.read(0x01F04304), 0u); // its software, in the sirane's table
    EXPECT_EQ(host.error_of(0, {0, 0xFF0000FF, 18, 2}), 0x8050000Fu);
    EXPECT_EQ(host.error_of(39, {0, 0xFF0000FF, 0}), 0u);
    EXPECT_EQ(host.read(0x01F04304), 0x00010012u);
    EXPECT_EQ(host.run(1, {0, 0xFF0000FF, 24}).data.at(2), 24u);
    EXPECT_EQ(host.error_of(39, {0, 0xFF0000FF, 1}), 0u);
    EXPECT_EQ(host.error_of(16, {0}), 0u);
    EXPECT_EQ(host.read(0x01F04304), 0x00010012u);
    EXPECT_EQ(host.run(17, {0, 0xFF0000FF, 0, 0}).data.at(2), 1u);
}

} // namespace
