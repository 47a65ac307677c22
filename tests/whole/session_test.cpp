// One session of an operator from the first line to the last, on cards with firmware of different ages.
#include <fstream>
#include <sstream>

#include "whole/card_host.h"

namespace {

std::string text_of(const std::string &name)
{
    std::ostringstream text;
    text << std::ifstream(std::string(SESSION_FOLDER) + "/" + name, std::ios::binary).rdbuf();
    return text.str();
}

void replace_all(std::string &text, const std::string &from, const std::string &to)
{
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

struct firmware_row {
    const char *name;
    const char *version;
    const char *shown; // in hexadecimal
    const char *verdict;
};

const firmware_row firmwares[] = {
    {"aligned", "5.22", "5.16", ">>> SDK And Firmware are compatible\n"},
    {"a_little_older", "5.21", "5.15", ">>> Warning: SDK not aligned update not needed\n"},
    {"newer", "5.23", "5.17", ""},
    // These two take 1.5 s for each sirane to come up.
    {"old", "4.9", "4.9", ">>> Incompatible: SDK not aligned update needed\n"},
    {"very_old", "2.6", "2.6", ">>> Incompatible: SDK not aligned update needed\n"},
};

void PrintTo(const firmware_row &row, std::ostream *out)
{
    *out << row.version;
}

class session : public card_host, public testing::WithParamInterface<firmware_row> {};

TEST_P(session, says_what_it_should_to_the_right_stream)
{
    ASSERT_NO_FATAL_FAILURE(start_card({"--firmware", GetParam().version}));
    std::string expected = text_of("out");
    replace_all(expected, "{firmware}", GetParam().shown);
    replace_all(expected, "{verdict}\n", GetParam().verdict);

    process operator_session({MOCK_CLIENT}, environment);
    operator_session.write(text_of("input"));
    EXPECT_EQ(operator_session.wait(), 0);
    EXPECT_EQ(operator_session.out, expected);
    EXPECT_EQ(operator_session.err, text_of("err"));
}

INSTANTIATE_TEST_SUITE_P(firmware, session, testing::ValuesIn(firmwares),
                         [](const auto &row) { return row.param.name; });

} // namespace
