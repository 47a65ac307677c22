#include "benchmarks/library/logged_lines.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "benchmarks/figure_process.h"
#include "core/trace/file.h"

std::vector<logged_line> take_logged_lines()
{
    static std::streamoff seen = 0;
    std::ifstream log(figure_host() + "/root/kelvane.log");
    log.seekg(seen);
    std::vector<logged_line> lines;
    for (std::string line; std::getline(log, line);) {
        seen += static_cast<std::streamoff>(line.size()) + 1;
        const size_t tid = line.find("tid=");
        const size_t address = line.find("[d:");
        if (tid != std::string::npos && address != std::string::npos) { // else a message's own line end
            lines.push_back(
                {static_cast<int32_t>(strtol(line.c_str() + tid + 4, nullptr, 10)), line.substr(address)});
        }
    }
    return lines;
}

std::vector<logged_line> lines_with(const std::vector<logged_line> &lines,
                                    const std::vector<std::string> &texts)
{
    std::vector<logged_line> kept;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(kept), [&texts](const logged_line &line) {
        return std::any_of(texts.begin(), texts.end(), [&line](const std::string &text) {
            return line.text.find(text) != std::string::npos;
        });
    });
    return kept;
}

void expect_same_lines(const std::vector<logged_line> &library, const std::vector<logged_line> &bare)
{
    const auto same = [](const logged_line &left, const logged_line &right) {
        return left.text == right.text;
    };
    const auto [of_library, of_bare] =
        std::mismatch(library.begin(), library.end(), bare.begin(), bare.end(), same);
    if (of_library != library.end() || of_bare != bare.end() || library.empty()) {
        std::fprintf(stderr, "the library writes: %s\nand the reference:  %s\n",
                     of_library == library.end() ? "nothing more" : of_library->text.c_str(),
                     of_bare == bare.end() ? "nothing more" : of_bare->text.c_str());
        figure_fail("holding the reference against the library");
    }
}

void log_off()
{
    fclose(logFileFp.exchange(nullptr));
}
