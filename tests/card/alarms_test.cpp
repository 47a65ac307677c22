#include "card/card_host.h"

namespace {

uint32_t word_of(card_host &host, uint32_t command, uint32_t address)
{
    const card_host::received got = host.run(command, {0, address, 9});
    EXPECT_EQ(got.header[5], 0u) << command << std::hex << ' ' << address;
    return got.data.at(2);
}

TEST(alarms, raised_by_name_they_stand_in_the_words_of_their_place)
{
    card_host host;
    host.link_up();
    for (const char *line :
         {"alarm raise 1.h0 IS_PRESENT__HOST_PCS_ALARMS__TX_HOST_REMOTE_FLT", "alarm raise 1.h3 tx_host_loa",
          "alarm raise 2 RX_NTWK_LOF", "alarm raise 1.n1 rx_ntwk_los", "alarm raise 1 SRN_TEMP",
          "alarm raise 0 ORD_EEP_FAIL"}) {
        host.verb(line);
    }
    struct answer {
        uint32_t command;
        uint32_t address;
        uint32_t word;
    };
    const answer ANSWERS[] = {
        {26, 0xFF00FF00, 0x80},       {26, 0xFF00FF01, 0},          {27, 0xFF00FF03, 0x4},
        {26, 0xFF00FFFF, 0x84},       {28, 0xFF0000FF, 0x2000},     {28, 0xFF0001FF, 0},
        {28, 0xFF00FFFF, 0x2000},     {32, 0xFF0001FF, 0x80000020}, {32, 0xFF0000FF, 0},
        {32, 0xFF00FFFF, 0x80000020}, {31, 0xFF00FFFF, 0xC0001002}, {31, 0xFF0001FF, 0xC0001002},
        {31, 0xFF00FF02, 0xC0001002}, {31, 0xFF01FFFF, 0x40001000}, {31, 0xF0FFFFFF, 0xC0001002},
    };
    for (const answer &it : ANSWERS) {
        EXPECT_EQ(word_of(host, it.command, it.address), it.word) << it.command << std::hex << it.address;
    }
    std::vector<uint32_t> request(11, 0);
    request[1] = 0xFF00FFFF;
    EXPECT_EQ(host.run(34, request).data,
              (std::vector<uint32_t>{0, 0xFF00FFFF, 0x80, 0, 0, 4, 0x2000, 0, 0, 0x80000020, 0xC0001002}));
    EXPECT_EQ(host.verb("alarm list"),
              "1 0xc0001002 SRN_SUMMARY_ALRM ORD_SUMMARY_ALRM ORD_EEP_FAIL SRN_TEMP\n"
              "1.h0 0x00000080 TX_HOST_REMOTE_FLT\n"
              "1.h3 0x00000004 TX_HOST_LOA\n"
              "1.n0 0x00002000 RX_NTWK_LOF\n"
              "3 0x80000020 XPM2_SUMMARY_ALRM RX_NTWK_LOS\n"
              "4 0x40001000 ORD_SUMMARY_ALRM ORD_EEP_FAIL\n"
              "7 0x40001000 ORD_SUMMARY_ALRM ORD_EEP_FAIL\n");
    for (const char *line :
         {"alarm clear 1.h0 all", "alarm clear 1.h3 TX_HOST_LOA", "alarm clear 2 all",
          "alarm clear 3 RX_NTWK_LOS", "alarm clear 1 all", "alarm clear 0 ORD_EEP_FAIL"}) {
        host.verb(line);
    }
    EXPECT_EQ(host.verb("alarm list"), "");
}

TEST(alarms, an_empty_port_has_lost_its_channel_and_no_module_alarms)
{
    card_host host;
    host.link_up();
    host.verb("alarm raise 2 XPM2_TEMP");
    EXPECT_EQ(host.error_of(39, {0, 0xFF0000FF, 1}), 0u);
    EXPECT_EQ(word_of(host, 28, 0xFF0000FF), 0x100u);
    EXPECT_EQ(word_of(host, 32, 0xFF00FFFF), 0u);
    EXPECT_EQ(host.error_of(32, {0, 0xFF0000FF, 0}), 0x8050000Fu);
    EXPECT_EQ(host.error_of(39, {0, 0xFF0000FF, 0}), 0u);
    EXPECT_EQ(word_of(host, 28, 0xFF0000FF), 0u);
    EXPECT_EQ(word_of(host, 32, 0xFF0000FF), 0x80000010u); // it is still too warm
    host.verb("unplug 2");
    host.verb("plug 2");
    EXPECT_EQ(word_of(host, 32, 0xFF0000FF), 0u); // another one is not
}

TEST(alarms, an_otn_card_has_the_names_of_its_host_ports)
{
    card_host host(card_options{.client = host_client::otn});
    host.link_up();
    host.verb("alarm raise 7.h1 TX_HOST_LOS_3");
    EXPECT_EQ(word_of(host, 27, 0xFF02FF01), 0x200u);
    host.refused_verb("alarm raise 7.h1 TX_HOST_LOA");
}

TEST(alarms, verbs_that_make_no_sense_are_refused)
{
    card_host host;
    host.verb("unplug 3");
    for (const char *line :
         {"alarm", "alarm ring", "alarm raise", "alarm raise 10 SRN_TEMP", "alarm raise 1.h4 TX_HOST_LOA",
          "alarm raise 1.n2 RX_NTWK_LOF", "alarm raise 1.", "alarm raise 2.n0 RX_NTWK_LOF",
          "alarm raise 1.x0 SRN_TEMP", "alarm raise 1 RX_NTWK_LOF", "alarm raise 3 XPM2_TEMP",
          "alarm raise 1 all", "alarm raise 2 XPM2_SUMMARY_ALRM", "alarm clear 1 ORD_SUMMARY_ALRM",
          "alarm clear 3 RX_NTWK_LOCH", "alarm list 1"}) {
        host.refused_verb(line);
    }
    EXPECT_EQ(host.verb("alarm list"), "1.n1 0x00000100 RX_NTWK_LOCH\n");
}

TEST(alarms, subscriptions_are_remembered_and_never_answered)
{
    struct subscription {
        uint32_t command;
        uint32_t words;
        const char *shown;
    };
    const subscription SUBSCRIPTIONS[] = {
        {24, 116, "pm batches on, reference 0x00001234, sync word 0x0000000d"},
        {35, 14, "alarm changes on, reference 0x00001234, sync word 0x0000000e"},
        {36, 11, ""},
    };
    card_host host;
    host.link_up();
    for (const subscription &it : SUBSCRIPTIONS) {
        std::vector<uint32_t> request(it.words, 0);
        request[1] = 0xFF01FFFF;
        for (const uint32_t enable : {0u, 1u}) {
            request[2] = enable;
            EXPECT_EQ(host.offer(it.command, request, 1, it.command == 24 ? 13 : 14), 4u);
            host.write(0x01D00000, 2);
            EXPECT_EQ(host.read(0x01D00004), 2u);
            EXPECT_FALSE(host.take_answer(1).there) << it.command;
        }
        const std::string text = host.verb("show 4");
        EXPECT_NE(text.find(it.shown), std::string::npos) << text;
    }
    EXPECT_EQ(host.offer(35, {0, 0xFF01FFFF}, 1), 4u);
    host.write(0x01D00000, 2);
    EXPECT_FALSE(host.take_answer(1).there);
    EXPECT_NE(host.verb("show").find("1 commands failed that get no answer"), std::string::npos);
}

} // namespace
