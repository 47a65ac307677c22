// The client's prompt and its commands against lines of any bytes, with a library that only takes the calls.
#include <cctype>
#include <iterator>
#include <string_view>

#include "client/fake_kelvane.h"
#include "fuzz.h"
#include "mock_client/client.h"
#include "mock_client/commands.h"
#include "mock_client/prompt.h"
#include "support/temporary_folder.h"

namespace {

// Which call of the library fails; the first byte chooses. Activations always end by failing.
constexpr fake_answer ANSWERS[] = {
    {"", 0},
    {"kelvane_diag_command", 22},
    {"kelvane_set_traffic_type", 110},
    {"kelvane_set_laser", 64170},
    {"kelvane_get_", 64174},
    {"kelvane_", -2147483647},
};

// No callbacks: a client that waits for one waits for ever where no port completes.
constexpr client_options OPTIONS = {0, 1937000, 18};

void forget_all()
{
    handler = 0;
    init_complete = 0;
    laser_done = 0;
    traffic_done = 0;
    sirane_downloaded = 1; // so that activate comes as far as it can
    api_count = 0;
}

void run_lines()
{
    prompt operator_prompt;
    command_outcome outcome = command_outcome::go_on;
    int32_t result = 0;
    while (outcome == command_outcome::go_on && feof(stdin) == 0) {
        const std::string_view line = prompt_read(operator_prompt);
        must(line.find('\n') == line.npos, "a line of two lines", "prompt_read");
        must(isspace(static_cast<unsigned char>(*line.data())) == 0, "a line that begins with a blank",
             "prompt_read");
        const bool asked = line.starts_with("quit") || line.starts_with("exit");
        outcome = command_run(line.data(), OPTIONS, result);
        must((outcome == command_outcome::quit) == asked, "the end, or none, where it was not asked for",
             "command_run");
        must((outcome == command_outcome::leave) == (result != 0), "a result without an end", "command_run");
    }
    prompt_free(operator_prompt);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const host_folder folder;
    if (size < 2) {
        return 0;
    }
    forget_all();
    the_answer = ANSWERS[data[0] % std::size(ANSWERS)];
    stdin = fmemopen(const_cast<uint8_t *>(data) + 1, size - 1, "r");
    must(stdin != nullptr, "no stream", "fmemopen");
    run_lines();
    fclose(stdin);
    return 0;
}
