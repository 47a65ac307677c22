// The commands of the prompt.
#ifndef MOCK_CLIENT_COMMANDS_H
#define MOCK_CLIENT_COMMANDS_H

#include <cstdint>

#include "mock_client/client.h"

enum class command_outcome {
    go_on, // to the next prompt
    quit,  // the orderly end
    leave, // the end at once, with `result`
};

// Recognises the line and runs its command. `result` becomes the process's exit status; a command that
// ends the program sets it.
command_outcome command_run(const char *line, const client_options &options, int32_t &result);

#endif
