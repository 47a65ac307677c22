// Sessions with the client, whole: what is typed, what the library is asked, what is printed.
//
// A transcript holds sessions, each run in a process of its own. "=== ..." begins one and says what it
// shows; "! <call> = <code>" behind it has the library fail the calls that begin so. "$ ..." is typed, and
// [call(arguments)] is a call, where it was made. The lines between "%name" and "%" come again at "@name".
#include <fstream>
#include <gtest/gtest.h>
#include <map>

#include "client/fake_kelvane.h"
#include "client/run_child.h"

namespace {

struct session {
    std::string title;
    std::string failing_call;
    int32_t code = 0;
    std::vector<std::string> commands;
    std::string text;
};

std::vector<session> sessions_of(const std::string &name)
{
    std::vector<session> sessions;
    std::map<std::string, std::string> blocks;
    std::string block;
    std::ifstream file(TRANSCRIPTS + name + ".txt");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("=== ")) {
            sessions.push_back({});
            sessions.back().title = line.substr(4);
        } else if (line.starts_with("! ")) {
            const size_t equals = line.find(" = ");
            sessions.back().failing_call = line.substr(2, equals - 2);
            sessions.back().code = std::stoi(line.substr(equals + 3));
        } else if (line.starts_with("%")) {
            block = line.substr(1);
        } else if (line.starts_with("@")) {
            sessions.back().text += blocks[line.substr(1)];
        } else {
            if (line.starts_with("$ ")) {
                sessions.back().commands.push_back(line.substr(2));
            }
            sessions.back().text += line + "\n";
            blocks[block] += line + "\n";
        }
    }
    return sessions;
}

class transcript : public testing::TestWithParam<const char *> {};

TEST_P(transcript, is_what_the_operator_sees)
{
    const std::vector<session> sessions = sessions_of(GetParam());
    EXPECT_FALSE(sessions.empty());
    for (const session &expected : sessions) {
        SCOPED_TRACE(expected.title);
        fake_kelvane_start({expected.failing_call.c_str(), expected.code});
        EXPECT_EQ(run_commands(expected.commands).out, expected.text);
    }
}

INSTANTIATE_TEST_SUITE_P(mock_client, transcript,
                         testing::Values("device", "init_sirane", "traffic", "pm", "alarms", "status",
                                         "firmware"),
                         [](const auto &test) { return std::string(test.param); });

} // namespace
