#include "kelvane.h"
#include "support/library.h"

namespace {

TEST_F(library_test, the_verdict_by_firmware)
{
    turn_log_on();
    start_library();
    const struct {
        uint32_t version, verdict;
        const char *line; // null: not a word
    } cases[] = {
        {0x00050016, 1, "INFO  kelvane_software_version_comp_check: comp_sw = KELVANE_COMP_SW_ALIGNED  "},
        {0x00050015, 2,
         "INFO  kelvane_software_version_comp_check: comp_sw = KELVANE_COMP_SW_WARNING_NOT_ALIGNED - updtate "
         "not "
         "needed  "},
        {0x00050000, 2,
         "INFO  kelvane_software_version_comp_check: comp_sw = KELVANE_COMP_SW_WARNING_NOT_ALIGNED - updtate "
         "not "
         "needed  "},
        {0x00050017, 0, "INFO  kelvane_software_version_comp_check: comp_sw = KELVANE_COMP_UNDEF  "},
        {0x00060000, 0, "INFO  kelvane_software_version_comp_check: comp_sw = KELVANE_COMP_UNDEF  "},
        {0xFFFFFFFF, 0, "INFO  kelvane_software_version_comp_check: comp_sw = KELVANE_COMP_UNDEF  "},
        {0x00040009, 3,
         "INFO  kelvane_software_version_comp_check: comp_sw = KELVANE_COMP_SW_FATAL_NOT_ALIGNED - updtate "
         "needed "},
        {0x00030000, 3,
         "INFO  kelvane_software_version_comp_check: comp_sw = KELVANE_COMP_SW_FATAL_NOT_ALIGNED - updtate "
         "needed "},
        {0x00020007, 3,
         "INFO  kelvane_software_version_comp_check: comp_sw = KELVANE_COMP_SW_FATAL_NOT_ALIGNED - updtate "
         "needed "},
        {0x00020006, 3, nullptr},
        {0x00010063, 3, nullptr},
        {0x00000000, 3, nullptr},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.version);
        the_bar.word[0x01F04004] = c.version;
        log_lines();
        uint32_t verdict = 9;
        EXPECT_EQ(kelvane_software_version_comp_check(0, &verdict), 0);
        EXPECT_EQ(verdict, c.verdict);
        std::vector<std::string> told;
        for (const std::string &line : log_lines()) {
            if (line.find("comp_sw = ") != std::string::npos) {
                told.push_back(line);
            }
        }
        if (c.line == nullptr) {
            EXPECT_TRUE(told.empty());
        } else {
            ASSERT_EQ(told.size(), 2u);
            EXPECT_EQ(told[0], c.line);
            EXPECT_EQ(told[1], "INFO  kelvane_software_version_comp_check: end comp_sw = " +
                                   std::to_string(c.verdict));
        }
    }
}

TEST_F(library_test, no_version_no_verdict)
{
    start_library();
    close_gate();
    uint32_t verdict = 9;
    EXPECT_EQ(kelvane_software_version_comp_check(0, &verdict), 64174);
    EXPECT_EQ(verdict, 0u);
    EXPECT_EQ(kelvane_software_version_comp_check(1, &verdict), 22);
}

} // namespace
