// Sessions with the client, whole: what is typed, what the library is asked, what is printed.
//
// A transcript holds sessions, each run in its own process, with no start before it and no prompt.
// "=== ..." begins one and says what it shows; "! <call> = <code>" after it has the library fail the calls
// that begin so. "$ ..." is typed, and [call(arguments)] is a call, where it was made. The lines between
// "%name" and "%" come again at "@name".
#include <fstream>
#include <gtest/gtest.h>
#include <map>

#include "client/fake_kelvane.h"
#include "client/run_child.h"
#include "mock_client/commands.h"
#include "mock_client/console.h"

namespace {

// The commands in the text of a session.
int play(const std::string &text)
{
    console_start();
    std::istringstream lines(text);
    int32_t result = 0;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("$ ")) {
            console_text("%s\n", line.c_str());
            command_run(line.c_str() + 2, {0, 1937000, 18}, result);
        }
    }
    return 0;
}

TEST(transcripts, are_what_the_operator_sees)
{
    for (const std::string name :
         {"device", "init_sirane", "traffic", "pm", "alarms", "status", "firmware"}) {
        std::map<std::string, std::string> blocks;
        std::string title, call, code = "0", block, text;
        std::ifstream file(TRANSCRIPTS + name + ".txt");
        for (std::string line; std::getline(file, line) || !text.empty();) {
            if (!file || line.starts_with("=== ")) {
                the_answer = {call.c_str(), std::stoi(code)};
                EXPECT_EQ(run_child("", [&] { return play(text); }).text, text) << name << " " << title;
                title = line;
                call = text = "";
            } else if (line.starts_with("! ")) {
                call = line.substr(2, line.find(" = ") - 2);
                code = line.substr(line.find(" = ") + 3);
            } else if (line.starts_with("%")) {
                block = line.substr(1);
            } else if (line.starts_with("@")) {
                text += blocks[line.substr(1)];
            } else {
                text += line + "\n";
                blocks[block] += line + "\n";
            }
        }
        EXPECT_FALSE(blocks.empty()) << name;
    }
}

} // namespace
