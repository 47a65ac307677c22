#include "card/download_host.h"

namespace {

using words = std::vector<uint32_t>;

// ---- the firmware's log

uint32_t first_index(const card_host &host)
{
    return host.read(0x03F0000C);
}

uint32_t last_index(const card_host &host)
{
    return host.read(0x03F00010);
}

words indexes(const card_host &host)
{
    return {first_index(host), last_index(host)};
}

std::string text_at(const card_host &host, uint32_t place, uint32_t bytes)
{
    std::string text;
    for (uint32_t i = 0; i < bytes; i++) {
        text += static_cast<char>(host.read(place + i / 4 * 4) >> i % 4 * 8);
    }
    return text;
}

// The row at a byte offset; a row that does not end fails.
std::string text_row(const card_host &host, uint32_t offset)
{
    const std::string row = text_at(host, 0x03F00020 + offset, 96);
    EXPECT_NE(row.find('\0'), std::string::npos) << offset;
    return row.substr(0, row.find('\0'));
}

// The rows as a reader walks them.
std::vector<std::string> text_rows(const card_host &host)
{
    const uint32_t first = first_index(host);
    const uint32_t last = last_index(host);
    std::vector<std::string> rows;
    if (first > 0xFFF00 || last > 0xFFF00) {
        ADD_FAILURE() << "no indexes: " << first << ' ' << last;
        return rows;
    }
    if (first == last) {
        return rows;
    }
    uint32_t at = first;
    if (first > last) {
        for (; at < 0xFFF00; at += 96) {
            rows.push_back(text_row(host, at));
        }
        at = 0;
        if (last == 0) {
            return rows;
        }
    }
    do {
        rows.push_back(text_row(host, at));
        at += 96;
    } while (at < last);
    return rows;
}

words coded_row(const card_host &host, uint32_t row)
{
    words got;
    for (uint32_t i = 0; i < 8; i++) {
        got.push_back(host.read(0x03F00020 + 32 * row + 4 * i));
    }
    return got;
}

std::vector<std::string> texts(std::initializer_list<const char *> list)
{
    return {list.begin(), list.end()};
}

TEST(logs, tell_the_story_of_an_upgrade)
{
    download_host host;
    EXPECT_EQ(host.download(2, {4, "00000000000000000000000000000000"}), 0x80300003u);
    EXPECT_EQ(host.download(2, IMAGE_OF_4), 0u);
    EXPECT_EQ(host.activate(0xFF01FFFF), 0u);
    EXPECT_EQ(host.activate(0xFF02FFFF), 0x80300001u);
    EXPECT_EQ(text_rows(host),
              texts({
                  "     0.000 INFO 09 firmware started, device 0, version 5.22, cold 1",
                  "     0.000 INFO 38 download begun, device 1, kind 2, bytes 4",
                  "     0.100 ERR  38 digest is wrong, device 1, kind 2, bytes 4, code 0x80300003",
                  "     0.100 INFO 38 download begun, device 1, kind 2, bytes 4",
                  "     0.200 INFO 38 digest is right, device 1, kind 2, bytes 4",
                  "     0.200 INFO 38 image kept, device 1, kind 2, version 2.8",
                  "     0.200 INFO 05 programming begun, device 4, kind 2",
                  "     1.000 INFO 05 image activated, device 4, version 2.8",
                  "     1.000 LOG  41 device reset, device 4",
                  "     1.000 ERR  03 command failed, device 1, command 15, code 0x80300001",
              }));
    EXPECT_EQ(indexes(host), (words{0, 960}));
}

TEST(logs, tell_what_else_happens)
{
    struct happening {
        const char *line;
        std::vector<std::string> rows;
    };
    const happening HAPPENINGS[] = {
        {"unplug 3", texts({"     0.000 LOG  39 module unplugged, device 3",
                            "     0.000 LOG  39 alarm raised, device 1, word 5, bits 0x00000100"})},
        {"plug 3", texts({"     0.000 LOG  39 module plugged, device 3",
                          "     0.000 LOG  39 alarm cleared, device 1, word 5, bits 0x00000100"})},
        {"regulator 7 12 on", texts({"     0.000 ERR  06 regulator failed, device 7, bit 12"})},
        {"regulator 7 12 off", texts({"     0.000 LOG  06 regulator recovered, device 7, bit 12"})},
        {"restart", texts({"     0.000 INFO 09 firmware goes down, device 0, cold 0"})},
        {"log text what  ever", texts({"what ever"})},
    };
    download_host host;
    for (const happening &it : HAPPENINGS) {
        host.verb("log clear");
        EXPECT_EQ(text_rows(host), texts({}));
        host.verb(it.line);
        EXPECT_EQ(text_rows(host), it.rows) << it.line;
    }
    host.pass(1000 * MS);
    host.link_up();
    host.verb("log clear");
    EXPECT_EQ(host.offer(11, {0}), 16u);
    host.write(0x01C00000, 2);
    EXPECT_EQ(host.error_of(59, {0, 0xFF0200FF}), 0u);
    EXPECT_EQ(host.error_of(16, {0}), 0u);
    EXPECT_EQ(host.error_of(59, {0, 0xF0FFFFFF}), 0x8010000Du);
    EXPECT_EQ(text_rows(host), texts({
                                   "     1.000 ERR  04 message refused, device 1, command 11",
                                   "     1.000 LOG  41 device reset, device 7",
                                   "     1.000 LOG  02 all devices reset, device 0",
                                   "     1.000 ERR  03 command failed, device 1, command 59, code 0x8010000d",
                               }));
}

TEST(logs, the_trace_level_silences_all_but_errors)
{
    struct level {
        uint32_t bits;
        std::vector<std::string> rows;
    };
    const level LEVELS[] = {
        {0, texts({"     0.000 ERR  03 command failed, device 1, command 15, code 0x80300001"})},
        {1, texts({"     0.000 LOG  41 device reset, device 7",
                   "     0.000 ERR  03 command failed, device 1, command 15, code 0x80300001"})},
        {2, texts({"     0.000 ERR  03 command failed, device 1, command 15, code 0x80300001",
                   "     0.000 INFO 38 download begun, device 1, kind 2, bytes 1"})},
    };
    for (const level &it : LEVELS) {
        download_host host;
        EXPECT_EQ(host.error_of(56, {0, it.bits}), 0u);
        host.verb("log clear");
        EXPECT_EQ(host.error_of(59, {0, 0xFF0200FF}), 0u);
        EXPECT_EQ(host.error_of(15, {0, 0xFF00FFFF, 0}), 0x80300001u);
        host.send(14, {0, 2, 1});
        EXPECT_EQ(text_rows(host), it.rows) << it.bits;
    }
}

TEST(logs, coded_rows_have_their_fields)
{
    download_host host(card_options{3, 5});
    EXPECT_EQ(indexes(host), (words{0, 0}));
    EXPECT_EQ(coded_row(host, 0), (words{0, 0x010930D4, 0, 0, 0x00030005, 1, 0, 0}));
    EXPECT_EQ(host.download(2, IMAGE_OF_4), 0u);
    EXPECT_EQ(host.activate(0xFF00FFFF), 0u);
    host.verb("program-time 0");
    EXPECT_EQ(host.error_of(15, {0, 0xFF00FFFF, 7}), 0x80300001u);
    host.verb("log text abcdefghij");
    EXPECT_EQ(indexes(host), (words{0, 8}));
    EXPECT_EQ(coded_row(host, 1), (words{0, 0x0126305F, 0, 1, 2, 4, 0, 0}));
    EXPECT_EQ(coded_row(host, 2), (words{100, 0x0126308C, 0, 1, 2, 4, 0, 0}));
    EXPECT_EQ(coded_row(host, 3), (words{100, 0x012630AB, 0, 1, 2, 0x00020008, 0, 0}));
    EXPECT_EQ(coded_row(host, 4), (words{100, 0x010520E6, 0, 1, 2, 0, 0, 0}));
    EXPECT_EQ(coded_row(host, 5), (words{900, 0x01052113, 0, 1, 0x00020008, 0, 0, 0}));
    EXPECT_EQ(coded_row(host, 6), (words{900, 0x0029103C, 0, 1, 0, 0, 0, 0}));
    EXPECT_EQ(coded_row(host, 7), (words{900, 0x0203212D, 0x80300001, 1, 15, 0, 0, 0}));
    EXPECT_EQ(coded_row(host, 8), (words{900, 0x00143000, 0, 0x64636261, 0x68676665, 0x00006A69, 0, 0}));
}

TEST(logs, the_indexes_follow_the_ring_around)
{
    struct step {
        const char *line;
        uint32_t first;
        uint32_t last;
    };
    const step TEXT[] = {
        {"log clear", 0, 0},
        {"log fill 1", 0, 96},
        {"log fill 1", 0, 192},
        {"log fill 10917", 0, 0xFFEA0},
        {"log fill 1", 96, 0},
        {"log fill 1", 192, 96},
        {"log fill 10917", 0xFFEA0, 0xFFE40},
        {"log fill 1", 0, 0xFFEA0},
        {"log fill 1", 96, 0},
        {"log indexes fff00 123", 0xFFF00, 0x123},
        {"log fill 1", 192, 96},
        {"log clear", 0, 0},
    };
    const step CODED[] = {
        {"log clear", 0, 0},
        {"log fill 1", 0, 0},
        {"log fill 1", 0, 1},
        {"log fill 32510", 0, 32511},
        {"log fill 1", 2, 1},
        {"log fill 200", 202, 201},
        {"log fill 32308", 32510, 32509},
        {"log fill 2", 32512, 32511},
        {"log fill 1", 0, 32511},
        {"log fill 1", 2, 1},
        {"log indexes 1FC01 1", 0x1FC01, 1},
        {"log fill 1", 3, 2},
        {"log clear", 0, 0},
    };
    download_host text(card_options{3, 6});
    for (const step &it : TEXT) {
        text.verb(it.line);
        EXPECT_EQ(indexes(text), (words{it.first, it.last})) << it.line;
    }
    download_host coded(card_options{3, 5});
    for (const step &it : CODED) {
        coded.verb(it.line);
        EXPECT_EQ(indexes(coded), (words{it.first, it.last})) << it.line;
    }
}

TEST(logs, a_ring_that_came_round_reads_in_order)
{
    download_host text;
    text.verb("log clear");
    text.verb("log fill 20000");
    const std::vector<std::string> rows = text_rows(text);
    ASSERT_EQ(rows.size(), 10919u);
    for (uint32_t i = 0; i < rows.size(); i++) {
        ASSERT_EQ(rows[i], "row " + std::to_string(9081 + i));
    }
    download_host coded(card_options{1, 0});
    coded.verb("log clear");
    coded.verb("log fill 40000");
    words numbers; // of the rows as an old reader walks them
    ASSERT_GT(first_index(coded), last_index(coded));
    for (uint32_t row = last_index(coded); row <= 32511; row++) {
        numbers.push_back(coded_row(coded, row).at(4));
    }
    for (uint32_t row = 0; row <= first_index(coded); row++) {
        numbers.push_back(coded_row(coded, row).at(4));
    }
    ASSERT_EQ(numbers.size(), 32514u);
    EXPECT_EQ(numbers.front(), 0x38383437u);   // "row 7488"
    EXPECT_EQ(numbers.at(32511), 0x39393933u); // "row 39999"
    EXPECT_EQ(numbers.at(32512), 0x38383437u);
}

TEST(logs, a_row_ends_in_its_place)
{
    download_host host;
    host.verb("log clear");
    host.write(0x03FFFC00, 1); // where the host tells its version, in the middle of row 10911
    host.write(0x03FFFC04, 43);
    const std::string longest(95, 'x');
    host.verb(("log text " + longest + "yz").c_str());
    EXPECT_EQ(text_row(host, 0), longest);
    host.verb("log fill 10910");
    host.verb(("log text " + longest + "yz").c_str());
    host.verb("log text behind it");
    EXPECT_EQ(text_row(host, 10911 * 96), std::string(63, 'x'));
    EXPECT_EQ(text_row(host, 10912 * 96), "behind it");
    EXPECT_EQ(host.read(0x03FFFC00), 1u);
    EXPECT_EQ(host.read(0x03FFFC04), 43u);
}

TEST(logs, a_cold_start_clears_the_ring_and_a_warm_one_keeps_it)
{
    struct start {
        const char *line;
        std::vector<std::string> rows;
    };
    const start STARTS[] = {
        {"restart", texts({"kept", "     0.000 INFO 09 firmware goes down, device 0, cold 0",
                           "     1.000 INFO 09 firmware started, device 0, version 5.22, cold 0"})},
        {"restart cold", texts({"     0.000 INFO 09 firmware started, device 0, version 5.22, cold 1"})},
    };
    for (const start &it : STARTS) {
        download_host host;
        host.verb("log clear");
        host.verb("log text kept");
        host.verb(it.line);
        host.pass(1000 * MS);
        EXPECT_EQ(text_rows(host), it.rows) << it.line;
    }
    download_host host;
    host.verb("log text lost with the shape of its row");
    host.verb("restart warm 3.5");
    host.pass(3000 * MS);
    host.pass(1000 * MS);
    EXPECT_EQ(indexes(host), (words{0, 0}));
    EXPECT_EQ(coded_row(host, 0), (words{4000, 0x010930D4, 0, 0, 0x00030005, 0, 0, 0}));
}

// ---- the EPROM

std::string sirane_text(const card_host &host, uint32_t sirane)
{
    const uint32_t base = 0x03E00000 + 0x40000 * sirane;
    const uint32_t first = host.read(base);
    const uint32_t last = host.read(base + 4);
    if (first > last || last > 0x3FBF8) {
        ADD_FAILURE() << "no indexes of a text that did not come round: " << first << ' ' << last;
        return "";
    }
    return text_at(host, base + 8 + first, last - first);
}

words controller_head(const card_host &host)
{
    words head;
    for (uint32_t i = 0; i < 6; i++) {
        head.push_back(host.read(0x03EC0000 + 4 * i));
    }
    return head;
}

words controller_row(const card_host &host, uint32_t row)
{
    words got;
    for (uint32_t i = 0; i < 6; i++) {
        got.push_back(host.read(0x03EC0030 + 24 * row + 4 * i));
    }
    return got;
}

TEST(logs, the_eprom_keeps_what_matters_over_a_loss_of_power)
{
    for (const char *line : {"restart", "restart cold", "remove"}) {
        download_host host;
        EXPECT_EQ(host.download(2, IMAGE_OF_4), 0u);
        EXPECT_EQ(host.activate(0xFF02FFFF), 0u);
        host.verb("regulator 4 21 on");
        host.verb("eprom 1 text by hand");
        if (line == std::string("remove")) {
            host.verb("remove");
            host.verb("insert");
        } else {
            host.verb(line);
        }
        host.pass(1000 * MS);
        EXPECT_EQ(sirane_text(host, 0), "");
        EXPECT_EQ(sirane_text(host, 1), "1 0.900 regulator failed, device 4, bit 21 \nby hand\n");
        EXPECT_EQ(sirane_text(host, 2), "1 0.100 programming begun, device 7, kind 2\n"
                                        "1 0.900 image activated, device 7, version 2.8 \n"
                                        "1 0.900 device reset, device 7 \n");
        EXPECT_EQ(host.read(0x03E40004) % 4, 0u);
        EXPECT_EQ(controller_row(host, 0), (words{0, 0x00010000, 0, 0, 0x00050016, 1}));
        EXPECT_EQ(controller_row(host, 1), (words{100, 0x00010007, 1, 0, 2, 0x00020008})) << line;
        EXPECT_EQ(controller_row(host, 2), (words{900, 0x0001000A, 7, 0, 0x00020008, 0}));
        EXPECT_EQ(controller_row(host, 3), (words{900, 0x00010011, 4, 0, 21, 0}));
        EXPECT_EQ(host.read(0x03EFFC3C), 0x00200000u) << line;
    }
}

TEST(logs, eprom_indexes_follow_the_rings_around)
{
    struct step {
        const char *line;
        words head; // of the controller's slice
    };
    const step STEPS[] = {
        {"eprom 3 clear", {0, 0, 0, 0, 0, 0x01AC7F26}},
        {"eprom 3 fill 1", {0, 0, 0, 24, 0, 0x01AC7F26}},
        {"eprom 3 fill 10877", {0, 0, 10877, 261072, 0, 0x01AC7F26}},
        {"eprom 3 fill 1", {0, 1, 0, 261072, 0, 0x01AC7F26}},
        {"eprom 3 fill 10876", {0, 10877, 10876, 261072, 0, 0x01AC7F26}},
        {"eprom 3 fill 1", {0, 0, 10877, 261072, 0, 0x01AC7F26}},
        {"eprom ready off", {0, 0, 10877, 261072, 0, 0}},
        {"eprom 3 indexes 3FBF9 2", {0, 0x3FBF9, 2, 261072, 0, 0}},
        {"eprom ready on", {0, 0x3FBF9, 2, 261072, 0, 0x01AC7F26}},
        {"eprom 3 fill 1", {0, 1, 0, 261072, 0, 0x01AC7F26}},
    };
    download_host host;
    for (const step &it : STEPS) {
        host.verb(it.line);
        EXPECT_EQ(controller_head(host), it.head) << it.line;
    }
    EXPECT_EQ(controller_row(host, 0), (words{0, 0x0000FFFF, 0, 0, 0, 0}));
    EXPECT_EQ(controller_row(host, 10876), (words{0, 0x0000FFFF, 0, 0, 10875, 0}));
}

TEST(logs, an_eprom_text_gives_up_its_oldest_lines)
{
    download_host host;
    host.verb("eprom 2 fill 1"); // "row 0  \n"
    EXPECT_EQ(host.read(0x03E80000), 0u);
    EXPECT_EQ(host.read(0x03E80004), 8u);
    EXPECT_EQ(sirane_text(host, 2), "row 0  \n");
    host.verb("eprom 2 clear");
    EXPECT_EQ(sirane_text(host, 2), "");
    // 10 and 90 of 8, 900 of 8, then 12 bytes each: 8000 + 21092 * 12 = 261104 of 261112
    host.verb("eprom 2 fill 22092");
    EXPECT_EQ(host.read(0x03E80000), 0u);
    EXPECT_EQ(host.read(0x03E80004), 261104u);
    host.verb("eprom 2 text 1234567");
    EXPECT_EQ(host.read(0x03E80000), 8u);
    EXPECT_EQ(host.read(0x03E80004), 0u);
    EXPECT_EQ(text_at(host, 0x03EBFBF8, 8), "1234567\n");
    EXPECT_EQ(host.read(0x03E80008), 0u); // erased behind the newest
    EXPECT_EQ(text_at(host, 0x03E80010, 8), "row 1  \n");
    host.verb("eprom 2 text 12345678");
    EXPECT_EQ(host.read(0x03E80000), 24u);
    EXPECT_EQ(host.read(0x03E80004), 12u);
    EXPECT_EQ(text_at(host, 0x03E80008, 12), "12345678   \n");
    EXPECT_EQ(text_at(host, 0x03E80020, 8), "row 3  \n");
    host.verb("eprom 2 indexes 100 3fbf9");
    EXPECT_EQ(host.read(0x03E80000), 0x100u);
    EXPECT_EQ(host.read(0x03E80004), 0x3FBF9u);
}

TEST(logs, a_regulator_stands_in_the_word_of_its_sirane)
{
    struct place {
        const char *line;
        uint32_t offset;
        uint32_t word;
    };
    const place PLACES[] = {
        {"regulator 1 0 on", 0x03EFFC1C, 0x00000001},  {"regulator 4 1 on", 0x03EFFC3C, 0x00000002},
        {"regulator 7 31 on", 0x03EFFC5C, 0x80000000}, {"regulator 7 21 on", 0x03EFFC5C, 0x80200000},
        {"eprom 3 clear", 0x03EFFC5C, 0x80200000},     {"regulator 7 31 off", 0x03EFFC5C, 0x00200000},
    };
    download_host host;
    for (const place &it : PLACES) {
        host.verb(it.line);
        EXPECT_EQ(host.read(it.offset), it.word) << it.line;
    }
}

TEST(logs, an_image_that_covers_them_reads_well_and_they_come_back)
{
    for (const bool right : {true, false}) {
        download_host host;
        host.verb("regulator 1 7 on");
        host.verb("eprom 1 text by hand");
        host.verb("log fill 3");
        const std::vector<std::string> before = text_rows(host);
        host.write_digest(right ? LARGEST_IMAGE.digest : IMAGE_OF_4.digest);
        host.write_image(LARGEST_IMAGE.bytes);
        EXPECT_NE(indexes(host), (words{0, 480}));
        host.verb("unplug 3"); // is told of, but not where the image stands
        host.verb("regulator 1 8 on");
        host.send(14, {0, 2, LARGEST_IMAGE.bytes});
        EXPECT_EQ(host.wait_for_answer(), right ? 0u : 0x80300003u);
        const std::vector<std::string> after = text_rows(host);
        ASSERT_EQ(after.size(), right ? 11u : 10u);
        EXPECT_EQ(std::vector(after.begin(), after.begin() + 5), before);
        EXPECT_EQ(after.at(5), "     0.000 LOG  39 module unplugged, device 3");
        EXPECT_EQ(after.at(7), "     0.000 ERR  06 regulator failed, device 1, bit 8");
        EXPECT_EQ(sirane_text(host, 1), "by hand\n");
        EXPECT_EQ(sirane_text(host, 0), "1 0.000 regulator failed, device 1, bit 7  \n"
                                        "1 0.000 regulator failed, device 1, bit 8  \n");
        EXPECT_EQ(host.read(0x03EFFC1C), 0x00000180u);
        EXPECT_EQ(controller_head(host).at(5), 0x01AC7F26u);
        EXPECT_EQ(host.read(0x03FEFFF0), 0u); // unused rows
    }
    download_host host;
    host.write_image(LARGEST_IMAGE.bytes);
    EXPECT_NE(indexes(host), (words{0, 96}));
    EXPECT_EQ(host.error_of(14, {0, 2, 0}), 0x80300001u);
    EXPECT_EQ(text_rows(host).size(), 2u);
    host.write_image(LARGEST_IMAGE.bytes);
    EXPECT_EQ(host.error_of(15, {0, 0xFF00FFFF, 0}), 0x80300001u);
    EXPECT_EQ(text_rows(host).size(), 3u);
    host.write_image(LARGEST_IMAGE.bytes);
    host.verb("restart");
    EXPECT_EQ(text_rows(host).size(), 4u);
}

TEST(logs, verbs_that_make_no_sense_are_refused)
{
    const char *LINES[] = {
        "log",
        "log empty",
        "log text",
        "log fill",
        "log fill 100001",
        "log fill 1 2",
        "log indexes 1",
        "log indexes 1 2 3",
        "log clear all",
        "eprom",
        "eprom 4 clear",
        "eprom 0",
        "eprom 0 empty",
        "eprom 0 text",
        "eprom 3 text words",
        "eprom 0 fill x",
        "eprom 0 indexes 1",
        "eprom ready",
        "eprom ready maybe",
        "eprom ready on now",
        "regulator",
        "regulator 2 1 on",
        "regulator 0 1 on",
        "regulator 1 32 on",
        "regulator 1 1",
        "regulator 1 1 up",
        "regulator 1 1 off",
    };
    download_host host;
    const words before = indexes(host);
    for (const char *line : LINES) {
        EXPECT_NE(host.refused_verb(line), "") << line;
    }
    EXPECT_EQ(indexes(host), before);
    host.verb("regulator 1 1 on");
    host.refused_verb("regulator 1 1 on");
}

TEST(logs, show_tells_of_them)
{
    download_host host;
    const std::string text = host.verb("show");
    for (const char *line :
         {"log: text rows, the next is 1, first 0x0, last 0x60\n",
          "eprom log of sirane 2: regulators 0x00000000, first 0x0, last 0x0\n",
          "eprom log of the controller: ready, the next row is 1, first 0x0, last 0x0\n"}) {
        EXPECT_NE(text.find(line), std::string::npos) << line << text;
    }
    host.write(0x03F0000C, 7);
    EXPECT_NE(host.verb("show").find("first 0x7, last 0x60, overwritten\n"), std::string::npos);
}

} // namespace
