#include "card/card_host.h"

namespace {

TEST(card, tables_tell_the_version_it_was_started_as)
{
    card_host host(card_options{3, 6});
    struct word {
        uint32_t offset;
        uint32_t value;
    };
    const word WORDS[] = {
        {0x01F04000, 0x55667788}, {0x01F04004, 0x00030006}, {0x01F0400C, 0x03062B03},
        {0x01F04010, 0xAA005500}, {0x01F04018, 0x00030006}, {0x01F0401C, 0x00020004},
        {0x01F04020, 0x53C0EEDD}, {0x01F04200, 0x02000006}, {0x01F04204, 0x02000007},
        {0x01F04208, 1},          {0x01F0420C, 1},          {0x01F04210, 1},
        {0x01F04214, 1},          {0x01F04304, 0x00010012}, {0x01F04404, 0x00010012},
        {0x01F04504, 0x02000006}, {0x01F04808, 0x02000006}, {0x01F0481C, 1},
    };
    for (const word &it : WORDS) {
        EXPECT_EQ(host.read(it.offset), it.value) << std::hex << it.offset;
    }
    host.verb("unplug 3");
    EXPECT_EQ(host.read(0x01F04304), 0x00010012u);
    EXPECT_EQ(host.read(0x01F04404), 0u);
    host.verb("plug 3");
    EXPECT_EQ(host.read(0x01F04404), 0x00010012u);
}

TEST(card, plain_words_keep_what_the_host_writes)
{
    card_host host;
    for (uint32_t i = 0; i < 50; i++) {
        host.write(0x300 + 4 * i, i);
        EXPECT_EQ(host.read(0x300 + 4 * i), i);
    }
    for (const uint32_t offset : {0x3F8u, 0x02000000u, 0x03FFFC00u, 0x03FFFFFCu}) {
        host.write(offset, offset + 1);
        EXPECT_EQ(host.read(offset), offset + 1);
    }
}

TEST(card, beyond_the_bar_there_is_nothing)
{
    card_host host;
    for (const uint32_t offset : {0x04000000u, 0xFFFFFFFCu, 0x301u, 0x302u, 0x303u}) {
        host.write(offset, 1);
        EXPECT_EQ(host.read(offset), 0xFFFFFFFFu);
    }
    EXPECT_EQ(host.read(0x300), 0u);
}

TEST(card, verbs_that_make_no_sense_are_refused_with_a_reason)
{
    struct refused {
        const char *line;
        const char *reason;
    };
    const refused LINES[] = {
        {"alarms", "there is no verb alarms"},
        {"plug", "DEV is missing"},
        {"plug x", "DEV is no decimal number: x"},
        {"plug 10", "DEV is 0 to 9"},
        {"plug 4", "a module is one of"},
        {"plug 2", "there is a module already"},
        {"plug 2 2", "nothing is expected behind: 2"},
        {"refuse 66", "there is no command above 65"},
        {"refuse -1", "COMMAND is no decimal number: -1"},
        {"refuse 9 99999999999", "COUNT is no decimal number"},
        {"error 9 ORDUNE_NOTHING", "WORD is no error word's name"},
        {"corrupt rc", "FIELD is one of cmd, ref_id, size, version, sy"},
        {"delay 9", "MILLISECONDS is missing"},
        {"peek 4000000", "OFFSET is beyond"},
        {"peek 2", "OFFSET is beyond"},
        {"set-register 1 10000 0", "REG is 0 to ffff"},
        {"resume", "the firmware does not hang"},
        {"insert", "the card is not removed"},
    };
    card_host host;
    for (const refused &it : LINES) {
        const std::string answer = host.refused_verb(it.line);
        EXPECT_NE(answer.find(it.reason), std::string::npos) << it.line << ": " << answer;
    }
}

TEST(card, show_tells_what_differs_from_the_start)
{
    card_host host;
    host.link_up();
    EXPECT_EQ(host.verb("show").find("register"), std::string::npos);
    host.verb("set-register 1 9020 0249");
    host.verb("unplug 8");
    host.verb("error 9 ORDUNE_TIMEOUT 3");
    host.verb("hang");
    const std::string text = host.verb("show");
    for (const char *part : {"firmware 5.22, hung", "mailbox command  H 2 F 2",
                             "register 0x9020 = 0x00000249, 0x00000000 after a reset  Host Lanes Client",
                             "device 8, module: not plugged", "device 9, module: plugged",
                             "fault: error 9 0x8010000f ORDUNE_TIMEOUT, 3 times"}) {
        EXPECT_NE(text.find(part), std::string::npos) << part << " in\n" << text;
    }
}

TEST(card, peek_and_poke_reach_the_words_of_the_bar)
{
    card_host host;
    EXPECT_EQ(host.verb("peek 1f04004"), "0x00050016\n");
    host.verb("poke 0x1F04004 60001");
    EXPECT_EQ(host.read(0x01F04004), 0x00060001u);
    EXPECT_EQ(host.verb("  # a remark"), "");
    EXPECT_EQ(host.verb(""), "");
}

} // namespace
